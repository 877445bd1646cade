#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnUtils/DirRecurse.h"
#include "QfnUtils/TrailingPathCharHandling.h"

namespace Qfn {

class Ini;

// Static path and folder operations. Paths are UTF-8 strings. The path-string functions are pure
// string work and take the separator as an argument: '/' or '\\', or 0 for the one the path shows
// (the first separator found in it). Well-known folders come from the environment, end in a
// separator, and are cached at first use.
class Dirs {
public:
    Dirs() = delete;

    static constexpr char kSeparator = '/';

    // ---- path strings

    // Appends the separator unless the path already ends in it; a final separator of the other
    // kind is replaced by the one asked for. An empty path stays empty.
    static std::string addTrailingSeparator(const std::string& path, char separator = kSeparator);
    // Drops the separators at the end, but never the only character of the path ("/" stays).
    static std::string removeTrailingSeparator(const std::string& path, char separator = kSeparator);
    // Every '\\' and '/' becomes the separator.
    static std::string cleanupMixedSeparators(const std::string& path, char separator = kSeparator);
    // The segments between separators; a leading separator gives an empty first segment, a trailing
    // one no extra segment. With separator 0 the separator found in the path is stored into it (it
    // stays 0 when the path has none, and the whole path is one segment).
    static std::vector<std::string> splitPath(const std::string& path, char& separator);
    // All but the last segment, with a trailing separator; empty when the path holds no separator.
    static std::string getParentPath(const std::string& path, char separator = kSeparator);
    // The segment numbered from 0 from the left (or the right); empty beyond the last one.
    static std::string getPathSegmentFromLeft(const std::string& path, int64_t index,
                                              char separator = kSeparator);
    static std::string getPathSegmentFromRight(const std::string& path, int64_t index,
                                               char separator = kSeparator);
    // The text after the last '.' of the file name, without the dot; empty when the name has none
    // or only a leading one (".profile").
    static std::string getFileNameExtension(const std::string& path);
    static std::string getLowerCaseFileNameExtension(const std::string& path);
    // The path made absolute against the working directory, with "." and ".." taken out.
    static std::string fullPath(const std::string& path, char separator = kSeparator);
    // A relative path joined to rootPath (an existing folder), with "." and ".." taken out; ".."
    // never climbs above the top. An absolute path is only cleaned up.
    static std::string resolveRelativePath(const std::string& path, const std::string& rootPath,
                                           char separator = kSeparator);
    // The existing file a partial path names, looked for in the application folder and in the
    // folders above it (also below "build/release/" and "examples/" there), so that a program run
    // from a build tree finds the files of its source tree. Empty when none is found.
    static std::string resolvePartialFilePath(const std::string& path,
                                              DirRecurse recurse = DirRecurse::NO_RECURSE,
                                              char separator = kSeparator);
    // The same below one base folder; with RECURSE its sub-folders are searched too.
    static std::string resolvePartialFilePath(const std::string& path, const std::string& baseFolderPath,
                                              DirRecurse recurse, char separator = kSeparator);

    // ---- the file system

    static bool exists(const std::string& path);
    static bool dirExists(const std::string& dirPath, TrailingPathCharHandling trailingPathCharHandling =
                                                          TrailingPathCharHandling::Ignore);
    // A regular file.
    static bool fileExists(const std::string& filePath, TrailingPathCharHandling trailingPathCharHandling =
                                                            TrailingPathCharHandling::Ignore);
    // The length in bytes; -1 when the path is no readable file.
    static int64_t fileSize(const std::string& path);
    // The time of the last change of the contents, in nanoseconds since 1970; -1 when the path does
    // not exist.
    static int64_t fileModificationTime(const std::string& path);
    // True when the folder exists afterwards; with RECURSE the missing levels are made from the top.
    static bool mkDir(const std::string& dirPath, DirRecurse recurse = DirRecurse::NO_RECURSE,
                      char separator = kSeparator);
    // True when it removed the folder; with RECURSE its contents go first. Symbolic links inside
    // are removed, never followed.
    static bool rmDir(const std::string& dirPath, DirRecurse recurse = DirRecurse::NO_RECURSE,
                      char separator = kSeparator);
    // The names in the folder, without "." and "..", in the order the system lists them.
    static std::vector<std::string> scanDir(const std::string& path);
    // The whole file; false (and contents empty) when it cannot be read.
    static bool slurpFile(const std::string& path, std::string& contents);
    static std::string slurpFile(const std::string& path);
    // Standard input up to its end.
    static std::string slurpStdIn();
    // Replaces the file (or appends to it); false when it cannot be written completely.
    static bool writeFile(const std::string& path, const std::string& contents, bool append = false);
    // The ini operations are defined in QfnData/DirsIni.cpp, with Ini.
    // The file parsed into an Ini; an empty pointer (and a log line) when it is missing or empty.
    static std::shared_ptr<Ini> readIni(const std::string& iniFilePath);
    // Writes the Ini's canonical text over the file; false when the path is something else than a file.
    static bool writeIni(const std::string& iniFilePath, const Ini& ini);
    // Opens the path with the desktop's handler (xdg-open) in a session of its own, without waiting;
    // the handler is collected with the other children (ChildProcesses::reap) once it ends.
    static bool launchApp(const std::string& appPath);

    // ---- well-known folders

    // The running executable, its file name and its folder.
    static const std::string& getAppPath();
    static const std::string& getAppName();
    static const std::string& getAppDirPath();
    static const std::string& getCurrentDir();
    // $HOME.
    static const std::string& getHomePath();
    // $HOME/Documents and $HOME/Desktop, or the home folder when they are missing.
    static const std::string& getDocumentsPath();
    static const std::string& getDesktopPath();
    // The first entry of $XDG_DATA_DIRS, else /usr/local/share.
    static const std::string& getSystemDataPath();
    // $XDG_DATA_HOME, else $HOME/.local/share; made when missing.
    static const std::string& getUserDataPath();
    // $XDG_STATE_HOME, else $HOME/.local/state; made when missing.
    static const std::string& getUserStatePath();
    // $TMPDIR, else /tmp.
    static const std::string& getTmpPath();
    // The user data folder's net.quillfern/Logs/, made when missing.
    static const std::string& getLogDirPath();
    // Forgets the cached folders, so that the next calls read the environment again.
    static void resetCachedPaths();

private:
    // The separator a path string function works with: the one given, or for 0 the one in the path
    // (the platform's when there is none). False (and a log line) for any other character.
    static bool resolveSeparator(const std::string& path, char& separator);
    // The segment numbered from 0 from the left or the right end.
    static std::string getPathSegment(const std::string& path, int64_t index, char separator, bool fromLeft);
    // The segments of an absolute path with "." and ".." taken out, joined again.
    static std::string normalizePath(const std::string& path, char separator);
    static std::string findInBase(const std::string& path, const std::string& baseFolderPath,
                                  DirRecurse recurse, char separator, int depth);
};

}  // namespace Qfn
