#pragma once

#include <string>

namespace QfnTest {

// A temporary pipe folder for marker files, and XDG_RUNTIME_DIR pointed at a temporary folder for
// the sockets, while it lives; parallel test runs do not meet. Closes every pipe when it ends.
class ScopedPipeFolder {
public:
    ScopedPipeFolder();
    ~ScopedPipeFolder();
    ScopedPipeFolder(const ScopedPipeFolder&) = delete;
    ScopedPipeFolder& operator=(const ScopedPipeFolder&) = delete;

    // The pipe folder, with a trailing separator.
    const std::string& path() const { return fPipeFolder; }
    // The marker path of a coordinator's read pipe.
    std::string markerPath(const std::string& coordinatorName) const { return fPipeFolder + coordinatorName; }

private:
    std::string fRoot;
    std::string fPipeFolder;
    std::string fSaved;
    bool fWasSet = false;
};

}  // namespace QfnTest
