#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

const char* const kSeparatorCheck =
    "SANITY_CHECK failed: 'separator == '\\\\' || separator == '/'' evaluates to false";

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TempDir {
public:
    TempDir()
    {
        char pattern[] = "/tmp/qfn-dirs-XXXXXX";
        const char* made = ::mkdtemp(pattern);
        fPath = made ? std::string(made) + "/" : std::string();
    }
    ~TempDir()
    {
        if (!fPath.empty()) Dirs::rmDir(fPath, DirRecurse::RECURSE);
    }
    const std::string& path() const { return fPath; }

private:
    std::string fPath;
};

// Sets environment variables for a test and puts back what was there, cached folders included.
class EnvGuard {
public:
    ~EnvGuard()
    {
        for (const auto& [name, value] : fSaved) {
            if (value)
                ::setenv(name.c_str(), value->c_str(), 1);
            else
                ::unsetenv(name.c_str());
        }
        Dirs::resetCachedPaths();
    }
    void set(const std::string& name, const std::string& value)
    {
        save(name);
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    void unset(const std::string& name)
    {
        save(name);
        ::unsetenv(name.c_str());
    }

private:
    void save(const std::string& name)
    {
        for (const auto& saved : fSaved)
            if (saved.first == name) return;
        const char* value = std::getenv(name.c_str());
        fSaved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
    }

    std::vector<std::pair<std::string, std::optional<std::string>>> fSaved;
};

std::vector<std::string> sorted(std::vector<std::string> names)
{
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(DirsPathStrings, SegmentsCountFromEitherEnd)
{
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("C:\\Users\\someone\\Desktop", 0, 0), "C:");
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("C:\\Users\\someone\\Desktop", 1, 0), "Users");
    // A leading separator makes an empty first segment.
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("/Users/someone/Desktop", 1, 0), "Users");
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("/Users/someone/Desktop", 0, '/'), "");
    // Without the separator asked for, the whole path is one segment.
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("/Users/someone/Desktop", 1, '\\'), "");
    EXPECT_EQ(Dirs::getPathSegmentFromRight("/Users/someone/Desktop", 0, '\\'), "/Users/someone/Desktop");
    EXPECT_EQ(Dirs::getPathSegmentFromRight("/Users/someone/Desktop", 0), "Desktop");
    EXPECT_EQ(Dirs::getPathSegmentFromRight("/Users/someone/Desktop", 2), "Users");
    // A folder's final separator starts no empty segment.
    EXPECT_EQ(Dirs::getPathSegmentFromRight("/Users/someone/", 0), "someone");
    EXPECT_EQ(Dirs::getPathSegmentFromRight("/Users/someone/Desktop", 4), "");
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("/Users/someone/Desktop", -1), "");

    QfnTest::LogCapture capture;
    EXPECT_EQ(Dirs::getPathSegmentFromLeft("", 0), "");
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: '! path.empty()' evaluates to false"));
    capture.clear();
    EXPECT_EQ(Dirs::getPathSegmentFromRight("a:b", 0, ':'), "");
    EXPECT_TRUE(capture.hasLineEndingWith(kSeparatorCheck));
}

TEST(DirsPathStrings, TrailingSeparatorsLookOnlyAtTheLastCharacter)
{
    EXPECT_EQ(Dirs::addTrailingSeparator("C:\\Users\\someone\\Desktop", '/'), "C:\\Users\\someone\\Desktop/");
    EXPECT_EQ(Dirs::addTrailingSeparator("/Users/someone/Desktop/", '\\'), "/Users/someone/Desktop\\");
    EXPECT_EQ(Dirs::addTrailingSeparator("/Users/someone/Desktop/"), "/Users/someone/Desktop/");
    // With 0 the path's own separator is used, and a final one of either kind is kept.
    EXPECT_EQ(Dirs::addTrailingSeparator("C:\\Users", 0), "C:\\Users\\");
    EXPECT_EQ(Dirs::addTrailingSeparator("/a\\b\\", 0), "/a\\b\\");
    EXPECT_EQ(Dirs::addTrailingSeparator("plain", 0), "plain/");
    EXPECT_EQ(Dirs::addTrailingSeparator(""), "");

    EXPECT_EQ(Dirs::removeTrailingSeparator("/a/b//"), "/a/b");
    EXPECT_EQ(Dirs::removeTrailingSeparator("/"), "/");
    EXPECT_EQ(Dirs::removeTrailingSeparator("C:\\a\\", '\\'), "C:\\a");
    EXPECT_EQ(Dirs::removeTrailingSeparator("/a/", '\\'), "/a/");
    EXPECT_EQ(Dirs::removeTrailingSeparator("x\\/", 0), "x");

    QfnTest::LogCapture capture;
    EXPECT_EQ(Dirs::addTrailingSeparator("/a", ':'), "");
    EXPECT_TRUE(capture.hasLineEndingWith(kSeparatorCheck));
}

TEST(DirsPathStrings, SplitCleanupParentAndExtension)
{
    EXPECT_EQ(Dirs::cleanupMixedSeparators("/Users/someone\\Desktop/t.1", '/'), "/Users/someone/Desktop/t.1");
    EXPECT_EQ(Dirs::cleanupMixedSeparators("C:\\Users/someone", 0), "C:\\Users\\someone");
    EXPECT_EQ(Dirs::cleanupMixedSeparators("/a\\b", '\\'), "\\a\\b");

    char separator = 0;
    EXPECT_EQ(Dirs::splitPath("a\\b\\c", separator), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(separator, '\\');
    separator = 0;
    EXPECT_EQ(Dirs::splitPath("abc", separator), std::vector<std::string>{"abc"});
    EXPECT_EQ(separator, 0);
    separator = '/';
    EXPECT_EQ(Dirs::splitPath("/x//y/", separator), (std::vector<std::string>{"", "x", "", "y"}));

    EXPECT_EQ(Dirs::getParentPath("C:\\Users\\someone\\Desktop", '\\'), "C:\\Users\\someone\\");
    EXPECT_EQ(Dirs::getParentPath("C:\\Users\\someone\\Desktop", 0), "C:\\Users\\someone\\");
    EXPECT_EQ(Dirs::getParentPath("C:\\Users\\someone\\Desktop"), "");
    EXPECT_EQ(Dirs::getParentPath("/a/b/"), "/a/");
    EXPECT_EQ(Dirs::getParentPath("/a"), "/");
    EXPECT_EQ(Dirs::getParentPath("/"), "");
    EXPECT_EQ(Dirs::getParentPath("name"), "");

    EXPECT_EQ(Dirs::getFileNameExtension("/x/archive.tar.GZ"), "GZ");
    EXPECT_EQ(Dirs::getLowerCaseFileNameExtension("/x/archive.tar.GZ"), "gz");
    EXPECT_EQ(Dirs::getLowerCaseFileNameExtension("C:\\dir.d\\A.TXT"), "txt");
    EXPECT_EQ(Dirs::getFileNameExtension("/x.d/file"), "");
    EXPECT_EQ(Dirs::getFileNameExtension("/x/.profile"), "");
}

TEST(DirsPathStrings, FullAndRelativePathsTakeOutDotSegments)
{
    TempDir root;
    ASSERT_FALSE(root.path().empty());
    EXPECT_EQ(Dirs::resolveRelativePath("sub/../x/./y.txt", root.path()), root.path() + "x/y.txt");
    EXPECT_EQ(Dirs::resolveRelativePath("x\\y", root.path()), root.path() + "x/y");
    EXPECT_EQ(Dirs::resolveRelativePath("/abs/./p/", root.path()), "/abs/p/");
    // ".." never climbs above the top.
    EXPECT_EQ(Dirs::resolveRelativePath("../../../../../../..", root.path()), "/");

    EXPECT_EQ(Dirs::fullPath("a/b/../c"), Dirs::getCurrentDir() + "a/c");
    EXPECT_EQ(Dirs::fullPath("/x//y/./z/"), "/x/y/z/");
    EXPECT_EQ(Dirs::fullPath("C:\\a\\..\\b", '\\'), "C:\\b");
    EXPECT_EQ(Dirs::fullPath("a:b"), Dirs::getCurrentDir() + "a:b") << "no drive on this system";

    QfnTest::LogCapture capture;
    EXPECT_EQ(Dirs::resolveRelativePath("x", root.path() + "missing"), "");
    EXPECT_TRUE(
        capture.hasLineEndingWith("SANITY_CHECK failed: 'Dirs::dirExists(rootPath)' evaluates to false"));
}

TEST(DirsFileSystem, MakeWriteScanAndRemoveFolders)
{
    TempDir root;
    ASSERT_FALSE(root.path().empty());
    const std::string deep = root.path() + "a/b/c";
    {
        QfnTest::LogCapture capture;
        EXPECT_FALSE(Dirs::mkDir(deep));
        EXPECT_TRUE(
            capture.hasLineEndingWith("SANITY_CHECK failed: 'Dirs::dirExists(dirPath)' evaluates to false"));
        capture.clear();
        EXPECT_FALSE(Dirs::mkDir(""));
        EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: '! dirPath.empty()' evaluates to false"));
    }
    EXPECT_TRUE(Dirs::mkDir(deep + "/", DirRecurse::RECURSE));
    EXPECT_TRUE(Dirs::dirExists(deep));
    EXPECT_TRUE(Dirs::mkDir(deep, DirRecurse::RECURSE)) << "an existing folder is no failure";

    const std::string file = root.path() + "a/f.txt";
    EXPECT_TRUE(Dirs::writeFile(file, "hello"));
    EXPECT_TRUE(Dirs::writeFile(file, " world", true));
    EXPECT_EQ(Dirs::slurpFile(file), "hello world");
    EXPECT_EQ(Dirs::fileSize(file), 11);
    EXPECT_EQ(Dirs::fileSize(deep), -1);
    EXPECT_EQ(Dirs::fileSize(root.path() + "none"), -1);
    EXPECT_TRUE(Dirs::exists(file));
    EXPECT_TRUE(Dirs::fileExists(file));
    EXPECT_FALSE(Dirs::dirExists(file));
    EXPECT_FALSE(Dirs::fileExists(deep));
    EXPECT_EQ(sorted(Dirs::scanDir(root.path() + "a")), (std::vector<std::string>{"b", "f.txt"}));

    {
        QfnTest::LogCapture capture;
        std::string contents = "stale";
        EXPECT_FALSE(Dirs::slurpFile(root.path() + "none", contents));
        EXPECT_EQ(contents, "");
        EXPECT_FALSE(Dirs::slurpFile(deep, contents)) << "a folder is no file to read";
        EXPECT_TRUE(Dirs::scanDir(root.path() + "none").empty());
        EXPECT_TRUE(capture.hasLineEndingWith("invalid directory"));
        EXPECT_FALSE(Dirs::writeFile(root.path() + "none/x", "x"));
        // A folder that is not empty stays without RECURSE.
        capture.clear();
        EXPECT_FALSE(Dirs::rmDir(root.path() + "a"));
        EXPECT_TRUE(
            capture.hasLineEndingWith("VERIFY failed: 'rmdir(trimmedPath.c_str()) == 0' evaluates to false"));
        EXPECT_FALSE(Dirs::rmDir("/", DirRecurse::RECURSE));
    }

    // A link to a folder outside is removed, and what it points at stays.
    TempDir outside;
    ASSERT_TRUE(Dirs::writeFile(outside.path() + "keep.txt", "keep"));
    ASSERT_EQ(::symlink(outside.path().c_str(), (root.path() + "a/b/link").c_str()), 0);
    EXPECT_TRUE(Dirs::rmDir(root.path() + "a/", DirRecurse::RECURSE));
    EXPECT_FALSE(Dirs::exists(root.path() + "a"));
    EXPECT_EQ(Dirs::slurpFile(outside.path() + "keep.txt"), "keep");
}

TEST(DirsFileSystem, TrailingCharactersAreCheckedOnlyWhenAsked)
{
    TempDir root;
    ASSERT_TRUE(Dirs::writeFile(root.path() + "f", "x"));
    const std::string folder = Dirs::removeTrailingSeparator(root.path());
    QfnTest::LogCapture capture;
    EXPECT_TRUE(Dirs::dirExists(folder));
    EXPECT_TRUE(Dirs::fileExists(root.path() + "f/") == false);
    EXPECT_TRUE(capture.lines().empty());

    EXPECT_TRUE(Dirs::dirExists(folder, TrailingPathCharHandling::Check));
    EXPECT_TRUE(
        capture.hasLineEndingWith("EXPECTED failed: 'trailingPathCharHandling == "
                                  "TrailingPathCharHandling::Ignore || *(dirPath.rbegin()) == '/'' "
                                  "evaluates to false"));
    capture.clear();
    EXPECT_TRUE(Dirs::dirExists(root.path(), TrailingPathCharHandling::Check));
    EXPECT_TRUE(Dirs::fileExists(root.path() + "f", TrailingPathCharHandling::Check));
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_FALSE(Dirs::fileExists(root.path() + "f/", TrailingPathCharHandling::Check));
    EXPECT_TRUE(
        capture.hasLineEndingWith("EXPECTED failed: 'trailingPathCharHandling == "
                                  "TrailingPathCharHandling::Ignore || *(filePath.rbegin()) != '/'' "
                                  "evaluates to false"));
}

TEST(DirsFileSystem, SlurpStdInReadsToTheEnd)
{
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    const int savedStdIn = ::dup(0);
    ASSERT_GE(savedStdIn, 0);
    ASSERT_EQ(::dup2(fds[0], 0), 0);
    ::close(fds[0]);
    const std::string text = "line one\nline two\n";
    ASSERT_EQ(::write(fds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ::close(fds[1]);
    const std::string read = Dirs::slurpStdIn();
    ::dup2(savedStdIn, 0);
    ::close(savedStdIn);
    std::clearerr(stdin);
    EXPECT_EQ(read, text);
}

TEST(DirsResolve, PartialPathsAreFoundInBaseAndAppFolders)
{
    TempDir base;
    ASSERT_TRUE(Dirs::mkDir(base.path() + "x/y", DirRecurse::RECURSE));
    ASSERT_TRUE(Dirs::mkDir(base.path() + "a", DirRecurse::RECURSE));
    ASSERT_TRUE(Dirs::writeFile(base.path() + "x/y/target.txt", "t"));
    EXPECT_EQ(Dirs::resolvePartialFilePath("target.txt", base.path(), DirRecurse::NO_RECURSE), "");
    EXPECT_EQ(Dirs::resolvePartialFilePath("target.txt", base.path(), DirRecurse::RECURSE),
              base.path() + "x/y/target.txt");
    EXPECT_EQ(Dirs::resolvePartialFilePath("y/target.txt", base.path() + "x", DirRecurse::NO_RECURSE),
              base.path() + "x/y/target.txt");

    // The program's own name resolves to the program.
    const std::string& appPath = Dirs::getAppPath();
    ASSERT_FALSE(appPath.empty());
    EXPECT_EQ(Dirs::resolvePartialFilePath(Dirs::getPathSegmentFromRight(appPath, 0)), appPath);
    // From build/<type>/ the source tree above is searched.
    const std::string found = Dirs::resolvePartialFilePath("src/QfnUtils/Dirs.h");
    EXPECT_TRUE(found.ends_with("/src/QfnUtils/Dirs.h")) << found;
    EXPECT_TRUE(Dirs::fileExists(found));
    EXPECT_EQ(Dirs::resolvePartialFilePath(appPath), appPath) << "an absolute path stands for itself";

    QfnTest::LogCapture capture;
    EXPECT_EQ(Dirs::resolvePartialFilePath("no-such-file.qfl"), "");
    EXPECT_EQ(Dirs::resolvePartialFilePath("t", base.path() + "missing", DirRecurse::RECURSE), "");
    EXPECT_TRUE(capture.hasLineEndingWith(
        "SANITY_CHECK failed: 'Dirs::dirExists(baseFolderPath)' evaluates to false"));
    capture.clear();
    EXPECT_FALSE(Dirs::launchApp(base.path() + "missing"));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'Dirs::exists(appPath)' evaluates to false"));
}

TEST(DirsWellKnownFolders, ComeFromTheEnvironmentAndAreCached)
{
    TempDir home;
    ASSERT_FALSE(home.path().empty());
    ASSERT_TRUE(Dirs::mkDir(home.path() + "sys"));
    ASSERT_TRUE(Dirs::mkDir(home.path() + "tmp"));
    EnvGuard env;
    env.set("HOME", Dirs::removeTrailingSeparator(home.path()));
    env.unset("XDG_DATA_HOME");
    env.unset("XDG_STATE_HOME");
    env.set("XDG_DATA_DIRS", home.path() + "sys:/usr/share");
    env.set("TMPDIR", home.path() + "tmp");
    Dirs::resetCachedPaths();

    QfnTest::LogCapture capture;
    EXPECT_EQ(Dirs::getHomePath(), home.path());
    EXPECT_TRUE(Dirs::dirExists(Dirs::getHomePath()));
    EXPECT_FALSE(Dirs::fileExists(Dirs::getHomePath()));
    EXPECT_FALSE(Pipes::namedPipeExists(Dirs::getHomePath()));
    // Without Documents and Desktop the home folder stands in, quietly.
    EXPECT_EQ(Dirs::getDocumentsPath(), home.path());
    EXPECT_EQ(Dirs::getDesktopPath(), home.path());
    EXPECT_EQ(Dirs::getUserDataPath(), home.path() + ".local/share/");
    EXPECT_TRUE(Dirs::dirExists(Dirs::getUserDataPath())) << "made on first use";
    EXPECT_EQ(Dirs::getUserStatePath(), home.path() + ".local/state/");
    EXPECT_TRUE(Dirs::dirExists(Dirs::getUserStatePath()));
    EXPECT_EQ(Dirs::getLogDirPath(), home.path() + ".local/share/net.quillfern/Logs/");
    EXPECT_TRUE(Dirs::dirExists(Dirs::getLogDirPath()));
    EXPECT_EQ(Dirs::getSystemDataPath(), home.path() + "sys/");
    EXPECT_EQ(Dirs::getTmpPath(), home.path() + "tmp/");
    EXPECT_TRUE(capture.lines().empty());

    // Cached until reset.
    ASSERT_TRUE(Dirs::mkDir(home.path() + "Documents"));
    EXPECT_EQ(Dirs::getDocumentsPath(), home.path());
    env.set("XDG_DATA_HOME", home.path() + "data");
    env.set("XDG_STATE_HOME", home.path() + "state");
    Dirs::resetCachedPaths();
    EXPECT_EQ(Dirs::getDocumentsPath(), home.path() + "Documents/");
    EXPECT_EQ(Dirs::getUserDataPath(), home.path() + "data/");
    EXPECT_EQ(Dirs::getUserStatePath(), home.path() + "state/");
    EXPECT_TRUE(Dirs::dirExists(home.path() + "state/"));

    env.set("HOME", home.path() + "gone");
    Dirs::resetCachedPaths();
    EXPECT_EQ(Dirs::getHomePath(), "");
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'dirExists(fHomePath)' evaluates to false"));
    env.unset("HOME");
    Dirs::resetCachedPaths();
    capture.clear();
    EXPECT_EQ(Dirs::getDocumentsPath(), "");
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'temp' evaluates to false"));
}

TEST(DirsWellKnownFolders, TheProgramAndTheWorkingDirectory)
{
    const std::string& appPath = Dirs::getAppPath();
    EXPECT_TRUE(Dirs::fileExists(appPath));
    EXPECT_EQ(Dirs::getAppDirPath() + Dirs::getAppName(), appPath);
    EXPECT_TRUE(Dirs::getAppDirPath().ends_with("/"));
    EXPECT_TRUE(Dirs::dirExists(Dirs::getAppDirPath()));
    char buffer[4096] = {};
    ASSERT_NE(::getcwd(buffer, sizeof buffer), nullptr);
    EXPECT_EQ(Dirs::getCurrentDir(), Dirs::addTrailingSeparator(buffer));
}
