#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnData/Ini.h"

namespace Qfn {

// An Ini bound to a file: read when made, re-read on request when the file changed, and saved on
// request or, with unsaved changes, when it goes away.
class IniFile : public Ini {
public:
    // An IniFile holding the file's entries (none when the file does not exist yet).
    static std::shared_ptr<IniFile> factory(const std::string& filePath);

    explicit IniFile(const std::string& filePath);
    ~IniFile() override;
    IniFile(const IniFile&) = delete;
    IniFile& operator=(const IniFile&) = delete;

    // Replaces the entries by the file's; a missing file counts as empty text. Clears unsaved changes.
    bool parseFile();
    // Re-reads the file when it changed since it was read or saved; fails with unsaved changes.
    bool readUpdate();
    // Writes toString() over the file.
    bool save();
    // True when the file's time of last change (or its size) differs from the one read or written.
    bool getIsModified() const override;
    // True when there are changes not saved yet.
    bool getIsDirty() const { return fIsDirty; }
    const std::string& getFilePath() const { return fFilePath; }

    // The changes of Ini, which also mark the file as needing a save.
    bool setEntry(const std::string& section, const std::string& entry, const std::string& value) override;
    bool setEntry(const std::string& section, const std::string& entry, uint64_t index,
                  const std::string& value) override;
    bool setEntryList(const std::string& section, const std::string& entry,
                      const std::vector<std::string>& list) override;
    bool clear(const std::string& section, const std::string& entry, uint64_t index) override;
    bool clear(const std::string& section, const std::string& entry) override;
    bool clear(const std::string& section) override;

private:
    // Remembers the file's state as it is now, to compare later.
    void rememberFileStamp();
    bool markDirty(bool changed);

    std::string fFilePath;
    bool fIsDirty = false;
    // Nanoseconds since 1970, -1 when there was no file; the size as well, since a rewrite within
    // the clock's granularity keeps the time.
    int64_t fLastChangeTime = -1;
    int64_t fLastFileSize = -1;
};

}  // namespace Qfn
