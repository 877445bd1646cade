#include "QfnUtils/Pipes.h"

#include <cstdio>

#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"
#include "QfnUtils/pipes/PipeMarkerFile.h"
#include "QfnUtils/pipes/PipeSocket.h"
#include "QfnUtils/pipes/PipeTimes.h"
#include "QfnUtils/pipes/ReadPipe.h"
#include "QfnUtils/pipes/WritePipe.h"

namespace Qfn {

namespace {

constexpr uint64_t kFnvOffsetBasis = 0xcbf29ce484222325ULL;
constexpr uint64_t kFnvPrime = 0x100000001b3ULL;

uint64_t fnv1a(const std::string& text)
{
    uint64_t hash = kFnvOffsetBasis;
    for (const char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= kFnvPrime;
    }
    return hash;
}

}  // namespace

bool Pipes::checkPath(const std::string& namedPipePath, TrailingPathCharHandling trailingPathCharHandling)
{
    bool retVal = false;
    try {
        do {
            // No path names no pipe: the questions answer false, the operations fail their check.
            if (namedPipePath.empty()) break;
            EXPECTED(trailingPathCharHandling == TrailingPathCharHandling::Ignore ||
                     *(namedPipePath.rbegin()) != '/');
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int Pipes::openReadNamedPipe(const std::string& namedPipePath,
                             TrailingPathCharHandling trailingPathCharHandling)
{
    int retVal = 0;
    try {
        do {
            SANITY_CHECK(checkPath(namedPipePath, trailingPathCharHandling));
            std::shared_ptr<ReadPipe> readPipe = ReadPipe::factory(namedPipePath);
            SANITY_CHECK(readPipe);
            retVal = readPipe->getPipeExternalHandle();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int Pipes::openWriteNamedPipe(const std::string& namedPipePath, unsigned long processID,
                              const std::string& coordinatorName,
                              TrailingPathCharHandling trailingPathCharHandling)
{
    int retVal = 0;
    try {
        do {
            SANITY_CHECK(checkPath(namedPipePath, trailingPathCharHandling));
            std::shared_ptr<WritePipe> writePipe =
                WritePipe::factory(namedPipePath, processID, coordinatorName);
            SANITY_CHECK(writePipe);
            retVal = writePipe->getPipeExternalHandle();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::closeNamedPipe(int handle)
{
    bool retVal = false;
    try {
        do {
            if (std::shared_ptr<ReadPipe> readPipe = ReadPipe::findPipe(handle)) {
                retVal = readPipe->close();
                break;
            }
            if (std::shared_ptr<WritePipe> writePipe = WritePipe::findPipe(handle)) {
                retVal = writePipe->requestClose();
                break;
            }
            LOG_NOTE(Utils::stringWithFormat("cannot find pipe by handle %d", handle));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::closeAll()
{
    bool retVal = false;
    try {
        do {
            const bool writePipesClosed = WritePipe::closeAll();
            const bool readPipesClosed = ReadPipe::closeAll();
            retVal = writePipesClosed && readPipesClosed;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::readFromNamedPipe(std::string& result, int handle, bool& isComplete, char separator,
                              unsigned long* senderProcessID)
{
    bool retVal = false;
    isComplete = false;
    try {
        do {
            std::shared_ptr<ReadPipe> readPipe = ReadPipe::getPipe(handle);
            if (!readPipe) break;
            retVal = readPipe->read(result, isComplete, separator, senderProcessID);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::writeToNamedPipe(int handle, const std::string& str)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<WritePipe> writePipe = WritePipe::getPipe(handle);
            if (!writePipe) break;
            retVal = writePipe->write(str);
            // What the socket takes at once goes now, not a time slice later; a pipe that fails
            // here is in its Error state, which the next time slice handles.
            if (retVal) writePipe->poll();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::namedPipeExists(const std::string& namedPipePath,
                            TrailingPathCharHandling trailingPathCharHandling)
{
    bool retVal = false;
    try {
        do {
            if (!checkPath(namedPipePath, trailingPathCharHandling)) break;
            // Any other file in the pipe folder is no pipe.
            retVal = !PipeMarkerFile::read(namedPipePath).empty();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::namedPipeIsActive(const std::string& namedPipePath,
                              TrailingPathCharHandling trailingPathCharHandling)
{
    bool retVal = false;
    try {
        do {
            if (!checkPath(namedPipePath, trailingPathCharHandling)) break;
            const std::string rawNamedPipePath = PipeMarkerFile::read(namedPipePath);
            if (rawNamedPipePath.empty()) break;
            int handle = NO_RAW_PIPE_HANDLE;
            int error = 0;
            const PipeSocket::Result result = PipeSocket::connect(rawNamedPipePath, handle, error);
            if (handle != NO_RAW_PIPE_HANDLE) PipeSocket::close(handle);
            // A full backlog is a reader that is there but busy.
            retVal = result == PipeSocket::Result::Done || result == PipeSocket::Result::WouldBlock;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::deleteNamedPipe(const std::string& namedPipePath,
                            TrailingPathCharHandling trailingPathCharHandling)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(checkPath(namedPipePath, trailingPathCharHandling));
            const std::string rawNamedPipePath = PipeMarkerFile::read(namedPipePath);
            EXPECTED(PipeSocket::removeSocketFile(
                rawNamedPipePath.empty() ? getRawNamedPipePath(namedPipePath) : rawNamedPipePath));
            VERIFY(remove(namedPipePath.c_str()) == 0);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::timeslice()
{
    bool retVal = false;
    try {
        do {
            const bool writePipesDone = WritePipe::timeslice();
            const bool readPipesDone = ReadPipe::timeslice();
            retVal = writePipesDone && readPipesDone;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipes::isAllWritePipesIdle()
{
    return WritePipe::isAllIdle();
}

bool Pipes::isAllReadPipesIdle()
{
    return ReadPipe::isAllIdle();
}

Pipes::WriteStatus Pipes::getWritePipeStatus(int handle)
{
    WriteStatus retVal = WriteStatus::None;
    try {
        do {
            std::shared_ptr<WritePipe> writePipe = WritePipe::findPipe(handle);
            if (!writePipe) break;
            switch (writePipe->getState()) {
                case WritePipeState::Error:
                    retVal = WriteStatus::Error;
                    break;
                case WritePipeState::Open:
                    retVal = writePipe->getIsBufferEmpty() ? WriteStatus::Empty : WriteStatus::Open;
                    break;
                case WritePipeState::Unknown:
                case WritePipeState::Flushing:
                case WritePipeState::Closed:
                case WritePipeState::Closing:
                    retVal = WriteStatus::Closed;
                    break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Pipes::getRawNamedPipePath(const std::string& namedPipePath)
{
    std::string retVal;
    try {
        do {
            char hash[17];
            std::snprintf(hash, sizeof hash, "%016llx",
                          static_cast<unsigned long long>(fnv1a(namedPipePath)));
            retVal = PipeSocket::getSocketFolderPath() + hash + ".sock";
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void Pipes::setTimes(int64_t sleepWaitForPipeMicroseconds, int64_t sleepStalledPipeMicroseconds,
                     int64_t killStalledPipeMicroseconds)
{
    PipeTimes& times = PipeTimes::current();
    times.sleepWaitForPipeMicroseconds = sleepWaitForPipeMicroseconds;
    times.sleepStalledPipeMicroseconds = sleepStalledPipeMicroseconds;
    times.killStalledPipeMicroseconds = killStalledPipeMicroseconds;
}

}  // namespace Qfn
