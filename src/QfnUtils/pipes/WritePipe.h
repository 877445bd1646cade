#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnUtils/pipes/Pipe.h"
#include "QfnUtils/pipes/PipeStates.h"

namespace Qfn {

class WritePipeHandleBuffer;

// A queue of strings to one sibling's read pipe. It watches its target: when the process has
// stopped or its marker file is gone, the pipe goes to Error, and the next time slice closes it.
class WritePipe : public Pipe, public std::enable_shared_from_this<WritePipe> {
public:
    // The open pipe of that path (opened once more, for that target), else a new one, opened.
    // processID 0: the target's process is not watched, only its marker file.
    static std::shared_ptr<WritePipe> factory(const std::string& namedPipePath, unsigned long processID,
                                              const std::string& coordinatorName);
    // The pipe of that handle; getPipe also logs when there is none.
    static std::shared_ptr<WritePipe> findPipe(int handle);
    static std::shared_ptr<WritePipe> getPipe(int handle);
    static bool closeAll();
    static bool isAllIdle();
    // Closes the pipes found in error or done flushing, then polls the others.
    static bool timeslice();

    bool open();
    bool poll();
    // One open fewer; the last one closes, or lets the queue go out first (Flushing).
    bool requestClose();
    bool close();
    // A write pipe closes at once however often it was opened.
    bool closeForced() { return close(); }
    bool write(const std::string& str);
    bool getIsBufferEmpty() const;
    bool switchToState(WritePipeState state);
    WritePipeState getState() const { return fState; }
    const char* getStateName() const { return Qfn::getStateName(fState); }

private:
    WritePipe(const std::string& namedPipePath, unsigned long processID, const std::string& coordinatorName);

    // Error when the target's process has stopped or its pipe is gone; looked at a few times a
    // second, as each look reads /proc and the marker file.
    bool checkTarget();

    WritePipeState fState = WritePipeState::Unknown;
    std::shared_ptr<WritePipeHandleBuffer> fWritePipeHandleBuffer;
    unsigned long fProcessID;
    std::string fCoordinatorName;
    int64_t fNextTargetCheckNanoseconds = 0;
};

}  // namespace Qfn
