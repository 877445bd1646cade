#include "QfnUtils/pipes/WritePipeHandleBuffer.h"

#include <cerrno>

#include "QfnLogger/Check.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Utils.h"
#include "QfnUtils/pipes/PipeMarkerFile.h"
#include "QfnUtils/pipes/PipeSocket.h"
#include "QfnUtils/pipes/PipeTimes.h"
#include "QfnUtils/pipes/WritePipe.h"

namespace Qfn {

namespace {

// Packets a poll sends at the most before the other pipes have their turn.
constexpr int kMaxPacketsPerPoll = 16;

constexpr int64_t nanoseconds(int64_t microseconds)
{
    return microseconds * 1000;
}

}  // namespace

WritePipeHandleBuffer::WritePipeHandleBuffer(const std::shared_ptr<WritePipe>& writePipe)
    : fWritePipe(writePipe), fHandle(NO_RAW_PIPE_HANDLE)
{
}

std::shared_ptr<WritePipeHandleBuffer> WritePipeHandleBuffer::factory(
    const std::shared_ptr<WritePipe>& writePipe)
{
    std::shared_ptr<WritePipeHandleBuffer> retVal;
    try {
        do {
            SANITY_CHECK(writePipe);
            retVal.reset(new WritePipeHandleBuffer(writePipe));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

WritePipeHandleBuffer::~WritePipeHandleBuffer()
{
    try {
        // clang-format off
        EXPECTED(fHandle == NO_RAW_PIPE_HANDLE);
        EXPECTED(fState == WritePipeHandleState::Disconnected);
        EXPECTED(! fIsPacketPending);
        EXPECTED(fQueue.empty());
        EXPECTED(fCharsRemaining == 0);
        // clang-format on
        if (fHandle != NO_RAW_PIPE_HANDLE) PipeSocket::close(fHandle);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool WritePipeHandleBuffer::write(const std::string& str)
{
    bool retVal = false;
    try {
        do {
            fQueue.push_back(str);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::poll()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fState != WritePipeHandleState::Error);
            const int64_t now = Clock::nowNanoseconds();
            bool isStepDone = true;
            bool isProgress = true;
            for (int packets = 0; isStepDone && isProgress && packets < kMaxPacketsPerPoll; ++packets)
                isStepDone = step(now, isProgress);
            if (!isStepDone) switchToState(WritePipeHandleState::Error);
            retVal = fState != WritePipeHandleState::Error;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::step(int64_t now, bool& isProgress)
{
    bool retVal = false;
    isProgress = false;
    try {
        do {
            bool isSettled = false;
            SANITY_CHECK(settlePendingPacket(now, isSettled));
            if (!isSettled || fQueue.empty()) {
                retVal = true;
                break;
            }
            SANITY_CHECK(connectIfDue(now));
            if (fState == WritePipeHandleState::Connected) {
                SANITY_CHECK(sendNextPacket(now, isProgress));
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::settlePendingPacket(int64_t now, bool& isSettled)
{
    bool retVal = false;
    isSettled = false;
    try {
        do {
            if (fIsPacketPending && fState == WritePipeHandleState::Writing) {
                if (now - fLastAttemptNanoseconds <
                    nanoseconds(PipeTimes::current().sleepStalledPipeMicroseconds)) {
                    retVal = true;
                    break;
                }
                fLastAttemptNanoseconds = now;
                bool isSent = false;
                SANITY_CHECK(rawWrite(fPacket.getBytes(), fPacketSize, isSent));
                if (!isSent) {
                    if (fState != WritePipeHandleState::Error &&
                        now - fStallStartNanoseconds >
                            nanoseconds(PipeTimes::current().killStalledPipeMicroseconds)) {
                        LOG_WARNING("pipe stalled for longer than killStalledPipeMicroseconds - giving up");
                        switchToState(WritePipeHandleState::Error);
                    } else if (fState != WritePipeHandleState::Error) {
                        LOG_TRACE(Utils::stringWithFormat(
                            "pipe stalling - waiting for stalledPipe interval packetSize = %lu",
                            static_cast<unsigned long>(fPacketSize)));
                    }
                    retVal = true;
                    break;
                }
                switchToState(WritePipeHandleState::Connected);
            }
            if (fIsPacketPending) {
                fIsPacketPending = false;
                if (fCharsRemaining == 0) {
                    LOG_TRACE("all characters sent - removing head of queue");
                    fQueue.pop_front();
                    fIsStringStarted = false;
                }
            }
            isSettled = true;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::connectIfDue(int64_t now)
{
    bool retVal = false;
    try {
        do {
            const bool isWaiting = fLastAttemptNanoseconds != 0 &&
                                   now - fLastAttemptNanoseconds <
                                       nanoseconds(PipeTimes::current().sleepWaitForPipeMicroseconds);
            if (fState != WritePipeHandleState::Disconnected || isWaiting) {
                retVal = true;
                break;
            }
            fLastAttemptNanoseconds = now;
            SANITY_CHECK(rawOpen());
            if (fState == WritePipeHandleState::Connected)
                LOG_NOTE("rawOpen succeeded");
            else
                LOG_NOTE("did not open - waiting for sleepWaitForPipe interval");
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::sendNextPacket(int64_t now, bool& isProgress)
{
    bool retVal = false;
    isProgress = false;
    try {
        do {
            if (!fIsStringStarted) {
                LOG_TRACE("start to send head of queue");
                // clang-format off
                SANITY_CHECK(! fQueue.empty());
                // clang-format on
                if (fQueue.front().empty()) LOG_TRACE("empty string in queue");
                ++fStringNumber;
                fPacketNumber = 0;
                fCharsRemaining = fQueue.front().size();
                fIsStringStarted = true;
            }
            SANITY_CHECK(fPacket.fill(fStringNumber, fPacketNumber, PipeSocket::getOwnProcessID(),
                                      fQueue.front(), fCharsRemaining));
            ++fPacketNumber;
            LOG_TRACE(Utils::stringWithFormat("fCharsRemaining = %d", static_cast<int>(fCharsRemaining)));
            fIsPacketPending = true;
            fPacketSize = fPacket.getPacketSize();
            LOG_TRACE("writing packet");
            bool isSent = false;
            SANITY_CHECK(rawWrite(fPacket.getBytes(), fPacketSize, isSent));
            if (!isSent && fState != WritePipeHandleState::Error) {
                LOG_TRACE(Utils::stringWithFormat(
                    "pipe stalling - waiting for stalledPipe interval packetSize = %lu",
                    static_cast<unsigned long>(fPacketSize)));
                fStallStartNanoseconds = now;
                fLastAttemptNanoseconds = now;
                switchToState(WritePipeHandleState::Writing);
            }
            isProgress = isSent;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::rawOpen()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<WritePipe> writePipe = fWritePipe.lock();
            SANITY_CHECK(writePipe);
            const std::string& namedPipePath = writePipe->getNamedPipePath();
            // clang-format off
            SANITY_CHECK(! namedPipePath.empty());
            // clang-format on
            SANITY_CHECK(fState != WritePipeHandleState::Connected);
            SANITY_CHECK(fHandle == NO_RAW_PIPE_HANDLE);
            // The marker says where the reader listens now.
            const std::string rawNamedPipePath = PipeMarkerFile::read(namedPipePath);
            int handle = NO_RAW_PIPE_HANDLE;
            int createFileError = ENOENT;
            const PipeSocket::Result result =
                rawNamedPipePath.empty() ? PipeSocket::Result::Failed
                                         : PipeSocket::connect(rawNamedPipePath, handle, createFileError);
            if (result == PipeSocket::Result::Done) {
                fHandle = handle;
                switchToState(WritePipeHandleState::Connected);
                retVal = true;
                break;
            }
            LOG_NOTE(Utils::stringWithFormat("createFileError %u", static_cast<unsigned>(createFileError)));
            // A path the socket calls refuse is a fault of ours, not a reader that is not there yet.
            SANITY_CHECK(createFileError != EINVAL);
            LOG_NOTE("failed to CreateFile - waiting for sleepWaitForPipe interval");
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::rawWrite(const uint8_t* data, size_t size, bool& isSent)
{
    bool retVal = false;
    isSent = false;
    try {
        do {
            std::shared_ptr<WritePipe> writePipe = fWritePipe.lock();
            SANITY_CHECK(writePipe);
            SANITY_CHECK(fHandle != NO_RAW_PIPE_HANDLE);
            int writeError = 0;
            const PipeSocket::Result result = PipeSocket::send(fHandle, data, size, writeError);
            isSent = result == PipeSocket::Result::Done;
            if (result == PipeSocket::Result::Closed) {
                // The reader has closed: what is queued cannot reach it over this connection.
                LOG_NOTE(Utils::stringWithFormat("%s: WriteFile failed, writeError = %d",
                                                 writePipe->getNamedPipePath().c_str(), writeError));
                switchToState(WritePipeHandleState::Error);
            } else if (result == PipeSocket::Result::Failed) {
                LOG_ERROR(Utils::stringWithFormat("%s: WriteFile failed, writeError = %d",
                                                  writePipe->getNamedPipePath().c_str(), writeError));
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::rawClose()
{
    bool retVal = false;
    try {
        do {
            if (fHandle != NO_RAW_PIPE_HANDLE) {
                EXPECTED(PipeSocket::close(fHandle));
            }
            fHandle = NO_RAW_PIPE_HANDLE;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::forceCloseState()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(rawClose());
            fQueue.clear();
            fIsPacketPending = false;
            fIsStringStarted = false;
            fCharsRemaining = 0;
            if (fState != WritePipeHandleState::Disconnected)
                switchToState(WritePipeHandleState::Disconnected);
            const bool success = fState == WritePipeHandleState::Disconnected;
            SANITY_CHECK(success);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool WritePipeHandleBuffer::switchToState(WritePipeHandleState state)
{
    bool retVal = false;
    try {
        do {
            LOG_TRACE(Pipe::handleStateSwitchText(fWritePipe.lock().get(), "WritePipeHandleState", fHandle,
                                                  Qfn::getStateName(fState), Qfn::getStateName(state)));
            fState = state;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
