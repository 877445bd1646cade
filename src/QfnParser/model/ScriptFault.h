#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "QfnTask/Task.h"

namespace Qfn {

// Where an expression stands in its script: the id of the stream it was read from and the position
// there; sourceId 0 when it is not known (an expression built by the program, not read).
struct SourcePlace {
    uint64_t sourceId = 0;
    uint64_t pos = 0;
};

// A failure a person caused in a script (an unknown name, a call of what is not a function, a
// built-in used wrongly) does not stop it: the expression gives Error and the script goes on. The
// first such failure of a statement is kept for the read-eval loop, which tells the user where.
class ScriptFault {
public:
    // The message is made only when the fault is kept, so that a loop that fails a million times
    // pays for one text.
    template <class MakeMessage>
    static void note(const SourcePlace& place, MakeMessage&& makeMessage)
    {
        if (Task* collector = Task::getFaultCollector())
            collector->keepFault(
                Task::Fault{std::forward<MakeMessage>(makeMessage)(), place.sourceId, place.pos});
    }
    static void note(const SourcePlace& place, const char* message)
    {
        note(place, [message] { return std::string(message); });
    }
};

}  // namespace Qfn
