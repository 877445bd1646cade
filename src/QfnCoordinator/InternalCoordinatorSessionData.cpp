// The pid file and the session data file of the coordinator.
#include <unistd.h>

#include <cstdio>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Process.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

bool InternalCoordinator::fIsPidPublished = false;
int64_t InternalCoordinator::fVerifiedPidFileTime = -1;
std::string InternalCoordinator::fPidFilePath;

bool InternalCoordinator::publishMyPid()
{
    bool retVal = false;
    try {
        do {
            getSessionDataFolderPath();  // made when missing
            fPidFilePath = Process::getPidFilePath(fCoordinatorName);
            retVal = Dirs::writeFile(fPidFilePath, std::to_string(::getpid()));
            fIsPidPublished = fIsPidPublished || retVal;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// False when the file is gone or names another process: someone else has taken the name.
bool InternalCoordinator::verifyMyPublishedPid()
{
    bool retVal = false;
    try {
        do {
            // The main round asks this every pass: the file is read again only when it has changed.
            if (fPidFilePath.empty()) fPidFilePath = Process::getPidFilePath(fCoordinatorName);
            const std::string& path = fPidFilePath;
            int64_t modificationTime = Dirs::fileModificationTime(path);
            if (modificationTime < 0) break;
            if (modificationTime == fVerifiedPidFileTime) {
                retVal = true;
                break;
            }
            fVerifiedPidFileTime = -1;
            retVal = Utils::toOMInt(Utils::trim(Dirs::slurpFile(path))) == static_cast<int64_t>(::getpid());
            if (retVal) fVerifiedPidFileTime = modificationTime;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::restoreMyPid()
{
    bool retVal = false;
    try {
        do {
            if (fPidFilePath.empty() || Dirs::fileModificationTime(fPidFilePath) < 0) publishMyPid();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

unsigned long InternalCoordinator::getPublishedPid(const std::string& coordinatorName)
{
    unsigned long retVal = 0;
    try {
        do {
            std::string path = Process::getPidFilePath(coordinatorName);
            if (!Dirs::fileExists(path)) break;
            int64_t pid = Utils::toOMInt(Utils::trim(Dirs::slurpFile(path)));
            if (pid <= 0) break;
            if (Process::isRunning(static_cast<unsigned long>(pid), coordinatorName))
                retVal = static_cast<unsigned long>(pid);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Written once while -d is on, and again by the main round when the file has vanished.
bool InternalCoordinator::writeSessionData()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            if (!getIsReportSessionData()) break;
            std::string path = getSessionDataPath();
            if (Dirs::fileExists(path)) break;
            std::shared_ptr<OMStored> sysInfo;
            ASSIGN(sysInfo, buildSysInfo());
            OMAccessor accessor(sysInfo);
            retVal = Dirs::writeFile(path, accessor.stringify());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::destroySessionData()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            // The files of a name this process never held belong to another process.
            if (!fIsPidPublished) break;
            std::string path = getSessionDataPath();
            if (Dirs::exists(path)) std::remove(path.c_str());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
