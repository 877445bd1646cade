#pragma once

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

    // Listens under the marker file namedPipePath (made, with its folder); 0 on failure.
    static int openReadNamedPipe(
        const std::string& namedPipePath,
        TrailingPathCharHandling trailingPathCharHandling = TrailingPathCharHandling::Ignore);
    static bool closeNamedPipe(int handle);
    static bool closeAll();
    // The next complete string of a read pipe; isComplete false when none waits. Strings are whole
    // messages: the separator splits nothing. senderProcessID (may be null) gets the sender's process.
    static bool readFromNamedPipe(std::string& result, int handle, bool& isComplete, char separator,
                                  unsigned long* senderProcessID = nullptr);
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
    static bool timeslice();
    // No write pipes yet: they are all idle.
    static bool isAllWritePipesIdle() { return true; }
    static bool isAllReadPipesIdle();
    // The socket of a marker file: the socket folder, 16 hexadecimal digits of the FNV-1a hash of
    // the marker path, ".sock".
    static std::string getRawNamedPipePath(const std::string& namedPipePath);

private:
    // Warns of a trailing separator unless told to ignore it; false, without a line, for an empty path.
    static bool checkPath(const std::string& namedPipePath,
                          TrailingPathCharHandling trailingPathCharHandling);
};

}  // namespace Qfn
