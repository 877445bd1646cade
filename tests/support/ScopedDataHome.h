#pragma once

#include <string>

namespace QfnTest {

// Points the user data folder (XDG_DATA_HOME) at a temporary folder while it lives, so that what
// the coordinator makes there stays out of the real home; the folder is removed afterwards.
class ScopedDataHome {
public:
    ScopedDataHome();
    ~ScopedDataHome();
    ScopedDataHome(const ScopedDataHome&) = delete;
    ScopedDataHome& operator=(const ScopedDataHome&) = delete;

    // With a trailing separator.
    const std::string& path() const { return fPath; }

private:
    std::string fPath;
    std::string fSaved;
    bool fWasSet = false;
};

}  // namespace QfnTest
