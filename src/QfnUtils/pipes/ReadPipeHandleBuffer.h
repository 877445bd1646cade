#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "QfnUtils/pipes/PipePacket.h"
#include "QfnUtils/pipes/PipeStates.h"

namespace Qfn {

class ReadPipe;

// One connection slot of a read pipe: it waits for a writer to connect, then takes that writer's
// packets one by one and hands them to the read pipe, until the writer closes its end.
class ReadPipeHandleBuffer {
public:
    static std::shared_ptr<ReadPipeHandleBuffer> factory(const std::shared_ptr<ReadPipe>& readPipe);
    ~ReadPipeHandleBuffer();
    ReadPipeHandleBuffer(const ReadPipeHandleBuffer&) = delete;
    ReadPipeHandleBuffer& operator=(const ReadPipeHandleBuffer&) = delete;

    // Runs the handler of the current state, and the next ones while they move on, for a few
    // packets at the most.
    bool poll();
    // Closes the connection.
    bool closeHandle();
    // Closes what is open and goes to Destroyed, from any state.
    bool forceFinalState();
    bool switchToState(ReadPipeHandleState state);
    ReadPipeHandleState getState() const { return fState; }
    const char* getStateName() const { return Qfn::getStateName(fState); }
    // The number of this slot in the pool's log lines.
    int getID() const { return fID; }
    // No packet half taken, and none waiting on the connection.
    bool isIdle() const;

private:
    explicit ReadPipeHandleBuffer(const std::shared_ptr<ReadPipe>& readPipe);

    bool runStateHandler();
    bool handleErrorState();
    bool handleDisconnectedState();
    bool handleConnectionPendingState();
    bool handleConnectedState();
    bool handleReadingPacketHeaderState();
    bool handleProcessPacketHeaderState();
    bool handleReadingPacketBodyState();
    bool handleProcessPacketState();
    bool handleDisconnectRequestedState();
    bool handleDestroyRequestedState();
    bool handleDestroyedState();
    // Takes a connection waiting on the read pipe's socket, if there is one.
    bool acceptConnection();
    // The writer has closed its end: a string it left unfinished can never be finished.
    bool endConnection();

    std::weak_ptr<ReadPipe> fReadPipe;
    ReadPipeHandleState fState = ReadPipeHandleState::Disconnected;
    int fHandle;
    int fID;
    size_t fPacketSize = 0;
    PipePacket fPacket;
    // The process whose packets came over this connection; 0 before the first.
    uint32_t fSenderProcessID = 0;
};

}  // namespace Qfn
