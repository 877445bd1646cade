#pragma once

namespace Qfn {

// The states of a read pipe as a whole; Unknown is also the state of a pipe in error.
enum class ReadPipeState { Unknown = -1, Closed = 1, Open = 2 };

// One connection slot of a read pipe, in the order a packet passes through them.
enum class ReadPipeHandleState {
    Error = 0,
    Disconnected = 1,
    ConnectionPending = 2,
    Connected = 3,
    ReadingPacketHeader = 4,
    ProcessPacketHeader = 5,
    ReadingPacketBody = 6,
    ProcessPacket = 7,
    DisconnectRequested = 8,
    DestroyRequested = 9,
    Destroyed = 10
};

// A write pipe as a whole; Flushing is a pipe whose close waits for its queue to go out.
enum class WritePipeState { Error = 0, Unknown = 1, Flushing = 2, Closed = 3, Closing = 4, Open = 5 };

// The connection of a write pipe; Writing holds a packet the socket did not take yet.
enum class WritePipeHandleState { Error = 0, Disconnected = 1, Connected = 2, Writing = 3 };

// The names used in log lines; "unexpected state" for a value outside the enumeration.
const char* getStateName(ReadPipeState state);
const char* getStateName(ReadPipeHandleState state);
const char* getStateName(WritePipeState state);
const char* getStateName(WritePipeHandleState state);

}  // namespace Qfn
