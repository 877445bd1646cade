// Dirs' ini operations live with Ini: the ini layer sits above the path layer that declares them.
#include "QfnData/Ini.h"
#include "QfnLogger/Check.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::shared_ptr<Ini> Dirs::readIni(const std::string& iniFilePath)
{
    std::shared_ptr<Ini> retVal;
    try {
        do {
            std::string text;
            if (!fileExists(iniFilePath) || !slurpFile(iniFilePath, text) || text.empty()) {
                LOG_ERROR(Utils::stringWithFormat("iniFilePath does not exist or is empty: %s",
                                                  iniFilePath.c_str()));
                break;
            }
            retVal = Ini::factory(text);
            if (!retVal) break;
            for (const auto& [lineNumber, line] : retVal->getMalformedLines())
                LOG_WARNING(Utils::stringWithFormat(
                    "%s:%llu: neither a [section], a key=value entry nor a # comment: %s",
                    iniFilePath.c_str(), static_cast<unsigned long long>(lineNumber), line.c_str()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::writeIni(const std::string& iniFilePath, const Ini& ini)
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! Dirs::exists(iniFilePath) || Dirs::fileExists(iniFilePath));
            // clang-format on
            SANITY_CHECK(writeFile(iniFilePath, ini.toString()));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
