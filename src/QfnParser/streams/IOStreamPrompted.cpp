#include "QfnParser/streams/IOStreamPrompted.h"

#include <cstdio>

#include "QfnLogger/Check.h"
#include "QfnParser/host/IScriptHost.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/streams/InputStreamConsole.h"
#include "QfnParser/streams/InputStreamStdIn.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

constexpr int kBackspace = 8;
constexpr int kDelete = 127;
constexpr int kCR = 13;

const std::string& promptOfHost(int level)
{
    static const std::string kNoPrompt;
    return IScriptHost::get() ? IScriptHost::get()->getPrompt(level) : kNoPrompt;
}

}  // namespace

std::shared_ptr<IOStreamPrompted> IOStreamPrompted::factory(std::shared_ptr<InputStream> inputStream,
                                                            std::shared_ptr<OutputStream> outputStream)
{
    std::shared_ptr<IOStreamPrompted> retVal;
    try {
        IScriptHost* host = IScriptHost::get();
        if (!outputStream && host) outputStream = host->getDefaultOutputStream();
        if (!inputStream && host) inputStream = host->makeDefaultInputStream();
        retVal.reset(new IOStreamPrompted(std::move(inputStream), std::move(outputStream)));
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IOStreamPrompted::isEchoing() const
{
    auto* console = dynamic_cast<InputStreamConsole*>(fNestedInputStream.get());
    return fNestedOutputStream && console && console->isEchoing();
}

// A CR goes out as CR LF, a backspace also erases to the end of the line.
bool IOStreamPrompted::echo(int c)
{
    bool written = false;
    if (c == kCR)
        written = fNestedOutputStream->write("\r\n");
    else if (c == kBackspace)
        written = fNestedOutputStream->write("\b\x1b[K");
    else
        written = fNestedOutputStream->write(std::string(1, static_cast<char>(c)));
    return written && fNestedOutputStream->flush();
}

bool IOStreamPrompted::advance()
{
    if (fReadIdx < fLine.size()) ++fReadIdx;
    return true;
}

bool IOStreamPrompted::atEOF()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fNestedInputStream);
            retVal = fNestedInputStream->atEOF() && fReadIdx >= fLine.size();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IOStreamPrompted::flush()
{
    bool retVal = true;
    try {
        if (fNestedInputStream) retVal = fNestedInputStream->discardOldBufferData();
        if (fNestedOutputStream) retVal = fNestedOutputStream->flush() && retVal;
    } catch (std::exception& e) {
        LOG_THROWS(e);
        retVal = false;
    }
    return retVal;
}

int IOStreamPrompted::getChar()
{
    int retVal = kEndOfInput;
    try {
        do {
            if (fIsAtEOF) break;
            if (fReadIdx < fLine.size()) {
                retVal = static_cast<unsigned char>(fLine[fReadIdx]);
                break;
            }
            SANITY_CHECK(fNestedInputStream);
            retVal = fNestedInputStream->getChar();
            if (retVal >= 0 && isEchoing()) echo(retVal);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IOStreamPrompted::setPos(uint64_t pos)
{
    bool retVal = false;
    do {
        VERIFY(pos >= fLineOffset && pos - fLineOffset <= fLine.size());
        fReadIdx = pos - fLineOffset;
        retVal = true;
    } while (false);
    return retVal;
}

bool IOStreamPrompted::write(const std::string& text)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fNestedOutputStream);
            // Someone is reading along: what is written shows at once.
            retVal = fNestedOutputStream->write(text) && fNestedOutputStream->flush();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> IOStreamPrompted::getPromptNode(bool continuation) const
{
    return continuation ? fPromptContinuation : fPrompt;
}

bool IOStreamPrompted::sendPromptToOutput(const std::shared_ptr<Task>& task, bool toStdOut)
{
    bool retVal = false;
    try {
        do {
            if (!fNestedOutputStream && !toStdOut) {
                retVal = true;
                break;
            }
            bool continuation = task && task->getParsingNestLevel() > 0;
            std::shared_ptr<IOMNode> node = getPromptNode(continuation);
            std::string text = node && node->getType() == OMType::String ? node->getString()
                                                                         : promptOfHost(continuation ? 1 : 0);
            auto* console = dynamic_cast<InputStreamConsole*>(fNestedInputStream.get());
            if (console && console->takePrompt(text)) {
                retVal = true;
                break;
            }
            if (text.empty()) {
                retVal = true;
                break;
            }
            if (toStdOut) {
                retVal = std::fputs(text.c_str(), stdout) >= 0;
                std::fflush(stdout);
            } else {
                retVal = fNestedOutputStream->write(text) && fNestedOutputStream->flush();
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void IOStreamPrompted::readLine_yielding(const std::shared_ptr<Task>& task, std::string& line)
{
    struct LocalVariableState : virtual OMFunctionState {
        int c = kNothingYet;
        bool isLineComplete = false;
        bool isStdIn = false;
        bool isConsole = false;
    };
    enum : unsigned { START = 0, PROMPT, READ_CHAR, DONE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case START:
                    s.fState = DONE;
                    SANITY_CHECK(fNestedInputStream);
                    s.isStdIn = dynamic_cast<InputStreamStdIn*>(fNestedInputStream.get()) != nullptr;
                    s.isConsole = dynamic_cast<InputStreamConsole*>(fNestedInputStream.get()) != nullptr;
                    fLineOffset += fLine.size();
                    fLine.clear();
                    ++fLinesRead;
                    fReadIdx = 0;
                    fIsAtLineStart = true;
                    s.fState = PROMPT;
                    break;
                case PROMPT:
                    if (IScriptHost::get() && IScriptHost::get()->isInteractive() && !fIsPromptShown) {
                        sendPromptToOutput(task, s.isStdIn);
                        fIsPromptShown = true;
                    }
                    s.fState = READ_CHAR;
                    break;
                    YIELDING_CALL(READ_CHAR, fNestedInputStream->getChar_yielding(task, s.c));
                case resumeAfter(READ_CHAR):
                    if (s.c == kEndOfInput) {
                        s.fState = DONE;
                        break;
                    }
                    if (s.c == kNothingYet) {
                        // The keyboard is asked again; other sources hand on what the line has so far.
                        s.fState = s.isConsole ? READ_CHAR : DONE;
                        break;
                    }
                    fIsAtLineStart = false;
                    fNestedInputStream->advance();
                    if (s.c == kBackspace || s.c == kDelete) {
                        if (fLine.empty()) {
                            s.c = kNothingYet;
                        } else {
                            s.c = kBackspace;
                            fLine.pop_back();
                        }
                    } else {
                        fLine.push_back(static_cast<char>(s.c));
                        s.isLineComplete = isEOL(s.c);
                        if (s.isLineComplete) fIsPromptShown = false;
                    }
                    if (s.c != kNothingYet && isEchoing()) echo(s.c);
                    s.fState = s.isLineComplete ? DONE : READ_CHAR;
                    break;
                case DONE:
                    if (&line != &fLine) line = fLine;
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void IOStreamPrompted::getChar_yielding(const std::shared_ptr<Task>& task, int& c)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { START = 0, READ_LINE, DELIVER };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) c = kNothingYet;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case START:
                    s.fState = kFinished;
                    SANITY_CHECK(fNestedInputStream);
                    if (fReadIdx < fLine.size() || fNestedInputStream->atEOF()) {
                        s.fState = DELIVER;
                        break;
                    }
                    task->setIsWaitingForInput(true);
                    s.fState = READ_LINE;
                    break;
                    YIELDING_CALL(READ_LINE, readLine_yielding(task, fLine));
                case resumeAfter(READ_LINE):
                    s.fState = DELIVER;
                    break;
                case DELIVER:
                    if (fReadIdx < fLine.size()) {
                        task->setIsWaitingForInput(false);
                        c = static_cast<unsigned char>(fLine[fReadIdx]);
                    } else if (fNestedInputStream->atEOF()) {
                        task->setIsWaitingForInput(false);
                        c = kEndOfInput;
                        setEOF();
                    } else {
                        c = kNothingYet;
                    }
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool IOStreamPrompted::locate(uint64_t pos, SourceLine& where)
{
    if (pos < fLineOffset || !locateIn(fLine, pos - fLineOffset, where)) return false;
    where.line = fLinesRead + where.line - 1;
    return true;
}

}  // namespace Qfn
