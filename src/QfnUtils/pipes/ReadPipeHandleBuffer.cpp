#include "QfnUtils/pipes/ReadPipeHandleBuffer.h"

#include <cerrno>

#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"
#include "QfnUtils/pipes/PipeSocket.h"
#include "QfnUtils/pipes/ReadPipe.h"

namespace Qfn {

namespace {

// Four states pass per packet: a poll takes up to sixteen packets of one writer before the next
// slot has its turn.
constexpr int kMaxStepsPerPoll = 64;

int nextID()
{
    static int lastID = 0;
    return ++lastID;
}

bool isPacketInProgress(ReadPipeHandleState state)
{
    return state == ReadPipeHandleState::ProcessPacketHeader ||
           state == ReadPipeHandleState::ReadingPacketBody || state == ReadPipeHandleState::ProcessPacket;
}

}  // namespace

ReadPipeHandleBuffer::ReadPipeHandleBuffer(const std::shared_ptr<ReadPipe>& readPipe)
    : fReadPipe(readPipe), fHandle(NO_RAW_PIPE_HANDLE), fID(nextID())
{
}

std::shared_ptr<ReadPipeHandleBuffer> ReadPipeHandleBuffer::factory(const std::shared_ptr<ReadPipe>& readPipe)
{
    std::shared_ptr<ReadPipeHandleBuffer> retVal;
    try {
        do {
            SANITY_CHECK(readPipe);
            retVal.reset(new ReadPipeHandleBuffer(readPipe));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

ReadPipeHandleBuffer::~ReadPipeHandleBuffer()
{
    try {
        EXPECTED(fState == ReadPipeHandleState::Destroyed);
        if (fHandle != NO_RAW_PIPE_HANDLE) PipeSocket::close(fHandle);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool ReadPipeHandleBuffer::poll()
{
    bool retVal = false;
    try {
        do {
            bool isHandled = true;
            for (int step = 0; step < kMaxStepsPerPoll; ++step) {
                const ReadPipeHandleState before = fState;
                isHandled = runStateHandler();
                // A slot that lost its writer waits for the pool to give it out again.
                if (!isHandled || fState == before || fState == ReadPipeHandleState::Disconnected) break;
            }
            if (!isHandled) {
                switchToState(ReadPipeHandleState::Error);
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::runStateHandler()
{
    switch (fState) {
        case ReadPipeHandleState::Error:
            return handleErrorState();
        case ReadPipeHandleState::Disconnected:
            return handleDisconnectedState();
        case ReadPipeHandleState::ConnectionPending:
            return handleConnectionPendingState();
        case ReadPipeHandleState::Connected:
            return handleConnectedState();
        case ReadPipeHandleState::ReadingPacketHeader:
            return handleReadingPacketHeaderState();
        case ReadPipeHandleState::ProcessPacketHeader:
            return handleProcessPacketHeaderState();
        case ReadPipeHandleState::ReadingPacketBody:
            return handleReadingPacketBodyState();
        case ReadPipeHandleState::ProcessPacket:
            return handleProcessPacketState();
        case ReadPipeHandleState::DisconnectRequested:
            return handleDisconnectRequestedState();
        case ReadPipeHandleState::DestroyRequested:
            return handleDestroyRequestedState();
        case ReadPipeHandleState::Destroyed:
            return handleDestroyedState();
    }
    return false;
}

bool ReadPipeHandleBuffer::handleErrorState()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(forceFinalState());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleDisconnectedState()
{
    return acceptConnection();
}

bool ReadPipeHandleBuffer::handleConnectionPendingState()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<ReadPipe> readPipe = fReadPipe.lock();
            SANITY_CHECK(readPipe);
            if (!PipeSocket::hasInput(readPipe->getListenHandle())) {
                retVal = true;
                break;
            }
            retVal = acceptConnection();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::acceptConnection()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<ReadPipe> readPipe = fReadPipe.lock();
            SANITY_CHECK(readPipe);
            int handle = NO_RAW_PIPE_HANDLE;
            int connectError = 0;
            const PipeSocket::Result result =
                PipeSocket::accept(readPipe->getListenHandle(), handle, connectError);
            if (result == PipeSocket::Result::Done) {
                fHandle = handle;
                fSenderProcessID = 0;
                switchToState(ReadPipeHandleState::Connected);
            } else if (result == PipeSocket::Result::WouldBlock) {
                if (fState != ReadPipeHandleState::ConnectionPending)
                    switchToState(ReadPipeHandleState::ConnectionPending);
            } else if (connectError == ECONNABORTED) {
                // The writer gave up before it was taken; the slot waits for the next one.
                LOG_NOTE(
                    "should not occur in rawConnect: we left the connection open and and it was forcibly "
                    "closed by other end");
            } else if (connectError == EMFILE || connectError == ENFILE || connectError == ENOBUFS ||
                       connectError == ENOMEM || connectError == EPROTO) {
                // Short of descriptors or memory for now: the connection stays queued for a later try.
                LOG_WARNING(Utils::stringWithFormat("%s (%d): connectError %d",
                                                    readPipe->getNamedPipePath().c_str(),
                                                    readPipe->getPipeExternalHandle(), connectError));
            } else {
                LOG_ERROR(Utils::stringWithFormat("%s (%d): Unexpected connectError %d",
                                                  readPipe->getNamedPipePath().c_str(),
                                                  readPipe->getPipeExternalHandle(), connectError));
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleConnectedState()
{
    return switchToState(ReadPipeHandleState::ReadingPacketHeader);
}

bool ReadPipeHandleBuffer::handleReadingPacketHeaderState()
{
    bool retVal = false;
    try {
        do {
            int readError = 0;
            const PipeSocket::Result result = PipeSocket::peek(
                fHandle, fPacket.getBytes(), PipePacket::kMaxPacketSize, fPacketSize, readError);
            if (result == PipeSocket::Result::Done) {
                switchToState(ReadPipeHandleState::ProcessPacketHeader);
            } else if (result != PipeSocket::Result::WouldBlock) {
                if (result == PipeSocket::Result::Failed)
                    LOG_WARNING(Utils::stringWithFormat("readError %d", readError));
                SANITY_CHECK(endConnection());
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleProcessPacketHeaderState()
{
    bool retVal = false;
    try {
        do {
            // A writer that breaks the packet format loses its connection (through Error).
            SANITY_CHECK(fPacketSize <= 4096);
            SANITY_CHECK(fPacketSize >= PipePacket::kHeaderSize);
            fSenderProcessID = fPacket.getProcessID();
            switchToState(ReadPipeHandleState::ReadingPacketBody);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleReadingPacketBodyState()
{
    bool retVal = false;
    try {
        do {
            int readError = 0;
            size_t received = 0;
            const PipeSocket::Result result = PipeSocket::receive(
                fHandle, fPacket.getBytes(), PipePacket::kMaxPacketSize, received, readError);
            if (result == PipeSocket::Result::WouldBlock) {
                retVal = true;
                break;
            }
            if (result != PipeSocket::Result::Done) {
                if (result == PipeSocket::Result::Failed)
                    LOG_WARNING(Utils::stringWithFormat("readError %d", readError));
                retVal = endConnection();
                break;
            }
            SANITY_CHECK(received == fPacketSize);
            fPacket.setPacketSize(received);
            SANITY_CHECK(fPacket.isWellFormed());
            switchToState(ReadPipeHandleState::ProcessPacket);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleProcessPacketState()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<ReadPipe> readPipe = fReadPipe.lock();
            SANITY_CHECK(readPipe);
            // A packet that does not fit its sender's string is reported there and dropped.
            readPipe->processPacket(fPacket);
            switchToState(ReadPipeHandleState::Connected);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::endConnection()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<ReadPipe> readPipe = fReadPipe.lock();
            SANITY_CHECK(readPipe);
            if (fSenderProcessID != 0) {
                SANITY_CHECK(readPipe->dropPartialString(fSenderProcessID));
            }
            switchToState(ReadPipeHandleState::DisconnectRequested);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleDisconnectRequestedState()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(closeHandle());
            switchToState(ReadPipeHandleState::Disconnected);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleDestroyRequestedState()
{
    bool retVal = false;
    try {
        do {
            if (fHandle != NO_RAW_PIPE_HANDLE) {
                SANITY_CHECK(closeHandle());
            }
            switchToState(ReadPipeHandleState::Destroyed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::handleDestroyedState()
{
    return true;
}

bool ReadPipeHandleBuffer::closeHandle()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fHandle != NO_RAW_PIPE_HANDLE);
            EXPECTED(PipeSocket::close(fHandle));
            fHandle = NO_RAW_PIPE_HANDLE;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::forceFinalState()
{
    bool retVal = false;
    try {
        do {
            if (fHandle != NO_RAW_PIPE_HANDLE) {
                SANITY_CHECK(closeHandle());
            }
            if (fState != ReadPipeHandleState::Destroyed) switchToState(ReadPipeHandleState::Destroyed);
            EXPECTED(fState == ReadPipeHandleState::Destroyed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::switchToState(ReadPipeHandleState state)
{
    bool retVal = false;
    try {
        do {
            LOG_TRACE(Pipe::handleStateSwitchText(fReadPipe.lock().get(), "ReadPipeHandleState", fHandle,
                                                  Qfn::getStateName(fState), Qfn::getStateName(state)));
            fState = state;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipeHandleBuffer::isIdle() const
{
    if (isPacketInProgress(fState)) return false;
    const bool isReading =
        fState == ReadPipeHandleState::Connected || fState == ReadPipeHandleState::ReadingPacketHeader;
    return !isReading || !PipeSocket::hasInput(fHandle);
}

}  // namespace Qfn
