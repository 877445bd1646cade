#include "QfnUtils/Dirs.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "QfnLogger/Check.h"
#include "QfnUtils/ChildProcesses.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// How far resolvePartialFilePath climbs above the application folder: build/<type>/ lies two
// levels below the source tree.
constexpr int kMaxLevelsAboveAppDir = 3;
// How deep a recursive search goes below its base folder.
constexpr int kMaxSearchDepth = 32;

bool isSeparatorChar(char c)
{
    return c == '/' || c == '\\';
}

// A leading separator, or a drive such as "C:\" in a path written for another system ("a:b" is a
// plain name here).
bool isAbsolutePath(const std::string& path)
{
    return (!path.empty() && isSeparatorChar(path[0])) ||
           (path.size() >= 2 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0])) &&
            (path.size() == 2 || isSeparatorChar(path[2])));
}

// A folder itself, not a symbolic link to one: recursive walks never leave the tree they were given.
bool isRealDir(const std::string& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The first executable of that name along $PATH; empty when there is none.
std::string findExecutableInPath(const std::string& name)
{
    std::string retVal;
    const char* pathVariable = std::getenv("PATH");
    if (!pathVariable) return retVal;
    for (const std::string& dirPath : Utils::strSplit(pathVariable, ':', false)) {
        std::string candidate = Dirs::addTrailingSeparator(dirPath) + name;
        if (Dirs::fileExists(candidate) && ::access(candidate.c_str(), X_OK) == 0) {
            retVal = candidate;
            break;
        }
    }
    return retVal;
}

struct FileCloser {
    void operator()(FILE* file) const
    {
        if (file) std::fclose(file);
    }
};

struct DirCloser {
    void operator()(DIR* dir) const
    {
        if (dir) ::closedir(dir);
    }
};

// Reads the stream to its end; false on a read error.
bool readStream(FILE* file, std::string& contents)
{
    char buffer[65536];
    size_t count = 0;
    while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        contents.append(buffer, count);
    return std::ferror(file) == 0;
}

}  // namespace

// ---- path strings

bool Dirs::resolveSeparator(const std::string& path, char& separator)
{
    bool retVal = false;
    try {
        do {
            if (separator == 0) {
                size_t pos = path.find_first_of("\\/");
                separator = pos == std::string::npos ? kSeparator : path[pos];
            }
            SANITY_CHECK(separator == '\\' || separator == '/');
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::addTrailingSeparator(const std::string& path, char separator)
{
    std::string retVal;
    try {
        do {
            if (path.empty()) break;
            const bool takenFromPath = separator == 0;
            SANITY_CHECK(resolveSeparator(path, separator));
            retVal = path;
            const char last = path.back();
            if (last == separator || (takenFromPath && isSeparatorChar(last))) break;
            // Only the final character is looked at: a separator of the other kind is replaced.
            if (isSeparatorChar(last)) retVal.pop_back();
            retVal.push_back(separator);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::removeTrailingSeparator(const std::string& path, char separator)
{
    std::string retVal;
    try {
        do {
            if (separator != 0) {
                SANITY_CHECK(resolveSeparator(path, separator));
            }
            retVal = path;
            auto isTrailing = [separator](char c) {
                return separator == 0 ? isSeparatorChar(c) : c == separator;
            };
            while (retVal.size() > 1 && isTrailing(retVal.back()))
                retVal.pop_back();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::cleanupMixedSeparators(const std::string& path, char separator)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(resolveSeparator(path, separator));
            retVal = path;
            std::replace_if(retVal.begin(), retVal.end(), isSeparatorChar, separator);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Dirs::splitPath(const std::string& path, char& separator)
{
    std::vector<std::string> retVal;
    try {
        do {
            if (path.empty()) break;
            if (separator == 0) {
                size_t pos = path.find_first_of("\\/");
                if (pos == std::string::npos) {
                    retVal.push_back(path);
                    break;
                }
                separator = path[pos];
            }
            SANITY_CHECK(separator == '\\' || separator == '/');
            std::vector<std::string> segments = Utils::strSplit(path, separator, true);
            // A folder path's final separator ends the last segment; it starts no empty one.
            if (segments.size() > 1 && segments.back().empty()) segments.pop_back();
            retVal = std::move(segments);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::getParentPath(const std::string& path, char separator)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(resolveSeparator(path, separator));
            const std::string trimmed = removeTrailingSeparator(path, separator);
            const size_t pos = trimmed.rfind(separator);
            // No separator, or the top folder itself: there is no parent.
            if (pos == std::string::npos || trimmed.size() == 1) break;
            retVal = trimmed.substr(0, pos + 1);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::getPathSegmentFromLeft(const std::string& path, int64_t index, char separator)
{
    return getPathSegment(path, index, separator, true);
}

std::string Dirs::getPathSegmentFromRight(const std::string& path, int64_t index, char separator)
{
    return getPathSegment(path, index, separator, false);
}

std::string Dirs::getPathSegment(const std::string& path, int64_t index, char separator, bool fromLeft)
{
    std::string retVal;
    try {
        do {
            // The check's source text is its logged message: keep it as it is.
            // clang-format off
            SANITY_CHECK(! path.empty());
            const std::vector<std::string> segments = splitPath(path, separator);
            SANITY_CHECK(! segments.empty());
            // clang-format on
            if (index < 0 || static_cast<uint64_t>(index) >= segments.size()) break;
            size_t position = static_cast<size_t>(index);
            retVal = segments[fromLeft ? position : segments.size() - 1 - position];
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::getFileNameExtension(const std::string& path)
{
    std::string retVal;
    try {
        do {
            const size_t nameStart = path.find_last_of("\\/");
            const std::string name = nameStart == std::string::npos ? path : path.substr(nameStart + 1);
            const size_t dot = name.rfind('.');
            if (dot == std::string::npos || dot == 0) break;
            retVal = name.substr(dot + 1);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::getLowerCaseFileNameExtension(const std::string& path)
{
    return Utils::toLowerCase(getFileNameExtension(path));
}

std::string Dirs::normalizePath(const std::string& path, char separator)
{
    std::string retVal;
    try {
        do {
            // The part that stays whatever ".." says: the top separator, or a drive and its separator.
            std::string top;
            if (!path.empty() && path[0] == separator) {
                top.push_back(separator);
            } else if (isAbsolutePath(path)) {
                top = path.substr(0, path.size() > 2 && path[2] == separator ? 3 : 2);
            }
            const bool isAbsolute = !top.empty();
            std::vector<std::string> kept;
            for (const std::string& segment : Utils::strSplit(path.substr(top.size()), separator, false)) {
                if (segment == ".") continue;
                if (segment == "..") {
                    if (!kept.empty() && kept.back() != "..")
                        kept.pop_back();
                    else if (!isAbsolute)
                        kept.push_back(segment);
                    continue;
                }
                kept.push_back(segment);
            }
            retVal = top + Utils::strJoin(kept, separator);
            if (!kept.empty() && path.back() == separator) retVal.push_back(separator);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::fullPath(const std::string& path, char separator)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(resolveSeparator(path, separator));
            std::string cleaned = cleanupMixedSeparators(path, separator);
            if (!isAbsolutePath(cleaned)) {
                const std::string& currentDir = getCurrentDir();
                // clang-format off
                SANITY_CHECK(! currentDir.empty());
                // clang-format on
                cleaned = cleanupMixedSeparators(currentDir, separator) + cleaned;
            }
            retVal = normalizePath(cleaned, separator);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::resolveRelativePath(const std::string& path, const std::string& rootPath, char separator)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(Dirs::dirExists(rootPath));
            SANITY_CHECK(resolveSeparator(path.find_first_of("\\/") != std::string::npos ? path : rootPath,
                                          separator));
            std::string cleaned = cleanupMixedSeparators(path, separator);
            if (!isAbsolutePath(cleaned))
                cleaned =
                    addTrailingSeparator(cleanupMixedSeparators(rootPath, separator), separator) + cleaned;
            retVal = normalizePath(cleaned, separator);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::findInBase(const std::string& path, const std::string& baseFolderPath, DirRecurse recurse,
                             char separator, int depth)
{
    std::string retVal;
    try {
        do {
            const std::string basePrefix = addTrailingSeparator(baseFolderPath, separator);
            const std::string candidate = basePrefix + path;
            if (fileExists(candidate)) {
                retVal = candidate;
                break;
            }
            if (recurse != DirRecurse::RECURSE || depth >= kMaxSearchDepth) break;
            // Sorted, so that the same tree always gives the same answer.
            std::vector<std::string> names = scanDir(baseFolderPath);
            std::sort(names.begin(), names.end());
            for (const std::string& name : names) {
                const std::string subFolderPath = basePrefix + name;
                if (!isRealDir(subFolderPath)) continue;
                retVal = findInBase(path, subFolderPath, recurse, separator, depth + 1);
                if (!retVal.empty()) break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::resolvePartialFilePath(const std::string& path, DirRecurse recurse, char separator)
{
    std::string retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! path.empty());
            // clang-format on
            if (isAbsolutePath(path)) {
                if (fileExists(path)) retVal = path;
                break;
            }
            const std::string& appDirPath = getAppDirPath();
            SANITY_CHECK(Dirs::dirExists(appDirPath));
            // The application folder and those above it, each also as the top of a source tree
            // whose build puts the program into build/release/ and whose scripts are in examples/.
            std::string dirPath = appDirPath;
            for (int level = 0; level <= kMaxLevelsAboveAppDir && !dirPath.empty() && retVal.empty();
                 ++level) {
                for (const char* base : {"", "build/release/", "examples/"}) {
                    const std::string baseFolderPath = dirPath + base;
                    if (!dirExists(baseFolderPath)) continue;
                    retVal = findInBase(path, baseFolderPath, recurse, separator, 0);
                    if (!retVal.empty()) break;
                }
                dirPath = getParentPath(dirPath);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::resolvePartialFilePath(const std::string& path, const std::string& baseFolderPath,
                                         DirRecurse recurse, char separator)
{
    std::string retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! path.empty());
            // clang-format on
            SANITY_CHECK(Dirs::dirExists(baseFolderPath));
            SANITY_CHECK(resolveSeparator(baseFolderPath, separator));
            retVal = findInBase(path, baseFolderPath, recurse, separator, 0);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- the file system

bool Dirs::exists(const std::string& path)
{
    struct stat info {};
    return !path.empty() && ::stat(path.c_str(), &info) == 0;
}

bool Dirs::dirExists(const std::string& dirPath, TrailingPathCharHandling trailingPathCharHandling)
{
    bool retVal = false;
    try {
        do {
            if (dirPath.empty()) break;
            EXPECTED(trailingPathCharHandling == TrailingPathCharHandling::Ignore ||
                     *(dirPath.rbegin()) == '/');
            struct stat info {};
            retVal = ::stat(dirPath.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::fileExists(const std::string& filePath, TrailingPathCharHandling trailingPathCharHandling)
{
    bool retVal = false;
    try {
        do {
            if (filePath.empty()) break;
            EXPECTED(trailingPathCharHandling == TrailingPathCharHandling::Ignore ||
                     *(filePath.rbegin()) != '/');
            struct stat info {};
            retVal = ::stat(filePath.c_str(), &info) == 0 && S_ISREG(info.st_mode);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int64_t Dirs::fileSize(const std::string& path)
{
    int64_t retVal = -1;
    try {
        do {
            struct stat info {};
            if (path.empty() || ::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) break;
            if (::access(path.c_str(), R_OK) != 0) break;
            retVal = static_cast<int64_t>(info.st_size);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int64_t Dirs::fileModificationTime(const std::string& path)
{
    int64_t retVal = -1;
    try {
        do {
            struct stat info {};
            if (path.empty() || ::stat(path.c_str(), &info) != 0) break;
            retVal = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::mkDir(const std::string& dirPath, DirRecurse recurse, char separator)
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! dirPath.empty());
            // clang-format on
            SANITY_CHECK(resolveSeparator(dirPath, separator));
            if (recurse == DirRecurse::RECURSE) {
                // Each level from the top: a/b/c makes a, then a/b, then a/b/c, as far as missing.
                size_t pos = dirPath.find(separator, 1);
                while (true) {
                    const std::string levelPath = dirPath.substr(0, pos);
                    if (!dirExists(levelPath)) ::mkdir(levelPath.c_str(), 0777);
                    if (pos == std::string::npos) break;
                    pos = dirPath.find(separator, pos + 1);
                }
            } else {
                ::mkdir(dirPath.c_str(), 0777);
            }
            SANITY_CHECK(Dirs::dirExists(dirPath));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::rmDir(const std::string& dirPath, DirRecurse recurse, char separator)
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! dirPath.empty());
            // clang-format on
            SANITY_CHECK(resolveSeparator(dirPath, separator));
            const std::string trimmedPath = removeTrailingSeparator(dirPath, separator);
            if (trimmedPath.size() == 1 && isSeparatorChar(trimmedPath[0])) {
                LOG_ERROR("refusing to remove the top folder");
                break;
            }
            if (recurse == DirRecurse::RECURSE && isRealDir(trimmedPath)) {
                const std::string prefix = trimmedPath + separator;
                for (const std::string& name : scanDir(trimmedPath)) {
                    const std::string entryPath = prefix + name;
                    // A failure shows in the rmdir of this folder below.
                    if (isRealDir(entryPath))
                        rmDir(entryPath, DirRecurse::RECURSE, separator);
                    else
                        ::unlink(entryPath.c_str());
                }
            }
            VERIFY(rmdir(trimmedPath.c_str()) == 0);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Dirs::scanDir(const std::string& path)
{
    std::vector<std::string> retVal;
    try {
        do {
            std::unique_ptr<DIR, DirCloser> dir(::opendir(path.c_str()));
            if (!dir) {
                LOG_ERROR("invalid directory");
                break;
            }
            while (const struct dirent* entry = ::readdir(dir.get())) {
                const std::string name = entry->d_name;
                if (name != "." && name != "..") retVal.push_back(name);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::slurpFile(const std::string& path, std::string& contents)
{
    bool retVal = false;
    try {
        do {
            contents.clear();
            std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
            VERIFY(file);
            if (!readStream(file.get(), contents)) {
                LOG_ERROR("cannot read " + path);
                contents.clear();
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Dirs::slurpFile(const std::string& path)
{
    std::string retVal;
    slurpFile(path, retVal);
    return retVal;
}

std::string Dirs::slurpStdIn()
{
    std::string retVal;
    try {
        do {
            VERIFY(readStream(stdin, retVal));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::writeFile(const std::string& path, const std::string& contents, bool append)
{
    bool retVal = false;
    try {
        do {
            std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), append ? "ab" : "wb"));
            VERIFY(file);
            const size_t written = std::fwrite(contents.data(), 1, contents.size(), file.get());
            // The close flushes: its result says whether the bytes really went out.
            const bool closed = std::fclose(file.release()) == 0;
            VERIFY(written == contents.size());
            VERIFY(closed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Dirs::launchApp(const std::string& appPath)
{
    bool retVal = false;
    try {
        do {
            ChildProcesses::reap();
            SANITY_CHECK(Dirs::exists(appPath));
            const std::string openerPath = findExecutableInPath("xdg-open");
            // clang-format off
            SANITY_CHECK(! openerPath.empty());
            // clang-format on
            VERIFY(ChildProcesses::spawnDetached({openerPath, appPath}) > 0);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
