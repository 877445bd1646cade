#pragma once

#include <cstdint>
#include <string>

#include "QfnUtils/TrailingPathCharHandling.h"

namespace Qfn {

// The named pipes between coordinators of one host: each coordinator reads from its own pipe and
// writes to the pipes of the siblings it talks to. A pipe is a Unix-domain packet socket that a
// marker file (an ini file in the pipe folder) names. Handles are small integers, 0 meaning none;
// nothing here blocks, and timeslice moves the data, called from the coordinator's rounds.
class Pipes {
public:
    Pipes() = delete;

    // What a write pipe's handle stands for now.
    enum class WriteStatus {
        None,    // no write pipe has that handle
        Open,    // strings are waiting to go
        Empty,   // open, and nothing queued or on its way
        Closed,  // closing or closed
        Error    // given up: the next timeslice closes it
    };

    // Listens under the marker file namedPipePath (made, with its folder); 0 on failure.
    static int openReadNamedPipe(
        const std::string& namedPipePath,
        TrailingPathCharHandling trailingPathCharHandling = TrailingPathCharHandling::Ignore);
    // A queue to the read pipe of that marker file, whose process (0: not watched) and coordinator
    // name are given; 0 on failure.
    static int openWriteNamedPipe(
        const std::string& namedPipePath, unsigned long processID, const std::string& coordinatorName,
        TrailingPathCharHandling trailingPathCharHandling = TrailingPathCharHandling::Ignore);
    // A read pipe closes at once; a write pipe first sends what is queued.
    static bool closeNamedPipe(int handle);
    static bool closeAll();
    // The next complete string of a read pipe; isComplete false when none waits. Strings are whole
    // messages: the separator splits nothing. senderProcessID (may be null) gets the sender's process.
    static bool readFromNamedPipe(std::string& result, int handle, bool& isComplete, char separator,
                                  unsigned long* senderProcessID = nullptr);
    static bool writeToNamedPipe(int handle, const std::string& str);
    // A marker file naming a socket is there.
    static bool namedPipeExists(
        const std::string& namedPipePath,
        TrailingPathCharHandling trailingPathCharHandling = TrailingPathCharHandling::Ignore);
    // A connection to the pipe's socket succeeds.
    static bool namedPipeIsActive(
        const std::string& namedPipePath,
        TrailingPathCharHandling trailingPathCharHandling = TrailingPathCharHandling::Ignore);
    // Removes the marker file and its socket file; false when there was no marker file.
    static bool deleteNamedPipe(
        const std::string& namedPipePath,
        TrailingPathCharHandling trailingPathCharHandling = TrailingPathCharHandling::Ignore);
    // Write pipes first, then read pipes.
    static bool timeslice();
    static bool isAllWritePipesIdle();
    static bool isAllReadPipesIdle();
    static WriteStatus getWritePipeStatus(int handle);
    // The socket of a marker file: the socket folder, 16 hexadecimal digits of the FNV-1a hash of
    // the marker path, ".sock".
    static std::string getRawNamedPipePath(const std::string& namedPipePath);
    static void setTimes(int64_t sleepWaitForPipeMicroseconds, int64_t sleepStalledPipeMicroseconds,
                         int64_t killStalledPipeMicroseconds);

private:
    // Warns of a trailing separator unless told to ignore it; false, without a line, for an empty path.
    static bool checkPath(const std::string& namedPipePath,
                          TrailingPathCharHandling trailingPathCharHandling);
};

}  // namespace Qfn
