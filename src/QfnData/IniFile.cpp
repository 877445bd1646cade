#include "QfnData/IniFile.h"

#include "QfnLogger/Check.h"
#include "QfnUtils/Dirs.h"

namespace Qfn {

std::shared_ptr<IniFile> IniFile::factory(const std::string& filePath)
{
    std::shared_ptr<IniFile> retVal;
    try {
        retVal = std::make_shared<IniFile>(filePath);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

IniFile::IniFile(const std::string& filePath) : fFilePath(filePath)
{
    try {
        do {
            SANITY_CHECK(parseFile());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

IniFile::~IniFile()
{
    try {
        do {
            if (!fIsDirty) break;
            SANITY_CHECK(save());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void IniFile::rememberFileStamp()
{
    fLastChangeTime = Dirs::fileModificationTime(fFilePath);
    fLastFileSize = Dirs::fileSize(fFilePath);
}

bool IniFile::parseFile()
{
    bool retVal = false;
    try {
        do {
            // Stamped before reading: a change made during the read shows as a change later.
            rememberFileStamp();
            std::string text;
            if (Dirs::exists(fFilePath)) {
                SANITY_CHECK(Dirs::fileExists(fFilePath));
                SANITY_CHECK(Dirs::slurpFile(fFilePath, text));
            }
            SANITY_CHECK(parse(text));
            fIsDirty = false;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IniFile::getIsModified() const
{
    bool retVal = false;
    try {
        do {
            retVal = Dirs::fileModificationTime(fFilePath) != fLastChangeTime ||
                     Dirs::fileSize(fFilePath) != fLastFileSize;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IniFile::readUpdate()
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! fIsDirty);
            // clang-format on
            if (getIsModified()) {
                SANITY_CHECK(parseFile());
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IniFile::save()
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! Dirs::exists(fFilePath) || Dirs::fileExists(fFilePath));
            // clang-format on
            SANITY_CHECK(Dirs::writeFile(fFilePath, toString()));
            rememberFileStamp();
            fIsDirty = false;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IniFile::markDirty(bool changed)
{
    if (changed) fIsDirty = true;
    return changed;
}

bool IniFile::setEntry(const std::string& section, const std::string& entry, const std::string& value)
{
    return markDirty(Ini::setEntry(section, entry, value));
}

bool IniFile::setEntry(const std::string& section, const std::string& entry, uint64_t index,
                       const std::string& value)
{
    return markDirty(Ini::setEntry(section, entry, index, value));
}

bool IniFile::setEntryList(const std::string& section, const std::string& entry,
                           const std::vector<std::string>& list)
{
    return markDirty(Ini::setEntryList(section, entry, list));
}

bool IniFile::clear(const std::string& section, const std::string& entry, uint64_t index)
{
    return markDirty(Ini::clear(section, entry, index));
}

bool IniFile::clear(const std::string& section, const std::string& entry)
{
    return markDirty(Ini::clear(section, entry));
}

bool IniFile::clear(const std::string& section)
{
    return markDirty(Ini::clear(section));
}

}  // namespace Qfn
