#include <cstdio>
#include <map>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnTask/MainTaskTimesliceTask.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// Switches that take one argument; every other switch takes none.
bool takesArgument(char switchChar)
{
    static const std::string kWithArgument = "DFNPcefnopqrtw";
    return kWithArgument.find(switchChar) != std::string::npos;
}

const char* const kUsage =
    "usage: quillferngw [switches]\n"
    "  -f FILE    run a script file (- for standard input)   -I  run standard input\n"
    "  -i         interactive prompt                        -s  keep serving after the script\n"
    "  -n NAME    coordinator name    -N SHORT   short name   -c FILE  configuration file\n"
    "  -F FILE    startup script      -p TEXT    prompt       -P TEXT  continuation prompt\n"
    "  -e 0..3    console echo        -o MS      remote time-out          -w MS  delay quit\n"
    "  -r URL     remote coordinator  -q TEXT    data request -D TEXT  call-back id\n"
    "  -d         update session data -t y|n     self-tests   -z  ignore interrupt  -v  version\n";

}  // namespace

bool InternalCoordinator::defaultConfig()
{
    Log::setLogLevel(2);
    Log::setIsLogEntryExit(false);
    Log::setIsLogTiming(false);
    Log::setIsLogIPC(false);
    Log::setIsLogScriptError(false);
    return true;
}

bool InternalCoordinator::init(int argc, char** argv)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(defaultConfig());
            SANITY_CHECK(parseCommandLineArgs(argc, argv));
            SANITY_CHECK(registerObjectClasses());
            SANITY_CHECK(registerTests());
            std::shared_ptr<IObject> internalCoordinatorObj = factory();
            SANITY_CHECK(internalCoordinatorObj);
            GUIDClass* internalCoordinatorGUID = nullptr;
            ASSIGN(internalCoordinatorGUID, internalCoordinatorObj->createGUID());
            ASSIGN_TYPED(InternalCoordinator, internalCoordinator, internalCoordinatorObj);
            SANITY_CHECK(internalCoordinator->destroyNamedPipe());
            fIsStarted = true;
            SANITY_CHECK(internalCoordinator->publishMyPid());
            SANITY_CHECK(internalCoordinator->destroySessionData());
            SANITY_CHECK(internalCoordinator->writeSessionData());
            SANITY_CHECK(startMainTask());
            internalCoordinator->fIsInitDone = true;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::startMainTask()
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(InternalCoordinator, internalCoordinator, factory());
            internalCoordinator->fMainTask = MainTaskTimesliceTask::factory();
            SANITY_CHECK(internalCoordinator->fMainTask);
            SANITY_CHECK(Task::startTask(internalCoordinator->fMainTask));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::parseCommandLineArgs(int argc, char** argv)
{
    bool retVal = false;
    try {
        do {
            std::string cmdLine = argc > 0 && argv[0] ? argv[0] : "";
            if (argc != 0) fLaunchArgs.assign(1, cmdLine);
            std::map<char, std::vector<std::string>> switches;
            char pendingSwitch = 0;
            int waitingArguments = 0;
            std::vector<std::string> pendingArguments;
            for (int index = 1; index < argc; ++index) {
                std::string argument = argv[index] ? argv[index] : "";
                cmdLine += " " + argument;
                fLaunchArgs.push_back(argument);
                if (waitingArguments == 0) {
                    if (argument.size() < 2 || argument[0] != '-') continue;
                    pendingSwitch = argument[1];
                    pendingArguments.clear();
                    waitingArguments = takesArgument(pendingSwitch) ? 1 : 0;
                } else {
                    pendingArguments.push_back(argument);
                    --waitingArguments;
                }
                if (waitingArguments == 0) switches[pendingSwitch] = pendingArguments;
            }
            bool nameApplied = true;
            for (char nameSwitch : {'n', 'N'}) {
                auto coordinatorNameIter = switches.find(nameSwitch);
                if (coordinatorNameIter == switches.end()) continue;
                if (!processCmdLineArg(nameSwitch, coordinatorNameIter->second)) {
                    LOG_ERROR(Utils::stringWithFormat(
                        "VERIFY failed: 'processCmdLineArg('%c', coordinatorNameIter->second)' evaluates to false",
                        nameSwitch));
                    nameApplied = false;
                    break;
                }
                switches.erase(coordinatorNameIter);
            }
            if (!nameApplied) break;
            // TODO(#7): the configuration stack (config.ini, then the -c file) is read here.
            switches.erase('c');
            if (Log::getLogLevel() >= 3) {
                LOG_NOTE(Utils::stringWithFormat("coordinator name: %s", fCoordinatorName.c_str()));
            }
            bool allApplied = true;
            for (auto iter = switches.begin(); iter != switches.end(); ++iter) {
                if (!processCmdLineArg(iter->first, iter->second)) {
                    LOG_ERROR("VERIFY failed: 'processCmdLineArg(iter->first, iter->second)' evaluates to false");
                    allApplied = false;
                    break;
                }
            }
            if (!allApplied) break;
            if (Log::getLogLevel() >= 3) {
                LOG_NOTE(Utils::stringWithFormat("fReadStdIn = %d", fReadStdIn ? 1 : 0));
                LOG_NOTE(Utils::stringWithFormat("fIsInteractive = %d", fIsInteractive ? 1 : 0));
                LOG_NOTE(Utils::stringWithFormat("cmdLine: %s", cmdLine.c_str()));
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::processCmdLineArg(int switchChar, std::vector<std::string>& switchArgs)
{
    bool retVal = false;
    try {
        do {
            // A check inside the switch would only leave the switch: each case asks this and breaks.
            auto argumentsAre = [&switchArgs](size_t count, bool numeric) {
                if (switchArgs.size() == count && (!numeric || Utils::isNumeric(switchArgs[0]))) return true;
                LOG_ERROR(Utils::stringWithFormat("SANITY_CHECK failed: 'switchArgs.size() == %zu%s' evaluates to false",
                                                  count, numeric ? " && Utils::isNumeric(switchArgs[0])" : ""));
                return false;
            };
            bool success = true;
            bool argumentsValid = true;
            switch (switchChar) {
                case 'D':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fCallBackID = switchArgs[0];
                    break;
                case 'F':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fStartupScriptFilePath = switchArgs[0];
                    break;
                case 'I':
                    if (!(argumentsValid = argumentsAre(0, false))) break;
                    fReadStdIn = true;
                    break;
                case 'N':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fCoordinatorShortName = switchArgs[0];
                    break;
                case 'P':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fPromptContinuation = switchArgs[0];
                    break;
                case 'd':
                    if (!(argumentsValid = argumentsAre(0, false))) break;
                    fIsReportSessionData = true;
                    break;
                case 'e':
                    if (!(argumentsValid = argumentsAre(1, true))) break;
                    fConsoleEcho = Utils::toOMInt(switchArgs[0]);
                    if (fConsoleEcho > 3) fConsoleEcho = 0;
                    break;
                case 'f':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fScriptFilePath = switchArgs[0];
                    break;
                case 'i':
                    if (!(argumentsValid = argumentsAre(0, false))) break;
                    fIsInteractive = true;
                    break;
                case 'n':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fCoordinatorName = switchArgs[0];
                    fIsMainCoordinator = 0;
                    break;
                case 'o':
                    if (!(argumentsValid = argumentsAre(1, true))) break;
                    fRemoteTimeoutMicroseconds = Utils::toOMInt(switchArgs[0]) * 1000;
                    break;
                case 'p':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fPrompt = switchArgs[0];
                    break;
                case 'q':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fDataRequestData = switchArgs[0];
                    break;
                case 'r':
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    fRemoteCoordinatorURL = switchArgs[0];
                    break;
                case 's':
                    if (!(argumentsValid = argumentsAre(0, false))) break;
                    fIsServer = true;
                    break;
                case 't': {
                    if (!(argumentsValid = argumentsAre(1, false))) break;
                    char answer = switchArgs[0].empty() ? 0 : static_cast<char>(std::tolower(switchArgs[0][0]));
                    if (answer == 'y') {
                        fIsRunTests = true;
                        LOG_NOTE("startup tests: on");
                    } else if (answer == 'n') {
                        fIsRunTests = false;
                        LOG_NOTE("startup tests: off");
                    }
                    break;
                }
                case 'v':
                    if (!(argumentsValid = argumentsAre(0, false))) break;
                    std::printf("%sb%d\n", kVersion, kBuildNumber);
                    std::fflush(stdout);
                    fIsTerminating = true;
                    break;
                case 'w':
                    if (!(argumentsValid = argumentsAre(1, true))) break;
                    fDelayQuitMicroseconds = Utils::toOMInt(switchArgs[0]) * 1000;
                    break;
                case 'z':
                    if (!(argumentsValid = argumentsAre(0, false))) break;
                    fIsIgnoreInterrupt = true;
                    break;
                default:
                    success = false;
                    break;
            }
            if (!argumentsValid) break;
            if (!success) {
                LOG_ERROR("SANITY_CHECK failed: 'success' evaluates to false");
                std::fputs(kUsage, stderr);
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
