#include "QfnParser/streams/OpenedFile.h"

#include <cerrno>

#include "QfnLogger/Check.h"

namespace Qfn {

std::map<int64_t, std::shared_ptr<OpenedFile>> OpenedFile::fOpenedFiles;
int64_t OpenedFile::fLastFileId = 0;

std::shared_ptr<OpenedFile> OpenedFile::open(const std::string& path, const std::string& mode)
{
    std::shared_ptr<OpenedFile> retVal;
    try {
        do {
            FileMode fileMode = FileMode::INVALID;
            const char* modeChar = nullptr;
            if (mode == "r") {
                fileMode = FileMode::READ;
                modeChar = "rb";
            } else if (mode == "w") {
                fileMode = FileMode::WRITE;
                modeChar = "wb";
            } else if (mode == "a") {
                fileMode = FileMode::APPEND;
                modeChar = "ab";
            }
            SANITY_CHECK(modeChar);
            FILE* file = std::fopen(path.c_str(), modeChar);
            int err = file ? 0 : errno;
            SANITY_CHECK(err == 0);
            SANITY_CHECK(file);
            retVal.reset(new OpenedFile(++fLastFileId, path, fileMode, file));
            fOpenedFiles[retVal->fFileId] = retVal;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OpenedFile> OpenedFile::getFile(int64_t fileId)
{
    std::shared_ptr<OpenedFile> retVal;
    try {
        do {
            SANITY_CHECK(fileId > 0);
            auto iter = fOpenedFiles.find(fileId);
            if (iter != fOpenedFiles.end()) retVal = iter->second;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OpenedFile::closeAll()
{
    try {
        while (!fOpenedFiles.empty()) {
            std::shared_ptr<OpenedFile> file = fOpenedFiles.begin()->second;
            if (!file->close()) fOpenedFiles.erase(fOpenedFiles.begin());
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

OpenedFile::~OpenedFile()
{
    if (fStdFile) std::fclose(fStdFile);
}

bool OpenedFile::close()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fStdFile);
            SANITY_CHECK(fFileId);
            FILE* file = fStdFile;
            fStdFile = nullptr;
            bool closed = std::fclose(file) == 0;
            auto iter = fOpenedFiles.find(fFileId);
            SANITY_CHECK(iter != fOpenedFiles.end());
            // The table may hold the last reference: this record lives until the function ends.
            std::shared_ptr<OpenedFile> self = iter->second;
            fOpenedFiles.erase(iter);
            retVal = closed;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
