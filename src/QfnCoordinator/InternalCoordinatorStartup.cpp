#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnCoordinator/MainTaskTimesliceTask.h"
#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamConsole.h"
#include "QfnParser/tasks/script/EvalScriptTask.h"
#include "QfnParser/tasks/script/ParseAndEvalStreamTask.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Process.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// Switches that take one argument; every other switch takes none.
// The exit status of a command line that cannot be run.
constexpr int kCommandLineMistake = 2;

// Whether path names a file this process can read; reason says why not.
bool isReadableFile(const std::string& path, std::string& reason)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        reason = std::strerror(errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        reason = "not a regular file";
        return false;
    }
    if (::access(path.c_str(), R_OK) != 0) {
        reason = std::strerror(errno);
        return false;
    }
    return true;
}

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
            SANITY_CHECK(readNodeName());
            SANITY_CHECK(defaultConfig());
            SANITY_CHECK(Process::init(fIsEmbedded));
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
            // A version request ends here: nothing is published, nothing runs.
            if (fIsTerminating) {
                retVal = true;
                break;
            }
            unsigned long processId = getPublishedPid(fCoordinatorName);
            if (Log::getLogLevel() >= 3)
                LOG_NOTE(Utils::stringWithFormat("processId = %ld", static_cast<long>(processId)));
            // Another live process holds this name: this one does not start.
            if (processId != 0 && processId != static_cast<unsigned long>(::getpid()) &&
                Process::isRunning(processId, fCoordinatorName)) {
                LOG_CHECK_FAILED("SANITY_CHECK",
                                 "processId == 0 || ! Process::isRunning(processId, fCoordinatorName)");
                break;
            }
            SANITY_CHECK(internalCoordinator->publishMyPid());
            SANITY_CHECK(internalCoordinator->destroySessionData());
            SANITY_CHECK(internalCoordinator->writeSessionData());
            SANITY_CHECK(startMainTask());
            SANITY_CHECK(runStartupScript());
            if (fIsInteractive || fReadStdIn || !fScriptFilePath.empty()) {
                SANITY_CHECK(startConsole());
            }
            internalCoordinator->fIsInitDone = true;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// QUILLFERN_CONFIG_NODE_NAME names this host's node: ini keys with ".<node>" apply to it alone.
bool InternalCoordinator::readNodeName()
{
    bool retVal = false;
    try {
        do {
            setQuillfernNodeIniSuffix("");
            const char* value = std::getenv("QUILLFERN_CONFIG_NODE_NAME");
            std::string name = value ? Utils::toLowerCase(value) : "";
            retVal = true;
            if (name.empty() || name == "localhost" || name == "127.0.0.1" || name == "::1") break;
            setQuillfernNodeIniSuffix("." + name);
            SANITY_CHECK(registerLocalHostName(name));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The -F script runs to its end before anything else is served; its result is dropped.
bool InternalCoordinator::runStartupScript()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            if (fStartupScriptFilePath.empty()) break;
            retVal = false;
            std::shared_ptr<OMStored> result;
            ASSIGN(result, OMStored::undefinedFactory());
            std::shared_ptr<OMScope> coordinatorScope = getCoordinatorScope();
            SANITY_CHECK(coordinatorScope);
            std::shared_ptr<Task> evalScriptTask = EvalScriptTask::factory(
                result, coordinatorScope, fStartupScriptFilePath, HandleReturnValue::UNWRAP);
            SANITY_CHECK(evalScriptTask);
            if (Log::getLogLevel() >= 3)
                LOG_NOTE(Utils::stringWithFormat("startup script task started: %s",
                                                 fStartupScriptFilePath.c_str()));
            SANITY_CHECK(evalScriptTask->runToCompletion());
            if (Log::getLogLevel() >= 3)
                LOG_NOTE(Utils::stringWithFormat("startup script task completed: %s",
                                                 fStartupScriptFilePath.c_str()));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The read-evaluate loop of the process: the console (-i), standard input (-I, -f -) or a script
// file (-f). Results are printed on a prompted stream only, that is with -i and -I.
bool InternalCoordinator::startConsole()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<InputStream> stream;
            ASSIGN(stream, inputStreamFactory());
            if (!fScriptFilePath.empty() && fScriptFilePath != "-") {
                std::shared_ptr<OMScope> coordinatorScope = getCoordinatorScope();
                SANITY_CHECK(coordinatorScope);
                SANITY_CHECK(coordinatorScope->pushScriptFilePath(fScriptFilePath));
            }
            retVal = startConsoleTask(stream, fIsInteractive || fReadStdIn);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::startConsoleTask(std::shared_ptr<InputStream> stream, bool isPrompted)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(InternalCoordinator, internalCoordinator, factory());
            SANITY_CHECK(stream);
            internalCoordinator->fIsConsoleTaskInteractive =
                dynamic_cast<InputStreamConsole*>(stream.get()) != nullptr;
            if (isPrompted) {
                ASSIGN(stream, IOStreamPrompted::factory(stream, outputStreamFactory()));
            }
            std::shared_ptr<OMScope> coordinatorScope = getCoordinatorScope();
            SANITY_CHECK(coordinatorScope);
            std::shared_ptr<OMStored> result;
            ASSIGN(result, OMStored::undefinedFactory());
            std::shared_ptr<Task> consoleTask;
            ASSIGN(consoleTask, ParseAndEvalStreamTask::factory(result, coordinatorScope, stream));
            // Input that is not there yet is waited for, never taken as the end.
            SANITY_CHECK(consoleTask->pushInteractionLevel(AsyncIOType::Async));
            SANITY_CHECK(Task::startTask(consoleTask));
            internalCoordinator->fConsoleTask = consoleTask;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// When the console's script has ended, so has the process, unless it was asked to serve on (-s);
// with -i, a script file is followed by the interactive prompt.
bool InternalCoordinator::checkConsoleCompletion()
{
    if (!fConsoleTask || !fConsoleTask->getIsTaskCompleted()) return true;
    // A script run (a file or standard input, not the console) with a statement that did not
    // parse ends with status 1.
    auto* script = dynamic_cast<ParseAndEvalStreamTask*>(fConsoleTask.get());
    if (script && !fIsConsoleTaskInteractive && script->getStatementsNotParsed() > 0) setExitStatus(1);
    fConsoleTask.reset();
    if (fIsInteractive && !fIsConsoleTaskInteractive && !isTerminating()) {
        return startConsoleTask(consoleStreamFactory(), true);
    }
    if (fIsServer) return true;
    return terminate();
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
            bool isHelpAsked = false;
            for (int index = 1; index < argc; ++index) {
                std::string argument = argv[index] ? argv[index] : "";
                cmdLine += " " + argument;
                fLaunchArgs.push_back(argument);
                if (waitingArguments == 0 && (argument == "-h" || argument == "--help")) {
                    isHelpAsked = true;
                    continue;
                }
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
            if (isHelpAsked) {
                // The usage and nothing else: the process ends as it does after -v.
                std::fputs(kUsage, stdout);
                std::fflush(stdout);
                fIsTerminating = true;
                retVal = true;
                break;
            }
            if (waitingArguments > 0) {
                // The last switch wanted a value that never came.
                LOG_CHECK_FAILED("SANITY_CHECK", "switchArgs.size() == 1");
                std::fprintf(stderr, "quillferngw: -%c needs a value\n", pendingSwitch);
                std::fputs(kUsage, stderr);
                setExitStatus(kCommandLineMistake);
                break;
            }
            bool nameApplied = true;
            for (char nameSwitch : {'n', 'N'}) {
                auto coordinatorNameIter = switches.find(nameSwitch);
                if (coordinatorNameIter == switches.end()) continue;
                if (!processCmdLineArg(nameSwitch, coordinatorNameIter->second)) {
                    LOG_ERROR(Utils::stringWithFormat(
                        QFN_CHECK_TEXT("VERIFY", "processCmdLineArg('%c', coordinatorNameIter->second)"),
                        nameSwitch));
                    nameApplied = false;
                    break;
                }
                switches.erase(coordinatorNameIter);
            }
            if (!nameApplied) break;
            // The configuration stack: config.ini, then the -c file on top of it.
            clearConfigStack();
            std::string configFilePath = getSysConfigIniPath();
            if (Dirs::fileExists(configFilePath)) pushConfigFile(configFilePath);
            auto configIter = switches.find('c');
            if (configIter != switches.end()) {
                if (!configIter->second.empty()) {
                    // From the working directory, else from the program's folders.
                    configFilePath = Dirs::fullPath(configIter->second[0]);
                    if (!Dirs::fileExists(configFilePath)) {
                        std::string found = Dirs::resolvePartialFilePath(configIter->second[0]);
                        if (!found.empty()) configFilePath = found;
                    }
                    std::string reason;
                    if (!isReadableFile(configFilePath, reason)) {
                        LOG_ERROR(Utils::stringWithFormat("cannot read the configuration file %s: %s",
                                                          configIter->second[0].c_str(), reason.c_str()));
                        setExitStatus(kCommandLineMistake);
                        break;
                    }
                    pushConfigFile(configFilePath);
                }
                switches.erase(configIter);
            }
            if (!processConfigStack()) {
                LOG_CHECK_FAILED("SANITY_CHECK", "processConfigStack()");
                break;
            }
            if (Log::getLogLevel() >= 3) {
                LOG_NOTE(Utils::stringWithFormat("coordinator name: %s", fCoordinatorName.c_str()));
                LOG_NOTE(Utils::stringWithFormat("config file: %s", configFilePath.c_str()));
            }
            bool allApplied = true;
            for (auto iter = switches.begin(); iter != switches.end(); ++iter) {
                if (!processCmdLineArg(iter->first, iter->second)) {
                    LOG_CHECK_FAILED("VERIFY", "processCmdLineArg(iter->first, iter->second)");
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
    // Each switch: how many arguments it takes, whether its one argument is a number, and what it sets.
    struct SwitchRule {
        char switchChar;
        size_t argumentCount;
        bool isNumeric;
        void (*apply)(const std::vector<std::string>& args);
    };
    static const SwitchRule kSwitchRules[] = {
        {'D', 1, false, [](const auto& args) { fCallBackID = args[0]; }},
        {'F', 1, false, [](const auto& args) { fStartupScriptFilePath = Dirs::fullPath(args[0]); }},
        {'I', 0, false, [](const auto&) { fReadStdIn = true; }},
        {'N', 1, false, [](const auto& args) { fCoordinatorShortName = args[0]; }},
        {'P', 1, false, [](const auto& args) { fPromptContinuation = args[0]; }},
        {'d', 0, false, [](const auto&) { fIsReportSessionData = true; }},
        {'e', 1, true,
         [](const auto& args) {
             fConsoleEcho = Utils::toOMInt(args[0]);
             if (fConsoleEcho > 3) fConsoleEcho = 0;
         }},
        {'f', 1, false,
         [](const auto& args) { fScriptFilePath = args[0] == "-" ? args[0] : Dirs::fullPath(args[0]); }},
        {'i', 0, false, [](const auto&) { fIsInteractive = true; }},
        {'n', 1, false,
         [](const auto& args) {
             fCoordinatorName = args[0];
             fIsMainCoordinator = 0;
         }},
        {'o', 1, true, [](const auto& args) { fRemoteTimeoutMicroseconds = Utils::toOMInt(args[0]) * 1000; }},
        {'p', 1, false, [](const auto& args) { fPrompt = args[0]; }},
        {'q', 1, false, [](const auto& args) { fDataRequestData = args[0]; }},
        {'r', 1, false, [](const auto& args) { fRemoteCoordinatorURL = args[0]; }},
        {'s', 0, false, [](const auto&) { fIsServer = true; }},
        {'t', 1, false, [](const auto& args) { setRunTestsFromAnswer(args[0]); }},
        {'v', 0, false,
         [](const auto&) {
             std::printf("%sb%d\n", kVersion, kBuildNumber);
             std::fflush(stdout);
             fIsTerminating = true;
         }},
        {'w', 1, true, [](const auto& args) { fDelayQuitMicroseconds = Utils::toOMInt(args[0]) * 1000; }},
        {'z', 0, false, [](const auto&) { fIsIgnoreInterrupt = true; }},
    };

    bool retVal = false;
    try {
        do {
            const SwitchRule* rule = nullptr;
            for (const SwitchRule& candidate : kSwitchRules)
                if (candidate.switchChar == switchChar) rule = &candidate;
            if (!rule) {
                LOG_CHECK_FAILED("SANITY_CHECK", "success");
                std::fprintf(stderr, "quillferngw: unknown switch -%c\n", static_cast<char>(switchChar));
                std::fputs(kUsage, stderr);
                setExitStatus(kCommandLineMistake);
                break;
            }
            if (switchArgs.size() != rule->argumentCount ||
                (rule->isNumeric && !Utils::isNumeric(switchArgs[0]))) {
                LOG_ERROR(Utils::stringWithFormat(
                    QFN_CHECK_TEXT("SANITY_CHECK", "switchArgs.size() == %zu%s"), rule->argumentCount,
                    rule->isNumeric ? " && Utils::isNumeric(switchArgs[0])" : ""));
                std::fprintf(stderr, "quillferngw: -%c needs %s\n", rule->switchChar,
                             rule->isNumeric       ? "a number"
                             : rule->argumentCount ? "a value"
                                                   : "no value");
                std::fputs(kUsage, stderr);
                setExitStatus(kCommandLineMistake);
                break;
            }
            rule->apply(switchArgs);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// -t y turns the start-up tests on, -t n off; any other answer leaves them as they are.
void InternalCoordinator::setRunTestsFromAnswer(const std::string& answer)
{
    const char first = answer.empty() ? 0 : static_cast<char>(std::tolower(answer[0]));
    if (first == 'y') {
        fIsRunTests = true;
        LOG_NOTE("startup tests: on");
    } else if (first == 'n') {
        fIsRunTests = false;
        LOG_NOTE("startup tests: off");
    }
}

}  // namespace Qfn
