#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "QfnUtils/pipes/Pipe.h"
#include "QfnUtils/pipes/PipeStates.h"

namespace Qfn {

class PipePacket;
class ReadPipeBuffer;
class ReadPipeHandleBuffer;

// The receiving end of a coordinator: a listening socket named by a marker file, a pool of
// connection slots that always keeps one free for a new writer, and the strings the packets make,
// assembled per sending process.
class ReadPipe : public Pipe, public std::enable_shared_from_this<ReadPipe> {
public:
    // The open pipe of that path (opened once more), else a new one, opened.
    static std::shared_ptr<ReadPipe> factory(const std::string& namedPipePath);
    // The pipe of that handle; getPipe also logs when there is none.
    static std::shared_ptr<ReadPipe> findPipe(int handle);
    static std::shared_ptr<ReadPipe> getPipe(int handle);
    static bool closeAll();
    static bool isAllIdle();
    // Polls every open pipe and closes those in error.
    static bool timeslice();

    ~ReadPipe() override;

    // Listens, writes the marker file and makes the first connection slot.
    bool open();
    bool poll();
    // One open fewer; the last one closes the slots and the socket and removes both files.
    bool close();
    // Closes however often the pipe was opened.
    bool closeForced();
    // The next complete string; isComplete tells whether there was one. Strings are whole messages,
    // so the separator splits nothing. senderProcessID, when given, gets the sending process.
    bool read(std::string& result, bool& isComplete, char separator,
              unsigned long* senderProcessID = nullptr);
    // Adds a packet to its sender's string, and a string that is complete to those waiting.
    bool processPacket(const PipePacket& packet);
    bool refreshProxyIniFile();
    bool switchToState(ReadPipeState state);
    ReadPipeState getState() const { return fState; }
    const char* getStateName() const { return Qfn::getStateName(fState); }
    // No string waiting, none in the middle, no packet on its way in.
    bool isIdle() const;
    int getListenHandle() const { return fListenHandle; }
    // Drops what the process had sent of a string it will not finish.
    bool dropPartialString(uint32_t processID);
    size_t getPoolSize() const { return fReadPipeHandleBufferPool.size(); }
    size_t getDisconnectedCount() const { return fDisconnectedHandleBuffers.size(); }

private:
    explicit ReadPipe(const std::string& namedPipePath);

    struct CompleteString {
        uint32_t processID;
        std::string text;
    };

    // Releases destroyed slots, sets ended connections aside, and keeps one slot free for a writer.
    bool managePool();
    // A slot to wait for the next writer: one set aside, else a new one.
    std::shared_ptr<ReadPipeHandleBuffer> takeFreeSlot();

    ReadPipeState fState = ReadPipeState::Closed;
    int fListenHandle;
    std::vector<std::shared_ptr<ReadPipeHandleBuffer>> fReadPipeHandleBufferPool;
    std::vector<std::shared_ptr<ReadPipeHandleBuffer>> fDisconnectedHandleBuffers;
    std::map<uint32_t, std::shared_ptr<ReadPipeBuffer>> fReadPipeBuffers;
    std::deque<CompleteString> fCompleteStrings;
};

}  // namespace Qfn
