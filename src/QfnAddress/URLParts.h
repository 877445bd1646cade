#pragma once

#include <string>
#include <vector>

namespace Qfn {

// The parts of a qfn:// URL as the character reader splits them: qfn://host/coordinator/indices//tail,
// or qfn://<upstream GUID>/<addressed GUID>/tail when the host reads as a GUID.
struct URLParts {
    std::string scheme;
    // The scheme was ended by ':'; text without one is no URL.
    bool isSchemeComplete = false;
    std::string host;
    std::string coordinator;
    std::vector<std::string> indices;
    // The host read as a GUID followed by '/', or the whole host part read as one.
    bool isResolvedForm = false;
    std::string secondGUID;
    // Behind the double slash: runs of slashes inside kept as one, the ones at the ends dropped.
    std::string tail;

    // Reads the text character by character; never fails, the caller judges the parts.
    static URLParts parse(const std::string& url);
};

}  // namespace Qfn
