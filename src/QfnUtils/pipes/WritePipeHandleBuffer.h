#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "QfnUtils/pipes/PipePacket.h"
#include "QfnUtils/pipes/PipeStates.h"

namespace Qfn {

class WritePipe;

// The connection of a write pipe and its queue of strings: it connects when there is something to
// send, cuts the head of the queue into packets and sends them as the socket takes them, waiting
// between attempts for the configured times (PipeTimes).
class WritePipeHandleBuffer {
public:
    static std::shared_ptr<WritePipeHandleBuffer> factory(const std::shared_ptr<WritePipe>& writePipe);
    ~WritePipeHandleBuffer();
    WritePipeHandleBuffer(const WritePipeHandleBuffer&) = delete;
    WritePipeHandleBuffer& operator=(const WritePipeHandleBuffer&) = delete;

    // Sends what the socket takes now, a few packets at the most; false sends the pipe to Error.
    bool poll();
    bool write(const std::string& str);
    bool rawOpen();
    bool rawClose();
    // isSent false: the socket took nothing, the packet stays pending.
    bool rawWrite(const uint8_t* data, size_t size, bool& isSent);
    // Forgets the queue and the connection.
    bool forceCloseState();
    bool switchToState(WritePipeHandleState state);
    WritePipeHandleState getState() const { return fState; }
    const char* getStateName() const { return Qfn::getStateName(fState); }
    // Nothing queued and no packet waiting to go.
    bool getIsBufferEmpty() const { return fQueue.empty() && !fIsPacketPending; }

private:
    explicit WritePipeHandleBuffer(const std::shared_ptr<WritePipe>& writePipe);

    // One pass of the steps: settles a pending packet, connects, starts a string, sends a packet.
    // isProgress tells whether a packet went out, so that the next pass may go on at once.
    bool step(int64_t now, bool& isProgress);
    bool settlePendingPacket(int64_t now, bool& isSettled);
    bool connectIfDue(int64_t now);
    bool sendNextPacket(int64_t now, bool& isProgress);

    std::weak_ptr<WritePipe> fWritePipe;
    WritePipeHandleState fState = WritePipeHandleState::Disconnected;
    int fHandle;
    bool fIsPacketPending = false;
    bool fIsStringStarted = false;
    uint64_t fCharsRemaining = 0;
    uint64_t fStringNumber = 0;
    uint64_t fPacketNumber = 0;
    PipePacket fPacket;
    size_t fPacketSize = 0;
    std::deque<std::string> fQueue;
    // The last attempt to connect, or to send a stalled packet; 0 before the first.
    int64_t fLastAttemptNanoseconds = 0;
    // When the pending packet first found the socket full.
    int64_t fStallStartNanoseconds = 0;
};

}  // namespace Qfn
