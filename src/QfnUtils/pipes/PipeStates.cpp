#include "QfnUtils/pipes/PipeStates.h"

#include <array>
#include <cstddef>

namespace Qfn {

namespace {

constexpr const char* kUnexpectedState = "unexpected state";

// The name at a value counted from the enumeration's first one.
template <size_t N>
const char* nameAt(const std::array<const char*, N>& names, int offset)
{
    return offset >= 0 && static_cast<size_t>(offset) < N ? names[static_cast<size_t>(offset)]
                                                          : kUnexpectedState;
}

}  // namespace

const char* getStateName(ReadPipeState state)
{
    // 0 is no state of a read pipe; it prints as Unknown, as -1 does.
    static constexpr std::array<const char*, 4> kNames = {"Unknown", "Unknown", "Closed", "Open"};
    return nameAt(kNames, static_cast<int>(state) + 1);
}

const char* getStateName(ReadPipeHandleState state)
{
    static constexpr std::array<const char*, 11> kNames = {"Error",
                                                           "Disconnected",
                                                           "ConnectionPending",
                                                           "Connected",
                                                           "ReadingPacketHeader",
                                                           "ProcessPacketHeader",
                                                           "ReadingPacketBody",
                                                           "ProcessPacket",
                                                           "DisconnectRequested",
                                                           "DestroyRequested",
                                                           "Destroyed"};
    return nameAt(kNames, static_cast<int>(state));
}

const char* getStateName(WritePipeState state)
{
    static constexpr std::array<const char*, 6> kNames = {"Error",  "Unknown", "Flushing",
                                                          "Closed", "Closing", "Open"};
    return nameAt(kNames, static_cast<int>(state));
}

const char* getStateName(WritePipeHandleState state)
{
    static constexpr std::array<const char*, 4> kNames = {"Error", "Disconnected", "Connected", "Writing"};
    return nameAt(kNames, static_cast<int>(state));
}

}  // namespace Qfn
