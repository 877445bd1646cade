#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>

namespace Qfn {

enum class FileMode { INVALID = 0, READ = 1, WRITE = 2, APPEND = 3 };

// A file a script has opened, known to scripts by its id. Ids count up from 1 and are never reused
// in one process; a file a script leaves open is closed when the process ends.
class OpenedFile {
public:
    // Mode "r", "w" or "a"; an empty pointer when the file cannot be opened.
    static std::shared_ptr<OpenedFile> open(const std::string& path, const std::string& mode);
    static std::shared_ptr<OpenedFile> getFile(int64_t fileId);
    // Closes every file still open: the files' last writes reach the disk.
    static void closeAll();
    static size_t getOpenedFileCount() { return fOpenedFiles.size(); }

    ~OpenedFile();

    bool close();
    int64_t getFileId() const { return fFileId; }
    const std::string& getFilePath() const { return fFilePath; }
    FileMode getFileMode() const { return fFileMode; }
    FILE* getStdFile() const { return fStdFile; }

private:
    OpenedFile(int64_t fileId, std::string filePath, FileMode fileMode, FILE* stdFile)
        : fFileId(fileId), fFilePath(std::move(filePath)), fFileMode(fileMode), fStdFile(stdFile)
    {
    }

    int64_t fFileId = 0;
    std::string fFilePath;
    FileMode fFileMode = FileMode::INVALID;
    FILE* fStdFile = nullptr;

    static std::map<int64_t, std::shared_ptr<OpenedFile>> fOpenedFiles;
    static int64_t fLastFileId;
};

}  // namespace Qfn
