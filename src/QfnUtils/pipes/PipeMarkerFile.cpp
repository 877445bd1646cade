#include "QfnUtils/pipes/PipeMarkerFile.h"

#include <unistd.h>

#include <filesystem>

#include "QfnLogger/Check.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// Far more than a marker takes: a socket path and a few words.
constexpr int64_t kMaxMarkerSize = 4096;

}  // namespace

const std::string PipeMarkerFile::kSection = "config";
const std::string PipeMarkerFile::kProxyPathKey = "namedPipeProxyPath";

bool PipeMarkerFile::write(const std::string& markerPath, const std::string& rawNamedPipePath)
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! rawNamedPipePath.empty());
            // clang-format on
            const std::string text = "[" + kSection + "]\r\n" + kProxyPathKey + "=" +
                                     Utils::enquoteString(rawNamedPipePath) + "\r\n";
            // Written aside and renamed into place, so that a reader never sees half a marker.
            const size_t nameAt = markerPath.rfind(Dirs::kSeparator) + 1;
            const std::string partPath = markerPath.substr(0, nameAt) + "." + markerPath.substr(nameAt) +
                                         ".part-" + std::to_string(::getpid());
            SANITY_CHECK(Dirs::writeFile(partPath, text));
            std::error_code renameError;
            std::filesystem::rename(partPath, markerPath, renameError);
            if (renameError) std::filesystem::remove(partPath, renameError);
            SANITY_CHECK(Dirs::fileExists(markerPath));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string PipeMarkerFile::read(const std::string& markerPath)
{
    std::string retVal;
    try {
        do {
            // A missing marker is an answer (no pipe there), not a failure: no check line. Files of
            // any size are asked about (isPipe of a folder listing): a large one is no marker.
            std::string text;
            if (!Dirs::fileExists(markerPath) || Dirs::fileSize(markerPath) > kMaxMarkerSize ||
                !Dirs::slurpFile(markerPath, text))
                break;
            std::string section;
            for (const std::string& rawLine :
                 Utils::lineStrSplit(std::string(Utils::withoutByteOrderMark(text)))) {
                const std::string line = Utils::trim(rawLine);
                if (line.size() >= 3 && line.front() == '[' && line.back() == ']') {
                    section = line.substr(1, line.size() - 2);
                    continue;
                }
                const size_t equalsPos = line.find('=');
                if (section != kSection || equalsPos == std::string::npos ||
                    Utils::trim(line.substr(0, equalsPos)) != kProxyPathKey)
                    continue;
                retVal = Utils::dequoteString(Utils::trim(line.substr(equalsPos + 1)));
                break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
