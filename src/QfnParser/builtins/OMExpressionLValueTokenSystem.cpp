// The built-ins of logging, streams, the task and the coordinator: logError, logWarning, logNote,
// logTrace, output, stdIn, exit, yield, quit, sysInfo, scriptFilePath, setDataRequestCallBack.
#include <cmath>

#include "QfnLogger/Check.h"
#include "QfnParser/builtins/ScriptErrorLog.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/host/IScriptHost.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamFile.h"
#include "QfnParser/streams/InputStreamStdIn.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

constexpr int64_t kNanosecondsPerMillisecond = 1000000;

// The log built-ins write the message's text at their level; the result stays Undefined.
bool logError(const IOMNode& message, IOMNode&)
{
    LOG_ERROR(message.getAsString());
    return true;
}

bool logWarning(const IOMNode& message, IOMNode&)
{
    LOG_WARNING(message.getAsString());
    return true;
}

bool logNote(const IOMNode& message, IOMNode&)
{
    LOG_NOTE(message.getAsString());
    return true;
}

bool logTrace(const IOMNode& message, IOMNode&)
{
    LOG_TRACE(message.getAsString());
    return true;
}

}  // namespace

void OMExpressionLValueToken::reportScriptError(const std::string& text)
{
    ScriptErrorLog::report(text);
    const OMExpressionLValueToken* builtin = fRunningBuiltin;
    ScriptFault::note(builtin ? builtin->fPlace : SourcePlace{}, [builtin, &text] {
        return builtin ? OMStored::tokenToStr(builtin->fToken) + ": " + text : text;
    });
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_logError(AccessType, const std::shared_ptr<OMScope>&,
                                                               OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, logError);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_logWarning(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, logWarning);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_logNote(AccessType, const std::shared_ptr<OMScope>&,
                                                              OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, logNote);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_logTrace(AccessType, const std::shared_ptr<OMScope>&,
                                                               OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, logTrace);
}

// Ends the coordinator: the process stops once termination has run its course.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_quit(AccessType, const std::shared_ptr<OMScope>&,
                                                           OMExpressionLValueResolution&) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            IScriptHost* host;
            ASSIGN(host, IScriptHost::get());
            SANITY_CHECK(retVal->set(host->terminate()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_sysInfo(AccessType, const std::shared_ptr<OMScope>&,
                                                              OMExpressionLValueResolution&) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            IScriptHost* host;
            ASSIGN(host, IScriptHost::get());
            ASSIGN(retVal, host->buildSysInfo());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!retVal) retVal = OMStored::undefinedFactory();
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_scriptFilePath(AccessType,
                                                                     const std::shared_ptr<OMScope>& scope,
                                                                     OMExpressionLValueResolution&) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            SANITY_CHECK(scope);
            SANITY_CHECK(retVal->set(scope->getCurScriptFilePath()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Registers the function that answers data requests sent with this callBack ID.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_setDataRequestCallBack(
    AccessType, const std::shared_ptr<OMScope>& scope, OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 2)) break;
            std::shared_ptr<IOMNode> idNode = resolution.getArgNode(0);
            if (idNode->getType() != OMType::String) {
                reportScriptError("invalid callBack ID");
                break;
            }
            const std::string& callBackID = idNode->getString();
            if (callBackID.empty()) {
                reportScriptError("empty callBack ID");
                break;
            }
            std::shared_ptr<OMStored> function = resolution.getArgNode(1)->getOMStoredPtr();
            if (!function || function->getType() != OMType::Function) {
                reportScriptError("invalid callBack function");
                break;
            }
            IScriptHost* host;
            ASSIGN(host, IScriptHost::get());
            SANITY_CHECK(retVal->set(
                host->setDataRequestCallBack(scope, callBackID, function, function->getFunctionName())));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Writes each argument's text, as it is, to the output of the script's stream.
void OMExpressionLValueToken::ftn_output_yielding(const std::shared_ptr<Task>& task,
                                                  std::shared_ptr<IOMNode>& retVal, AccessType,
                                                  const std::shared_ptr<OMScope>&,
                                                  OMExpressionLValueResolution& resolution) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OutputStream> outputStream;
        std::string text;
        bool written = false;
    };
    enum : unsigned { WRITE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    if (!requireArguments(resolution, 1)) break;
                    ASSIGN(s.outputStream, task->getOutputStream());
                    for (uint64_t idx = 0; idx < resolution.getArgCount(); ++idx)
                        s.text += OMAccessor(resolution.getArgNode(idx)).getAsString();
                    s.fState = WRITE;
                    break;
                    YIELDING_CALL(WRITE, s.outputStream->write_yielding(task, s.written, s.text));
                case resumeAfter(WRITE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.written);
                    // What a script writes is seen at once, also when standard output is a file.
                    s.outputStream->flush();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// One line of the task's input, without its line end; Undefined at the end of input. A line
// that is not complete yet is waited for.
namespace {

// One stream for the process's standard input, so that each stdIn() goes on where the last stopped.
const std::shared_ptr<InputStream>& processStandardInput()
{
    static const std::shared_ptr<InputStream> stream = InputStreamStdIn::factory();
    return stream;
}

}  // namespace

void OMExpressionLValueToken::ftn_stdIn_yielding(const std::shared_ptr<Task>& task,
                                                 std::shared_ptr<IOMNode>& retVal, AccessType,
                                                 const std::shared_ptr<OMScope>&,
                                                 OMExpressionLValueResolution&) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> inputStream;
        std::shared_ptr<IOStreamPrompted> prompted;
        std::string chunk;
        std::string line;
        int c = InputStream::kNothingYet;
        bool isAnyRead = false;
    };
    enum : unsigned { READ_PROMPTED_LINE = 1, READ_CHAR, LINE_READ };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    ASSIGN(s.inputStream, task->getInputStream());
                    // A script read from a file reads the process's standard input, not its own rest.
                    if (std::dynamic_pointer_cast<InputStreamFile>(s.inputStream)) {
                        ASSIGN(s.inputStream, processStandardInput());
                    }
                    s.prompted = std::dynamic_pointer_cast<IOStreamPrompted>(s.inputStream);
                    s.fState = s.prompted ? READ_PROMPTED_LINE : READ_CHAR;
                    break;
                    YIELDING_CALL(READ_PROMPTED_LINE, s.prompted->readLine_yielding(task, s.chunk));
                case resumeAfter(READ_PROMPTED_LINE):
                    // The line is taken: the parser of the script goes on after it.
                    SANITY_CHECK(s.prompted->setPos(s.prompted->getPos() + s.chunk.size()));
                    s.line += s.chunk;
                    s.isAnyRead = !s.line.empty();
                    if ((!s.line.empty() && s.line.back() == '\n') || s.prompted->atEOF()) {
                        s.fState = LINE_READ;
                        break;
                    }
                    task->setTimesliceCompleted();
                    s.fState = READ_PROMPTED_LINE;
                    break;
                    YIELDING_CALL(READ_CHAR, s.inputStream->getChar_yielding(task, s.c));
                case resumeAfter(READ_CHAR):
                    if (s.c == InputStream::kNothingYet) {
                        s.fState = READ_CHAR;  // an asynchronous stream has nothing yet: ask again later
                        break;
                    }
                    s.fState = LINE_READ;
                    if (s.c == InputStream::kEndOfInput) break;
                    s.inputStream->advance();
                    s.isAnyRead = true;
                    s.line.push_back(static_cast<char>(s.c));
                    if (s.c != '\n') s.fState = READ_CHAR;
                    break;
                case LINE_READ:
                    s.fState = kFinished;
                    if (!s.line.empty() && s.line.back() == '\n') s.line.pop_back();
                    if (!s.line.empty() && s.line.back() == '\r') s.line.pop_back();
                    if (s.isAnyRead) {
                        SANITY_CHECK(retVal->set(s.line));
                    }
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// Ends the running task: the script stops here.
void OMExpressionLValueToken::ftn_exit_yielding(const std::shared_ptr<Task>& task,
                                                std::shared_ptr<IOMNode>& retVal, AccessType,
                                                const std::shared_ptr<OMScope>&,
                                                OMExpressionLValueResolution&) const
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    task->exit();
                    // Every caller up the chain suspends now; the finished task is never resumed.
                    task->setTimesliceCompleted();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// Suspends the task for the given number of milliseconds (at least 1) while the others run.
void OMExpressionLValueToken::ftn_yield_yielding(const std::shared_ptr<Task>& task,
                                                 std::shared_ptr<IOMNode>& retVal, AccessType,
                                                 const std::shared_ptr<OMScope>&,
                                                 OMExpressionLValueResolution& resolution) const
{
    struct LocalVariableState : virtual OMFunctionState {
        int64_t yieldUntil = 0;
    };
    enum : unsigned { WAIT = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    int64_t milliseconds = 1;
                    if (auto timeNode = resolution.getArgNode(0))
                        milliseconds = OMAccessor(timeNode).getInt();
                    if (milliseconds < 1) milliseconds = 1;
                    // A wait of more than a century is as good as forever, and keeps the sum in range.
                    if (milliseconds > INT64_MAX / kNanosecondsPerMillisecond / 4)
                        milliseconds = INT64_MAX / kNanosecondsPerMillisecond / 4;
                    s.yieldUntil = Clock::nowNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
                    LOG_TRACE(Utils::stringWithFormat("init: yieldUntil = %lld",
                                                      static_cast<long long>(s.yieldUntil)));
                    s.fState = WAIT;
                    break;
                }
                case WAIT: {
                    int64_t now = Clock::nowNanoseconds();
                    LOG_TRACE(Utils::stringWithFormat("now = %lld", static_cast<long long>(now)));
                    if (now >= s.yieldUntil) {
                        s.fState = kFinished;
                        break;
                    }
                    task->setTimesliceCompleted();
                    break;
                }
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMExpressionLValueToken::ftn_stdOut_yielding(const std::shared_ptr<Task>& task,
                                                  std::shared_ptr<IOMNode>& retVal, AccessType,
                                                  const std::shared_ptr<OMScope>&,
                                                  OMExpressionLValueResolution& resolution) const
{
    consoleText_yielding(task, retVal, resolution, false);
}

void OMExpressionLValueToken::ftn_stdErr_yielding(const std::shared_ptr<Task>& task,
                                                  std::shared_ptr<IOMNode>& retVal, AccessType,
                                                  const std::shared_ptr<OMScope>&,
                                                  OMExpressionLValueResolution& resolution) const
{
    consoleText_yielding(task, retVal, resolution, true);
}

void OMExpressionLValueToken::consoleText_yielding(const std::shared_ptr<Task>& task,
                                                   std::shared_ptr<IOMNode>& retVal,
                                                   OMExpressionLValueResolution& resolution,
                                                   bool isStdErr) const
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { SENT = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    if (!requireArguments(resolution, 1)) break;
                    IScriptHost* host = IScriptHost::get();
                    SANITY_CHECK(host);
                    SANITY_CHECK(host->sendConsoleText(task, isStdErr, resolution.getArgNode(0)));
                    task->setTimesliceCompleted();
                    s.fState = SENT;
                    break;
                }
                case SENT:
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
