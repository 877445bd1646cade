#include "QfnParser/streams/OutputStream.h"

#include "QfnLogger/Check.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

OutputStream::~OutputStream() = default;

void OutputStream::write_yielding(const std::shared_ptr<Task>& task, bool& retVal, const std::string& text)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { WRITE = 0 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case WRITE:
                    retVal = write(text);
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
