#include "QfnParser/query/FunctionPhase.h"

#include "QfnLogger/Check.h"

namespace Qfn {

FunctionPhase functionPhaseFromStr(const std::string& functionPhaseStr)
{
    FunctionPhase retVal = FunctionPhase::none;
    try {
        do {
            if (functionPhaseStr == "process") {
                retVal = FunctionPhase::process;
            } else if (functionPhaseStr == "ignore") {
                retVal = FunctionPhase::ignore;
            } else {
                LOG_ERROR("unrecognized functionPhaseStr");
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string functionPhaseToStr(FunctionPhase functionPhase)
{
    std::string retVal;
    try {
        switch (functionPhase) {
            case FunctionPhase::none:
                retVal = "none";
                break;
            case FunctionPhase::ignore:
                retVal = "ignore";
                break;
            case FunctionPhase::process:
                retVal = "process";
                break;
            default:
                LOG_ERROR("unxpected functionPhase");
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
