#pragma once

#include <string>

namespace Qfn {

// The marker file of a read pipe: an ini file in the form the Ini class reads and writes, whose
// entry namedPipeProxyPath in section [config] names the socket that writers connect to.
class PipeMarkerFile {
public:
    PipeMarkerFile() = delete;

    static const std::string kSection;
    static const std::string kProxyPathKey;

    static bool write(const std::string& markerPath, const std::string& rawNamedPipePath);
    // The socket path the marker names; empty when the file is missing or holds no such entry.
    static std::string read(const std::string& markerPath);
};

}  // namespace Qfn
