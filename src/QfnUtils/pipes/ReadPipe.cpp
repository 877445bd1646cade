#include "QfnUtils/pipes/ReadPipe.h"

#include <cstdio>

#include "QfnLogger/Check.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Process.h"
#include "QfnUtils/Utils.h"
#include "QfnUtils/pipes/PipeMarkerFile.h"
#include "QfnUtils/pipes/PipePacket.h"
#include "QfnUtils/pipes/PipeSocket.h"
#include "QfnUtils/pipes/PipeTable.h"
#include "QfnUtils/pipes/ReadPipeBuffer.h"
#include "QfnUtils/pipes/ReadPipeHandleBuffer.h"

namespace Qfn {

namespace {

// Slots whose writer has gone, kept for the next writers rather than made anew.
constexpr size_t kMaxDisconnectedHandleBuffers = 2;
// Slots a poll gives out at the most while each new one finds a writer waiting at once.
constexpr int kMaxNewSlotsPerPoll = 8;

PipeTable<ReadPipe>& table()
{
    static PipeTable<ReadPipe>* pipes =
        new PipeTable<ReadPipe>({"removing external handle %d", "removing pipe by path %s",
                                 "cannot find read pipe by handle %d", "cannot find read pipe by path %s"});
    return *pipes;
}

}  // namespace

ReadPipe::ReadPipe(const std::string& namedPipePath) : Pipe(namedPipePath), fListenHandle(NO_RAW_PIPE_HANDLE)
{
}

ReadPipe::~ReadPipe()
{
    try {
        for (const auto& readPipeHandleBuffer : fReadPipeHandleBufferPool)
            readPipeHandleBuffer->forceFinalState();
        for (const auto& readPipeHandleBuffer : fDisconnectedHandleBuffers)
            readPipeHandleBuffer->forceFinalState();
        if (fListenHandle != NO_RAW_PIPE_HANDLE) PipeSocket::close(fListenHandle);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

std::shared_ptr<ReadPipe> ReadPipe::factory(const std::string& namedPipePath)
{
    std::shared_ptr<ReadPipe> retVal;
    try {
        do {
            std::shared_ptr<ReadPipe> existing = table().findByPath(namedPipePath);
            if (existing) {
                SANITY_CHECK(existing->openCountIncrement());
                retVal = existing;
                break;
            }
            std::shared_ptr<ReadPipe> readPipe(new ReadPipe(namedPipePath));
            SANITY_CHECK(readPipe->open());
            SANITY_CHECK(readPipe->openCountIncrement());
            table().add(readPipe);
            retVal = readPipe;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<ReadPipe> ReadPipe::findPipe(int handle)
{
    return table().findByHandle(handle);
}

std::shared_ptr<ReadPipe> ReadPipe::getPipe(int handle)
{
    std::shared_ptr<ReadPipe> retVal = findPipe(handle);
    if (!retVal) LOG_NOTE(Utils::stringWithFormat("pipe handle %d not found", handle));
    return retVal;
}

bool ReadPipe::open()
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! fNamedPipePath.empty());
            // clang-format on
            SANITY_CHECK(fPipeExternalHandle != 0);
            SANITY_CHECK(fState != ReadPipeState::Open);
            int createNamedPipeError = 0;
            fListenHandle = PipeSocket::listen(fRawNamedPipePath, createNamedPipeError);
            if (fListenHandle == NO_RAW_PIPE_HANDLE) {
                LOG_ERROR(Utils::stringWithFormat("%s (%d): createNamedPipeError %d", fNamedPipePath.c_str(),
                                                  fPipeExternalHandle, createNamedPipeError));
                break;
            }
            SANITY_CHECK(refreshProxyIniFile());
            std::shared_ptr<ReadPipeHandleBuffer> readPipeHandleBuffer =
                ReadPipeHandleBuffer::factory(shared_from_this());
            SANITY_CHECK(readPipeHandleBuffer);
            fReadPipeHandleBufferPool.push_back(readPipeHandleBuffer);
            switchToState(ReadPipeState::Open);
            retVal = true;
        } while (false);
        if (!retVal && fListenHandle != NO_RAW_PIPE_HANDLE) {
            PipeSocket::close(fListenHandle);
            fListenHandle = NO_RAW_PIPE_HANDLE;
            PipeSocket::removeSocketFile(fRawNamedPipePath);
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::refreshProxyIniFile()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Dirs::mkDir(Dirs::getParentPath(fNamedPipePath), DirRecurse::RECURSE));
            SANITY_CHECK(PipeMarkerFile::write(fNamedPipePath, fRawNamedPipePath));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::poll()
{
    bool retVal = false;
    try {
        do {
            if (fState != ReadPipeState::Open) {
                LOG_ERROR("pipe in error state");
                break;
            }
            // The list may change while a slot runs: walk a copy.
            const std::vector<std::shared_ptr<ReadPipeHandleBuffer>> pool = fReadPipeHandleBufferPool;
            for (const auto& readPipeHandleBuffer : pool)
                readPipeHandleBuffer->poll();
            SANITY_CHECK(managePool());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::managePool()
{
    bool retVal = false;
    try {
        do {
            bool hasFreeSlot = false;
            std::vector<std::shared_ptr<ReadPipeHandleBuffer>> kept;
            for (const auto& readPipeHandleBuffer : fReadPipeHandleBufferPool) {
                const ReadPipeHandleState state = readPipeHandleBuffer->getState();
                if (state == ReadPipeHandleState::Destroyed) {
                    LOG_NOTE(Utils::stringWithFormat("releasing a destroyed pipe (%d)",
                                                     readPipeHandleBuffer->getID()));
                } else if (state == ReadPipeHandleState::Disconnected) {
                    LOG_NOTE(
                        Utils::stringWithFormat("adding a disconnected pipe (%d) to the list of disconnects",
                                                readPipeHandleBuffer->getID()));
                    fDisconnectedHandleBuffers.push_back(readPipeHandleBuffer);
                } else {
                    hasFreeSlot = hasFreeSlot || state == ReadPipeHandleState::ConnectionPending;
                    kept.push_back(readPipeHandleBuffer);
                }
            }
            fReadPipeHandleBufferPool = std::move(kept);
            for (int made = 0; !hasFreeSlot && made < kMaxNewSlotsPerPoll; ++made) {
                std::shared_ptr<ReadPipeHandleBuffer> readPipeHandleBuffer = takeFreeSlot();
                SANITY_CHECK(readPipeHandleBuffer);
                fReadPipeHandleBufferPool.push_back(readPipeHandleBuffer);
                readPipeHandleBuffer->poll();
                // Only a slot that took a writer calls for another one now; one that waits, or
                // failed to take one, is tried again by the next poll.
                const ReadPipeHandleState state = readPipeHandleBuffer->getState();
                hasFreeSlot = state < ReadPipeHandleState::Connected ||
                              state >= ReadPipeHandleState::DisconnectRequested;
            }
            while (fDisconnectedHandleBuffers.size() > kMaxDisconnectedHandleBuffers) {
                LOG_NOTE(Utils::stringWithFormat("discarding a disconnected pipe (%d) from the pool",
                                                 fDisconnectedHandleBuffers.back()->getID()));
                fDisconnectedHandleBuffers.back()->forceFinalState();
                fDisconnectedHandleBuffers.pop_back();
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<ReadPipeHandleBuffer> ReadPipe::takeFreeSlot()
{
    std::shared_ptr<ReadPipeHandleBuffer> retVal;
    try {
        do {
            if (!fDisconnectedHandleBuffers.empty()) {
                retVal = fDisconnectedHandleBuffers.back();
                fDisconnectedHandleBuffers.pop_back();
                LOG_NOTE(Utils::stringWithFormat("reusing a disconnected pipe (%d) for the pool",
                                                 retVal->getID()));
                break;
            }
            retVal = ReadPipeHandleBuffer::factory(shared_from_this());
            SANITY_CHECK(retVal);
            LOG_NOTE(Utils::stringWithFormat("adding a new pipe (%d) to the pool", retVal->getID()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::processPacket(const PipePacket& packet)
{
    bool retVal = false;
    try {
        do {
            const uint32_t processID = packet.getProcessID();
            const auto found = fReadPipeBuffers.find(processID);
            std::shared_ptr<ReadPipeBuffer> readPipeBuffer =
                found == fReadPipeBuffers.end() ? nullptr : found->second;
            const uint8_t* data = packet.getData();
            size_t dataSize = packet.getDataSize();
            if (packet.getPacketNumber() != 0) {
                if (!readPipeBuffer) {
                    LOG_ERROR("was expecting a packet #0 at start of buffer");
                    switchToState(ReadPipeState::Unknown);
                    break;
                }
                if (packet.getPacketNumber() != readPipeBuffer->fExpectedPacketNumber) {
                    LOG_ERROR("packet sequence error");
                    fReadPipeBuffers.erase(processID);
                    break;
                }
                if (packet.getStringNumber() != readPipeBuffer->fExpectedStringNumber) {
                    LOG_ERROR("string sequence error");
                    fReadPipeBuffers.erase(processID);
                    break;
                }
            } else {
                if (dataSize < PipePacket::kLengthSize) {
                    LOG_ERROR("No room for string length in packet");
                    break;
                }
                if (!readPipeBuffer) {
                    readPipeBuffer = ReadPipeBuffer::factory();
                    SANITY_CHECK(readPipeBuffer);
                    fReadPipeBuffers[processID] = readPipeBuffer;
                }
                // A partial string of the same process is dropped: its sender has started over.
                readPipeBuffer->reset(packet.getStringLength());
                readPipeBuffer->fExpectedStringNumber = packet.getStringNumber();
                data += PipePacket::kLengthSize;
                dataSize -= PipePacket::kLengthSize;
            }
            ++readPipeBuffer->fExpectedPacketNumber;
            if (!readPipeBuffer->append(data, dataSize)) {
                LOG_ERROR("More data received than expected");
                fReadPipeBuffers.erase(processID);
                break;
            }
            if (readPipeBuffer->isComplete()) {
                fCompleteStrings.push_back({processID, readPipeBuffer->takeString()});
                fReadPipeBuffers.erase(processID);
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::dropPartialString(uint32_t processID)
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            if (fReadPipeBuffers.erase(processID) == 0) break;
            if (!Process::isRunning(processID, "")) {
                LOG_NOTE("flushing data from dead process");
            } else {
                LOG_NOTE(Utils::stringWithFormat(
                    "dropping the unfinished string of process %lu, whose connection closed",
                    static_cast<unsigned long>(processID)));
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::read(std::string& result, bool& isComplete, char, unsigned long* senderProcessID)
{
    bool retVal = false;
    try {
        do {
            isComplete = !fCompleteStrings.empty();
            if (isComplete) {
                result = std::move(fCompleteStrings.front().text);
                if (senderProcessID) *senderProcessID = fCompleteStrings.front().processID;
                fCompleteStrings.pop_front();
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::isIdle() const
{
    if (!fCompleteStrings.empty() || !fReadPipeBuffers.empty()) return false;
    for (const auto& readPipeHandleBuffer : fReadPipeHandleBufferPool)
        if (!readPipeHandleBuffer->isIdle()) return false;
    return true;
}

bool ReadPipe::close()
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
            bool forceFinalSuccess = true;
            for (const auto& readPipeHandleBuffer : fReadPipeHandleBufferPool)
                forceFinalSuccess = readPipeHandleBuffer->forceFinalState() && forceFinalSuccess;
            for (const auto& readPipeHandleBuffer : fDisconnectedHandleBuffers)
                forceFinalSuccess = readPipeHandleBuffer->forceFinalState() && forceFinalSuccess;
            fReadPipeHandleBufferPool.clear();
            fDisconnectedHandleBuffers.clear();
            SANITY_CHECK(forceFinalSuccess);
            if (fListenHandle != NO_RAW_PIPE_HANDLE) {
                EXPECTED(PipeSocket::close(fListenHandle));
            }
            fListenHandle = NO_RAW_PIPE_HANDLE;
            EXPECTED(PipeSocket::removeSocketFile(fRawNamedPipePath));
            if (Dirs::fileExists(fNamedPipePath)) std::remove(fNamedPipePath.c_str());
            // clang-format off
            SANITY_CHECK(! Dirs::fileExists(fNamedPipePath));
            // clang-format on
            switchToState(ReadPipeState::Closed);
            SANITY_CHECK(table().remove(*this));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::closeForced()
{
    bool retVal = false;
    try {
        do {
            fOpenCount = 1;
            SANITY_CHECK(close());
            SANITY_CHECK(fReadPipeHandleBufferPool.empty());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::switchToState(ReadPipeState state)
{
    bool retVal = false;
    try {
        do {
            LOG_NOTE(stateSwitchText("ReadPipeState", getStateName(), Qfn::getStateName(state)));
            fState = state;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ReadPipe::closeAll()
{
    return table().closeAll();
}

bool ReadPipe::isAllIdle()
{
    return table().isAllIdle([](const std::shared_ptr<ReadPipe>& readPipe) { return readPipe->isIdle(); });
}

bool ReadPipe::timeslice()
{
    bool retVal = false;
    try {
        do {
            bool isAllDone = true;
            const std::vector<std::shared_ptr<ReadPipe>> pipes = table().all();
            for (const auto& readPipe : pipes)
                if (readPipe->getState() == ReadPipeState::Open) isAllDone = readPipe->poll() && isAllDone;
            for (const auto& readPipe : pipes) {
                if (readPipe->getState() != ReadPipeState::Unknown) continue;
                LOG_NOTE("error pipe goes into to close pipes");
                if (!readPipe->closeForced()) {
                    LOG_ERROR("failed to close pipe in error state");
                    isAllDone = false;
                }
            }
            retVal = isAllDone;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
