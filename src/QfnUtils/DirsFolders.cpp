// Dirs: the well-known folders, read from the environment at first use and cached.
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "QfnLogger/Check.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// The well-known folders, read at first use. Never destroyed, so that a line logged during static
// tear-down may still ask for them.
struct CachedPaths {
    std::string fAppPath;
    std::string fAppName;
    std::string fAppDirPath;
    std::string fCurrentDir;
    std::string fHomePath;
    std::string fDocumentsPath;
    std::string fDesktopPath;
    std::string fSystemDataPath;
    std::string fUserDataPath;
    std::string fUserStatePath;
    std::string fTmpPath;
    std::string fLogDirPath;
};

CachedPaths& cache()
{
    static CachedPaths* paths = new CachedPaths();
    return *paths;
}

}  // namespace

// ---- well-known folders. A getter whose checks fail gives the empty string and caches nothing,
// so that it is asked again next time.

const std::string& Dirs::getAppPath()
{
    std::string& fAppPath = cache().fAppPath;
    try {
        do {
            if (!fAppPath.empty()) break;
            char buffer[PATH_MAX + 1] = {};
            const ssize_t readLinkLength = ::readlink("/proc/self/exe", buffer, PATH_MAX);
            SANITY_CHECK(readLinkLength > 0);
            fAppPath.assign(buffer, static_cast<size_t>(readLinkLength));
            // clang-format off
            SANITY_CHECK(! fAppPath.empty());
            // clang-format on
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return fAppPath;
}

const std::string& Dirs::getAppName()
{
    std::string& fAppName = cache().fAppName;
    try {
        do {
            if (!fAppName.empty()) break;
            const std::string& appPath = getAppPath();
            if (appPath.empty()) break;
            fAppName = getPathSegmentFromRight(appPath, 0);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return fAppName;
}

const std::string& Dirs::getAppDirPath()
{
    std::string& fAppDirPath = cache().fAppDirPath;
    bool succeeded = false;
    try {
        do {
            if (!fAppDirPath.empty()) {
                succeeded = true;
                break;
            }
            const std::string& appPath = getAppPath();
            if (appPath.empty()) break;
            fAppDirPath = getParentPath(appPath);
            SANITY_CHECK(Dirs::dirExists(fAppDirPath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fAppDirPath.clear();
    return fAppDirPath;
}

const std::string& Dirs::getCurrentDir()
{
    std::string& fCurrentDir = cache().fCurrentDir;
    try {
        do {
            if (!fCurrentDir.empty()) break;
            char currentDir[PATH_MAX + 1] = {};
            VERIFY(getcwd(currentDir, sizeof(currentDir)));
            fCurrentDir = addTrailingSeparator(currentDir);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return fCurrentDir;
}

const std::string& Dirs::getHomePath()
{
    std::string& fHomePath = cache().fHomePath;
    bool succeeded = false;
    try {
        do {
            if (!fHomePath.empty()) {
                succeeded = true;
                break;
            }
            const char* temp = std::getenv("HOME");
            SANITY_CHECK(temp);
            fHomePath = addTrailingSeparator(temp);
            SANITY_CHECK(dirExists(fHomePath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fHomePath.clear();
    return fHomePath;
}

const std::string& Dirs::getDocumentsPath()
{
    std::string& fDocumentsPath = cache().fDocumentsPath;
    bool succeeded = false;
    try {
        do {
            if (!fDocumentsPath.empty()) {
                succeeded = true;
                break;
            }
            const std::string& homePath = getHomePath();
            if (homePath.empty()) break;
            fDocumentsPath = homePath + "Documents/";
            // Many homes have no such folder: the home folder stands in for it.
            if (!dirExists(fDocumentsPath)) fDocumentsPath = homePath;
            SANITY_CHECK(dirExists(fDocumentsPath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fDocumentsPath.clear();
    return fDocumentsPath;
}

const std::string& Dirs::getDesktopPath()
{
    std::string& fDesktopPath = cache().fDesktopPath;
    bool succeeded = false;
    try {
        do {
            if (!fDesktopPath.empty()) {
                succeeded = true;
                break;
            }
            const std::string& homePath = getHomePath();
            if (homePath.empty()) break;
            fDesktopPath = homePath + "Desktop/";
            if (!dirExists(fDesktopPath)) fDesktopPath = homePath;
            SANITY_CHECK(dirExists(fDesktopPath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fDesktopPath.clear();
    return fDesktopPath;
}

const std::string& Dirs::getSystemDataPath()
{
    std::string& fSystemDataPath = cache().fSystemDataPath;
    bool succeeded = false;
    try {
        do {
            if (!fSystemDataPath.empty()) {
                succeeded = true;
                break;
            }
            std::string firstDataDir = "/usr/local/share";
            if (const char* temp = std::getenv("XDG_DATA_DIRS")) {
                std::vector<std::string> dataDirs = Utils::strSplit(temp, ':', false);
                if (!dataDirs.empty()) firstDataDir = dataDirs.front();
            }
            fSystemDataPath = addTrailingSeparator(firstDataDir);
            SANITY_CHECK(dirExists(fSystemDataPath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fSystemDataPath.clear();
    return fSystemDataPath;
}

namespace {

// A per-user folder of the XDG scheme: the environment variable, else the default below home;
// made when missing, since a fresh account has none of them yet.
const std::string& userFolder(std::string& cached, const char* variable, const char* belowHome)
{
    bool succeeded = false;
    try {
        do {
            if (!cached.empty()) {
                succeeded = true;
                break;
            }
            const char* temp = std::getenv(variable);
            if (temp && *temp) {
                cached = Dirs::addTrailingSeparator(temp);
            } else {
                const std::string& homePath = Dirs::getHomePath();
                if (homePath.empty()) break;
                cached = homePath + belowHome;
            }
            if (!Dirs::dirExists(cached)) Dirs::mkDir(cached, DirRecurse::RECURSE);
            SANITY_CHECK(Dirs::dirExists(cached));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) cached.clear();
    return cached;
}

}  // namespace

const std::string& Dirs::getUserDataPath()
{
    return userFolder(cache().fUserDataPath, "XDG_DATA_HOME", ".local/share/");
}

const std::string& Dirs::getUserStatePath()
{
    return userFolder(cache().fUserStatePath, "XDG_STATE_HOME", ".local/state/");
}

const std::string& Dirs::getTmpPath()
{
    std::string& fTmpPath = cache().fTmpPath;
    bool succeeded = false;
    try {
        do {
            if (!fTmpPath.empty()) {
                succeeded = true;
                break;
            }
            const char* temp = std::getenv("TMPDIR");
            fTmpPath = addTrailingSeparator(temp && *temp ? temp : "/tmp");
            SANITY_CHECK(dirExists(fTmpPath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fTmpPath.clear();
    return fTmpPath;
}

const std::string& Dirs::getLogDirPath()
{
    std::string& fLogDirPath = cache().fLogDirPath;
    bool succeeded = false;
    try {
        do {
            if (!fLogDirPath.empty()) {
                succeeded = true;
                break;
            }
            const std::string& userDataPath = getUserDataPath();
            if (userDataPath.empty()) break;
            fLogDirPath = userDataPath + "net.quillfern/Logs/";
            SANITY_CHECK(Dirs::mkDir(fLogDirPath, DirRecurse::RECURSE));
            SANITY_CHECK(Dirs::dirExists(fLogDirPath));
            succeeded = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!succeeded) fLogDirPath.clear();
    return fLogDirPath;
}

void Dirs::resetCachedPaths()
{
    cache() = CachedPaths();
}

}  // namespace Qfn
