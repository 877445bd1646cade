#include "QfnParser/streams/InputStream.h"

#include <algorithm>

#include "QfnLogger/Check.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

InputStream::~InputStream() = default;

bool InputStream::locateIn(const std::string& text, uint64_t pos, SourceLine& where)
{
    if (pos > text.size()) return false;
    const size_t lineStart = pos == 0 ? 0 : text.rfind('\n', pos - 1) + 1;
    const size_t lineEnd = text.find('\n', pos);
    where.line =
        1 + static_cast<uint64_t>(std::count(text.begin(), text.begin() + static_cast<long>(pos), '\n'));
    where.column = pos - lineStart + 1;
    where.text =
        text.substr(lineStart, lineEnd == std::string::npos ? std::string::npos : lineEnd - lineStart);
    if (!where.text.empty() && where.text.back() == '\r') where.text.pop_back();
    return true;
}

bool InputStream::locate(uint64_t, SourceLine&)
{
    return false;
}

bool InputStream::setEOF()
{
    fIsAtEOF = true;
    return true;
}

void InputStream::getChar_yielding(const std::shared_ptr<Task>& task, int& c)
{
    struct LocalVariableState : virtual OMFunctionState {
        int nextChar = kNothingYet;
    };
    // A synchronous task takes "nothing yet" as the end; an asynchronous one hands it on.
    enum : unsigned { READ = 0, TAKE_AS_END = 1, HAND_ON_NOTHING = 2 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) c = kNothingYet;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case READ:
                    task->setIsWaitingForInput(true);
                    s.nextChar = getChar();
                    task->setIsWaitingForInput(s.nextChar == kNothingYet);
                    if (s.nextChar != kNothingYet) {
                        c = s.nextChar;
                        s.fState = kFinished;
                        break;
                    }
                    if (task->usesAsyncIO()) {
                        task->forceTimesliceCompleted();
                        s.fState = HAND_ON_NOTHING;
                    } else {
                        task->setTimesliceCompleted();
                        s.fState = TAKE_AS_END;
                    }
                    break;
                case TAKE_AS_END:
                    setEOF();
                    c = kEndOfInput;
                    s.fState = kFinished;
                    break;
                case HAND_ON_NOTHING:
                    c = kNothingYet;
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
