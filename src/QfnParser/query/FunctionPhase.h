#pragma once

#include <string>

namespace Qfn {

// Which call a script function in a path receives: "ignore" may veto a visit, "process" computes.
enum class FunctionPhase { none = 0, ignore = 1, process = 2 };

FunctionPhase functionPhaseFromStr(const std::string& functionPhaseStr);
std::string functionPhaseToStr(FunctionPhase functionPhase);

}  // namespace Qfn
