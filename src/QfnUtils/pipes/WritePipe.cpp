#include "QfnUtils/pipes/WritePipe.h"

#include "QfnLogger/Check.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Process.h"
#include "QfnUtils/Utils.h"
#include "QfnUtils/pipes/PipeTable.h"
#include "QfnUtils/pipes/WritePipeHandleBuffer.h"

namespace Qfn {

namespace {

constexpr int64_t kTargetCheckIntervalNanoseconds = 100 * 1000 * 1000;

PipeTable<WritePipe>& table()
{
    static PipeTable<WritePipe>* pipes = new PipeTable<WritePipe>(
        {"removing write pipe by handle %d", "removing write pipe by path %s",
         "cannot find write pipe by handle %d", "cannot find write pipe by path %s"});
    return *pipes;
}

}  // namespace

WritePipe::WritePipe(const std::string& namedPipePath, unsigned long processID,
                     const std::string& coordinatorName)
    : Pipe(namedPipePath), fProcessID(processID), fCoordinatorName(coordinatorName)
{
}

std::shared_ptr<WritePipe> WritePipe::factory(const std::string& namedPipePath, unsigned long processID,
                                              const std::string& coordinatorName)
{
    std::shared_ptr<WritePipe> retVal;
    try {
        do {
            std::shared_ptr<WritePipe> existing = table().findByPath(namedPipePath);
            if (existing && existing->fState == WritePipeState::Error) {
                SANITY_CHECK(existing->closeForced());
                existing.reset();
            }
            if (existing) {
                SANITY_CHECK(existing->openCountIncrement());
                // A pipe that was closing goes on serving the one who opened it again.
                if (existing->fState == WritePipeState::Flushing)
                    existing->switchToState(WritePipeState::Open);
                existing->fProcessID = processID;
                existing->fCoordinatorName = coordinatorName;
                retVal = existing;
                break;
            }
            std::shared_ptr<WritePipe> writePipe(new WritePipe(namedPipePath, processID, coordinatorName));
            SANITY_CHECK(writePipe->open());
            SANITY_CHECK(writePipe->openCountIncrement());
            table().add(writePipe);
            retVal = writePipe;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<WritePipe> WritePipe::findPipe(int handle)
{
    return table().findByHandle(handle);
}

std::shared_ptr<WritePipe> WritePipe::getPipe(int handle)
{
    std::shared_ptr<WritePipe> retVal = findPipe(handle);
    if (!retVal) LOG_NOTE(Utils::stringWithFormat("write pipe handle %d not found", handle));
    return retVal;
}

bool WritePipe::open()
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! fNamedPipePath.empty());
            // clang-format on
            SANITY_CHECK(fPipeExternalHandle != 0);
            SANITY_CHECK(fState != WritePipeState::Open);
            if (!Dirs::dirExists(Dirs::getParentPath(fNamedPipePath))) {
                LOG_ERROR("parentDir does not exist");
                break;
            }
            VERIFY(Pipes::namedPipeExists(fNamedPipePath));
            // clang-format off
            VERIFY(! fWritePipeHandleBuffer);
            // clang-format on
            fWritePipeHandleBuffer = WritePipeHandleBuffer::factory(shared_from_this());
            SANITY_CHECK(fWritePipeHandleBuffer);
            switchToState(WritePipeState::Open);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipe::write(const std::string& str)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fState == WritePipeState::Open);
            SANITY_CHECK(fWritePipeHandleBuffer);
            SANITY_CHECK(fWritePipeHandleBuffer->write(str));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipe::getIsBufferEmpty() const
{
    return !fWritePipeHandleBuffer || fWritePipeHandleBuffer->getIsBufferEmpty();
}

bool WritePipe::poll()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fState != WritePipeState::Error);
            SANITY_CHECK(fWritePipeHandleBuffer);
            // A connection that failed is the pipe's Error state, not a failed poll.
            if (!fWritePipeHandleBuffer->poll()) {
                switchToState(WritePipeState::Error);
                retVal = true;
                break;
            }
            SANITY_CHECK(checkTarget());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipe::checkTarget()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            const int64_t now = Clock::nowNanoseconds();
            if (now < fNextTargetCheckNanoseconds) break;
            fNextTargetCheckNanoseconds = now + kTargetCheckIntervalNanoseconds;
            if (fProcessID != 0 && !Process::isRunning(fProcessID, fCoordinatorName)) {
                LOG_NOTE(Utils::stringWithFormat("process has stopped %ld %s", static_cast<long>(fProcessID),
                                                 fCoordinatorName.c_str()));
                switchToState(WritePipeState::Error);
            } else if (!Pipes::namedPipeExists(fNamedPipePath)) {
                LOG_NOTE(Utils::stringWithFormat("pipe is dead stopped %ld %s", static_cast<long>(fProcessID),
                                                 fCoordinatorName.c_str()));
                switchToState(WritePipeState::Error);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
        retVal = false;
    }
    return retVal;
}

bool WritePipe::requestClose()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(openCountDecrement());
            if (fOpenCount > 0) {
                LOG_NOTE("pipe remains open");
                retVal = true;
                break;
            }
            if (fState == WritePipeState::Open && !getIsBufferEmpty()) {
                switchToState(WritePipeState::Flushing);
                retVal = true;
                break;
            }
            SANITY_CHECK(close());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipe::close()
{
    bool retVal = false;
    try {
        do {
            switchToState(WritePipeState::Closing);
            if (fWritePipeHandleBuffer) {
                SANITY_CHECK(fWritePipeHandleBuffer->rawClose());
                SANITY_CHECK(fWritePipeHandleBuffer->forceCloseState());
            }
            fOpenCount = 0;
            switchToState(WritePipeState::Closed);
            SANITY_CHECK(table().remove(*this));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipe::switchToState(WritePipeState state)
{
    bool retVal = false;
    try {
        do {
            LOG_NOTE(stateSwitchText("WritePipeState", getStateName(), Qfn::getStateName(state)));
            fState = state;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipe::closeAll()
{
    return table().closeAll();
}

bool WritePipe::isAllIdle()
{
    return table().isAllIdle(
        [](const std::shared_ptr<WritePipe>& writePipe) { return writePipe->getIsBufferEmpty(); });
}

bool WritePipe::timeslice()
{
    bool retVal = false;
    try {
        do {
            bool isAllDone = true;
            const std::vector<std::shared_ptr<WritePipe>> pipes = table().all();
            // Pipes that went to Error in the last slice close now: their owners have seen it once.
            for (const auto& writePipe : pipes) {
                const WritePipeState state = writePipe->getState();
                const bool isFlushed = state == WritePipeState::Flushing && writePipe->getIsBufferEmpty();
                if (state != WritePipeState::Error && !isFlushed) continue;
                if (state == WritePipeState::Error)
                    LOG_NOTE("WritePipeState::Error, writePipe goes into to close pipes");
                if (!writePipe->closeForced()) {
                    LOG_ERROR("failed to close writePipe in error or flushing state");
                    isAllDone = false;
                }
            }
            for (const auto& writePipe : pipes) {
                const WritePipeState state = writePipe->getState();
                if (state == WritePipeState::Open || state == WritePipeState::Flushing)
                    isAllDone = writePipe->poll() && isAllDone;
            }
            retVal = isAllDone;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
