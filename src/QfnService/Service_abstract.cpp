#include "QfnService/Service_abstract.h"

#include "QfnLogger/Check.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

void Service_abstract::timeslice_yielding(const std::shared_ptr<Task>& task, bool& retVal)
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    retVal = true;
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool Service_abstract::isIdle() const { return true; }

bool Service_abstract::deregisterObject() { return Object::deregisterObject(); }

}  // namespace Qfn
