// What the coordinator tells scripts about itself (sysInfo), its folders, and the table of
// data-request call-backs.
#include <unistd.h>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// "<user data>net.quillfern/<name>/", made with its parents when it is missing.
bool makeCoordinatorFolder(std::string& folderPath, const char* name)
{
    bool retVal = false;
    try {
        do {
            // Built again on each call: the user data folder can change while a process starts up.
            folderPath =
                Dirs::getUserDataPath() + "net.quillfern" + Dirs::kSeparator + name + Dirs::kSeparator;
            if (!Dirs::dirExists(folderPath)) {
                SANITY_CHECK(Dirs::mkDir(folderPath, DirRecurse::RECURSE));
                SANITY_CHECK(Dirs::dirExists(folderPath));
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace

const std::string& InternalCoordinator::getPipeFolderPath()
{
    makeCoordinatorFolder(fPipeFolderPath, "NamedPipes");
    return fPipeFolderPath;
}

const std::string& InternalCoordinator::getSessionDataFolderPath()
{
    makeCoordinatorFolder(fSessionDataFolderPath, "SessionData");
    return fSessionDataFolderPath;
}

std::string InternalCoordinator::getSessionDataPath()
{
    return getSessionDataFolderPath() + fCoordinatorName + ".json";
}

std::shared_ptr<OMStored> InternalCoordinator::buildSysInfo()
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            std::shared_ptr<OMStored> map;
            ASSIGN(map, OMStored::mapFactory());
            OMAccessor info(map);
            SANITY_CHECK(info.set("consoleEcho", fConsoleEcho));
            SANITY_CHECK(info.set("logFile", Log::getLogFile()));
            SANITY_CHECK(info.set("logLevel", static_cast<int64_t>(Log::getLogLevel())));
            SANITY_CHECK(info.set("defaultEngine", fDefaultEngine));
            SANITY_CHECK(info.set("delayQuitMicroseconds", fDelayQuitMicroseconds));
            SANITY_CHECK(info.set("eventLoopMicroseconds", fEventLoopMicroseconds));
            SANITY_CHECK(info.set("quitReflectorEventLoopForTestsMicroseconds",
                                  fQuitReflectorEventLoopForTestsMicroseconds));
            SANITY_CHECK(info.set("eventLoopSleepMicroseconds", fEventLoopSleepMicroseconds));
            SANITY_CHECK(info.set("interCoordinatorPipeWaitTimeMicroseconds",
                                  fInterCoordinatorPipeWaitTimeMicroseconds));
            SANITY_CHECK(
                info.set("interCoordinatorTestTimeMicroseconds", fInterCoordinatorTestTimeMicroseconds));
            SANITY_CHECK(info.set("maxWaitMessageDropMicroseconds", fMaxWaitMessageDropMicroseconds));
            SANITY_CHECK(info.set("maxWaitPipeReappearMicroseconds", fMaxWaitPipeReappearMicroseconds));
            SANITY_CHECK(info.set("remoteTimeoutMicroseconds", fRemoteTimeoutMicroseconds));
            SANITY_CHECK(info.set("gatewayPort", fGatewayPort));
            SANITY_CHECK(info.set("gatewayIdleMicroseconds", fGatewayIdleMicroseconds));
            SANITY_CHECK(info.set("sleepWaitForPipeMicroseconds", fSleepWaitForPipeMicroseconds));
            SANITY_CHECK(info.set("sleepStalledPipeMicroseconds", fSleepStalledPipeMicroseconds));
            SANITY_CHECK(info.set("killStalledPipeMicroseconds", fKillStalledPipeMicroseconds));
            SANITY_CHECK(info.set("defaultTimeoutMicroseconds", fDefaultTimeoutMicroseconds));
            SANITY_CHECK(info.set("testTimeoutMicroseconds", fTestTimeoutMicroseconds));
            SANITY_CHECK(info.set("internalCoordinatorTimesliceMicroseconds",
                                  fInternalCoordinatorTimesliceMicroseconds));
            SANITY_CHECK(info.set("maxCallDepth", static_cast<int64_t>(Task::getMaxCallDepth())));
            SANITY_CHECK(info.set("coordinatorName", fCoordinatorName));
            SANITY_CHECK(info.set("APP_DIR", Dirs::getAppDirPath()));
            SANITY_CHECK(info.set("APP_PATH", Dirs::getAppPath()));
            SANITY_CHECK(info.set("DESKTOP_DIR", Dirs::getDesktopPath()));
            SANITY_CHECK(info.set("DOCUMENTS_DIR", Dirs::getDocumentsPath()));
            SANITY_CHECK(info.set("HOME_DIR", Dirs::getHomePath()));
            SANITY_CHECK(info.set("LOG_DIR", Dirs::getLogDirPath()));
            SANITY_CHECK(info.set("SYSTEMDATA_DIR", Dirs::getSystemDataPath()));
            SANITY_CHECK(info.set("TMP_DIR", Dirs::getTmpPath()));
            SANITY_CHECK(info.set("USERDATA_DIR", Dirs::getUserDataPath()));
            // The prompts stand as string literals, quotes included, as a script would write them.
            SANITY_CHECK(info.set("prompt", Utils::enquoteString(fPrompt, '"')));
            SANITY_CHECK(info.set("promptContinuation", Utils::enquoteString(fPromptContinuation, '"')));
            SANITY_CHECK(info.set("ini", std::shared_ptr<IOMNode>(getConfigStackData())));
            SANITY_CHECK(info.set("buildDate", std::string(__DATE__)));
            SANITY_CHECK(info.set("buildTime", std::string(__TIME__)));
            SANITY_CHECK(info.set("isEmbedded", fIsEmbedded));
            SANITY_CHECK(info.set("pathSeparator", std::string(1, Dirs::kSeparator)));
            SANITY_CHECK(info.set("pipeFolderPath", getPipeFolderPath()));
            SANITY_CHECK(info.set("platform", std::string("linux")));
            SANITY_CHECK(info.set("pid", static_cast<int64_t>(::getpid())));
            SANITY_CHECK(info.set("remoteCoordinatorURL", fRemoteCoordinatorURL));
            SANITY_CHECK(info.set("scriptFilePath", fScriptFilePath));
            SANITY_CHECK(info.set("sessionDataFolderPath", getSessionDataFolderPath()));
            SANITY_CHECK(info.set("sessionDataPath", getSessionDataPath()));
            SANITY_CHECK(info.set("version", std::string(kVersion)));
            SANITY_CHECK(info.set("buildNumber", static_cast<int64_t>(kBuildNumber)));
            SANITY_CHECK(info.set("isMac", false));
            SANITY_CHECK(info.set("isLinux", true));
            SANITY_CHECK(info.set("isWindows", false));
            retVal = map;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::setDataRequestCallBack(const std::shared_ptr<OMScope>& scope,
                                                 const std::string& callBackID,
                                                 const std::shared_ptr<OMStored>& callBackFunction,
                                                 const std::string& name)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!callBackID.empty());
            SANITY_CHECK(callBackFunction);
            fDataRequestCallBacks[callBackID] = DataRequestCallBack{scope, callBackFunction, name};
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const InternalCoordinator::DataRequestCallBack* InternalCoordinator::getDataRequestCallBack(
    const std::string& callBackID)
{
    auto iter = fDataRequestCallBacks.find(callBackID);
    return iter == fDataRequestCallBacks.end() ? nullptr : &iter->second;
}

void InternalCoordinator::clearDataRequestCallBacks()
{
    fDataRequestCallBacks.clear();
}

}  // namespace Qfn
