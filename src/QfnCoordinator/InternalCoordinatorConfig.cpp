// The configuration stack: config.ini and the -c file, their placeholders, the lookup of a key
// through plain, wild-card and full-name sections, and the settings read from it.
#include <algorithm>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/Ini.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnMessage/Message.h"
#include "QfnParser/builtins/ScriptErrorLog.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::vector<std::shared_ptr<Ini>> InternalCoordinator::fConfigStack;
std::string InternalCoordinator::fSysConfigFolderPath;
std::string InternalCoordinator::fSysConfigIniPath;

namespace {

// The deepest call nesting a configuration may ask for; the stack stops deeper ones anyway.
constexpr int64_t kMaxCallDepthLimit = 10000000;

constexpr const char* kNamePrefix = "net.quillfern.coordinator.";

std::string boolText(bool value)
{
    return value ? "1" : "0";
}

// A name with the namespace prefix, an alias first resolved.
std::string fullCoordinatorName(const std::string& name)
{
    std::string resolved = InternalCoordinator::resolveCoordinatorAlias(name);
    return Utils::startsWith(resolved, kNamePrefix) ? resolved : kNamePrefix + resolved;
}

// Whether text reads as a whole number, with a sign or without.
bool isIntText(const std::string& text)
{
    return Utils::isNumeric(!text.empty() && (text[0] == '-' || text[0] == '+') ? text.substr(1) : text);
}

// Whether text reads as a truth value: true/false, y/n, t/f in any case, or a number.
bool isBoolText(const std::string& text)
{
    const std::string lower = Utils::toLowerCase(text);
    return lower == "true" || lower == "false" || lower == "y" || lower == "n" || lower == "t" ||
           lower == "f" || isIntText(text);
}

void warnOfWrongKind(const char* key, const std::string& text, const char* kind, const std::string& kept)
{
    LOG_WARNING(Utils::stringWithFormat("configuration key %s: \"%s\" is not %s; %s is kept", key,
                                        text.c_str(), kind, kept.c_str()));
}

}  // namespace

const std::string& InternalCoordinator::getQuillfernNodeIniSuffix()
{
    return Ini::getNodeIniSuffix();
}

void InternalCoordinator::setQuillfernNodeIniSuffix(const std::string& suffix)
{
    Ini::setNodeIniSuffix(suffix);
}

const std::string& InternalCoordinator::getSysConfigFolderPath()
{
    try {
        do {
            fSysConfigFolderPath =
                Dirs::getUserDataPath() + "net.quillfern" + Dirs::kSeparator + "SysConfig" + Dirs::kSeparator;
            if (Dirs::dirExists(fSysConfigFolderPath)) break;
            SANITY_CHECK(Dirs::mkDir(fSysConfigFolderPath, DirRecurse::RECURSE));
            SANITY_CHECK(Dirs::dirExists(fSysConfigFolderPath));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return fSysConfigFolderPath;
}

const std::string& InternalCoordinator::getSysConfigIniPath()
{
    fSysConfigIniPath = getSysConfigFolderPath() + "config.ini";
    return fSysConfigIniPath;
}

bool InternalCoordinator::setConfigPlaceholders(const std::shared_ptr<Ini>& ini)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(ini);
            const std::pair<const char*, const std::string&> placeholders[] = {
                {"APP_PATH", Dirs::getAppPath()},
                {"APP_DIR", Dirs::getAppDirPath()},
                {"DESKTOP_DIR", Dirs::getDesktopPath()},
                {"DOCUMENTS_DIR", Dirs::getDocumentsPath()},
                {"HOME_DIR", Dirs::getHomePath()},
                {"LOG_DIR", Dirs::getLogDirPath()},
                {"SYSTEMDATA_DIR", Dirs::getSystemDataPath()},
                {"TMP_DIR", Dirs::getTmpPath()},
                {"USERDATA_DIR", Dirs::getUserDataPath()},
            };
            bool allDefined = true;
            for (const auto& placeholder : placeholders)
                allDefined = ini->definePlaceholder(placeholder.first, placeholder.second) && allDefined;
            SANITY_CHECK(allDefined);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Reads the ini file onto the stack, on top of the one before it.
bool InternalCoordinator::pushConfigFile(const std::string& iniFilePath)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Ini> ini = Dirs::readIni(iniFilePath);
            if (!ini) break;
            SANITY_CHECK(setConfigPlaceholders(ini));
            if (!fConfigStack.empty()) {
                SANITY_CHECK(ini->setParent(fConfigStack.back()));
            }
            fConfigStack.push_back(ini);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Plain section, then the matching wild-card sections in sorted order, then the section of this
// coordinator's full name; each later one and each later file wins.
std::string InternalCoordinator::getEntryFromConfigStack(const std::string& section, const std::string& key,
                                                         const std::string& defaultValue)
{
    std::string retVal = defaultValue;
    try {
        do {
            const std::string fullSection = section + "." + fCoordinatorName;
            for (const std::shared_ptr<Ini>& ini : fConfigStack) {
                bool hasPlain = false;
                bool hasFull = false;
                std::vector<std::string> wildCards;
                for (const std::string& name : ini->getSectionNames()) {
                    if (name == section)
                        hasPlain = true;
                    else if (name == fullSection)
                        hasFull = true;
                    else if (Utils::isWildCardMatch(fullSection, name) ||
                             Utils::isWildCardMatch(section, name))
                        wildCards.push_back(name);
                }
                std::sort(wildCards.begin(), wildCards.end());
                // Only what this file says itself: the files below it have had their turn already.
                auto apply = [&ini, &key, &retVal](const std::string& name) {
                    std::vector<std::string> keys = ini->getEntryNames(name);
                    const std::string nodeKey = key + getQuillfernNodeIniSuffix();
                    bool hasKey = std::find(keys.begin(), keys.end(), key) != keys.end() ||
                                  (!getQuillfernNodeIniSuffix().empty() &&
                                   std::find(keys.begin(), keys.end(), nodeKey) != keys.end());
                    if (hasKey) retVal = ini->getResolvedEntry(name, key, retVal);
                };
                if (hasPlain) apply(section);
                for (const std::string& name : wildCards)
                    apply(name);
                if (hasFull) apply(fullSection);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OMStored> InternalCoordinator::getConfigStackData()
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            std::shared_ptr<OMStored> stack;
            ASSIGN(stack, OMStored::arrayFactory());
            bool built = true;
            for (const std::shared_ptr<Ini>& ini : fConfigStack) {
                std::shared_ptr<OMStored> iniMap = OMStored::mapFactory();
                OMAccessor iniAccessor(iniMap);
                for (const std::string& section : ini->getSectionNames()) {
                    std::shared_ptr<OMStored> sectionMap = OMStored::mapFactory();
                    OMAccessor sectionAccessor(sectionMap);
                    for (const std::string& key : ini->getEntryNames(section))
                        built = sectionAccessor.set(key, ini->getResolvedEntry(section, key, "")) && built;
                    built = iniAccessor.set(section, std::shared_ptr<IOMNode>(sectionMap)) && built;
                }
                built = stack->push(iniMap) && built;
            }
            SANITY_CHECK(built);
            retVal = stack;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InternalCoordinator::clearConfigStack()
{
    fConfigStack.clear();
}

bool InternalCoordinator::processConfigStack()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(registerLocalHostName("127.0.0.1"));
            SANITY_CHECK(registerLocalHostName("::1"));
            SANITY_CHECK(registerLocalHostName("localhost"));
            SANITY_CHECK(registerConfigHostsAndAliases());
            // The name first: the full-name sections of every later key depend on it.
            SANITY_CHECK(readConfigCoordinatorName());
            SANITY_CHECK(
                setDefaultEngine(getEntryFromConfigStack("config", "defaultEngine", fDefaultEngine)));
            SANITY_CHECK(readConfigSettings());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The urlMap, coordinatorMap and hosts sections of every file of the stack; false when one entry
// could not be registered (the others are).
bool InternalCoordinator::registerConfigHostsAndAliases()
{
    bool retVal = false;
    try {
        bool registered = true;
        for (const std::shared_ptr<Ini>& ini : fConfigStack) {
            for (const std::string& alias : ini->getEntryNames("urlMap"))
                registered =
                    registerUrlAlias(alias, ini->getResolvedEntry("urlMap", alias, "")) && registered;
            for (const std::string& alias : ini->getEntryNames("coordinatorMap"))
                registered =
                    registerCoordinatorAlias(alias, ini->getResolvedEntry("coordinatorMap", alias, "")) &&
                    registered;
            for (const std::string& host : ini->getEntryNames("hosts"))
                registered = registerHostName(host, ini->getResolvedEntry("hosts", host, "")) && registered;
        }
        retVal = registered;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::readConfigCoordinatorName()
{
    bool retVal = false;
    try {
        do {
            std::string name = getEntryFromConfigStack("config", "coordinatorName", fCoordinatorName);
            if (!name.empty()) fCoordinatorName = fullCoordinatorName(name);
            std::string shortName =
                getEntryFromConfigStack("config", "coordinatorShortName", fCoordinatorShortName);
            if (!shortName.empty()) {
                fCoordinatorShortName = shortName;
                fCoordinatorName = fullCoordinatorName(shortName);
            }
            fIsMainCoordinator = 0;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The keys of the config section, over the defaults and the switches; the logs they name open here.
bool InternalCoordinator::readConfigSettings()
{
    bool retVal = false;
    try {
        do {
            // A value of the wrong kind is named in a warning, and the value so far is kept.
            auto readInt = [](const char* key, int64_t& value) {
                const std::string text = getEntryFromConfigStack("config", key, std::to_string(value));
                if (isIntText(text))
                    value = Utils::toOMInt(text);
                else
                    warnOfWrongKind(key, text, "a number", std::to_string(value));
            };
            auto readBool = [](const char* key, bool value) {
                const std::string text = getEntryFromConfigStack("config", key, boolText(value));
                if (isBoolText(text)) return Utils::toBool(text);
                warnOfWrongKind(key, text, "true or false", boolText(value));
                return value;
            };
            auto readText = [](const char* key, std::string& value) {
                value = getEntryFromConfigStack("config", key, value);
            };
            readInt("delayQuitMicroseconds", fDelayQuitMicroseconds);
            readInt("eventLoopMicroseconds", fEventLoopMicroseconds);
            readInt("quitReflectorEventLoopForTestsMicroseconds",
                    fQuitReflectorEventLoopForTestsMicroseconds);
            readInt("eventLoopSleepMicroseconds", fEventLoopSleepMicroseconds);
            readInt("interCoordinatorTestTimeMicroseconds", fInterCoordinatorTestTimeMicroseconds);
            readInt("interCoordinatorPipeWaitTimeMicroseconds", fInterCoordinatorPipeWaitTimeMicroseconds);
            std::string ipcMessageLogFile = getEntryFromConfigStack("config", "ipcMessageLogFile", "");
            fIsInteractive = readBool("isInteractive", fIsInteractive);
            fReadStdIn = readBool("readStdIn", fReadStdIn);
            fIsRunTests = readBool("runTests", fIsRunTests);
            fIsServer = readBool("isServer", fIsServer);
            fIsReportSessionData = readBool("updateSessionData", fIsReportSessionData);
            Log::setIsLogEntryExit(readBool("logEntryExit", false));
            std::string logFile = getEntryFromConfigStack("config", "logFile", Log::getLogFile());
            if (logFile != Log::getLogFile()) Log::setLogFile(logFile);
            int64_t logLevel = Log::getLogLevel();
            readInt("logLevel", logLevel);
            Log::setLogLevel(static_cast<int32_t>(logLevel));
            Log::setIsLogIPC(readBool("logIPC", Log::getIsLogIPC()));
            Log::setIsLogScriptError(readBool("logScriptError", Log::getIsLogScriptError()));
            bool isLogTiming = readBool("logTiming", Log::getIsLogTiming());
            if (isLogTiming != Log::getIsLogTiming()) Log::setIsLogTiming(isLogTiming);
            readInt("maxWaitMessageDropMicroseconds", fMaxWaitMessageDropMicroseconds);
            readInt("maxWaitPipeReappearMicroseconds", fMaxWaitPipeReappearMicroseconds);
            readText("remoteCoordinator", fRemoteCoordinatorURL);
            readInt("remoteTimeoutMicroseconds", fRemoteTimeoutMicroseconds);
            readText("gatewayPort", fGatewayPort);
            readInt("gatewayIdleMicroseconds", fGatewayIdleMicroseconds);
            readInt("scanActiveSiblingsIntervalMicroseconds", fScanActiveSiblingsIntervalMicroseconds);
            readInt("scanConfigSiblingsIntervalMicroseconds", fScanConfigSiblingsIntervalMicroseconds);
            readInt("scanNamedPipeSiblingsIntervalMicroseconds", fScanNamedPipeSiblingsIntervalMicroseconds);
            std::string scriptErrorLogFile = getEntryFromConfigStack("config", "scriptErrorLogFile", "");
            readText("prompt", fPrompt);
            readText("promptContinuation", fPromptContinuation);
            readText("scriptFile", fScriptFilePath);
            readText("startupScriptFile", fStartupScriptFilePath);
            readInt("sleepStalledPipeMicroseconds", fSleepStalledPipeMicroseconds);
            readInt("killStalledPipeMicroseconds", fKillStalledPipeMicroseconds);
            readInt("sleepWaitForPipeMicroseconds", fSleepWaitForPipeMicroseconds);
            Pipes::setTimes(fSleepWaitForPipeMicroseconds, fSleepStalledPipeMicroseconds,
                            fKillStalledPipeMicroseconds);
            readInt("defaultTimeoutMicroseconds", fDefaultTimeoutMicroseconds);
            readInt("testTimeoutMicroseconds", fTestTimeoutMicroseconds);
            readInt("internalCoordinatorTimesliceMicroseconds", fInternalCoordinatorTimesliceMicroseconds);
            readInt("consoleEcho", fConsoleEcho);
            int64_t maxCallDepth = Task::getMaxCallDepth();
            readInt("maxCallDepth", maxCallDepth);
            if (maxCallDepth >= 1 && maxCallDepth <= kMaxCallDepthLimit)
                Task::setMaxCallDepth(static_cast<uint32_t>(maxCallDepth));
            else
                warnOfWrongKind("maxCallDepth", std::to_string(maxCallDepth), "a number from 1 to 10000000",
                                std::to_string(Task::getMaxCallDepth()));
            std::string timingLogFile =
                getEntryFromConfigStack("config", "timingLogFile", Log::getTimingLogFile());

            // Script paths are absolute and use this platform's separator.
            if (!fScriptFilePath.empty() && fScriptFilePath != "-")
                fScriptFilePath = Dirs::fullPath(Dirs::cleanupMixedSeparators(fScriptFilePath));
            if (!fStartupScriptFilePath.empty())
                fStartupScriptFilePath = Dirs::fullPath(Dirs::cleanupMixedSeparators(fStartupScriptFilePath));

            // The message log comes with messaging; the other two logs open here.
            fIpcMessageLogFile = ipcMessageLogFile;
            Message::setIPCLogFile(ipcMessageLogFile);
            if (Log::getIsLogScriptError()) ScriptErrorLog::setFilePath(scriptErrorLogFile);
            if (Log::getIsLogTiming()) Log::setTimingLogFile(timingLogFile);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::setDefaultEngine(const std::string& defaultEngine)
{
    fDefaultEngine = defaultEngine;
    return true;
}

}  // namespace Qfn
