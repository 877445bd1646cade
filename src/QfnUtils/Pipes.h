#pragma once

#include <cstdint>
#include <string>

#include "QfnUtils/TrailingPathCharHandling.h"

namespace Qfn {

// Placeholder of the named-pipe front until the pipe layer lands.
class Pipes {
public:
    enum class WriteStatus { None, Open, Empty, Closed, Error };
    static int openReadNamedPipe(const std::string&, TrailingPathCharHandling = TrailingPathCharHandling::Ignore) { return 0; }
    static int openWriteNamedPipe(const std::string&, unsigned long, const std::string&, TrailingPathCharHandling = TrailingPathCharHandling::Ignore) { return 0; }
    static bool closeNamedPipe(int) { return true; }
    static bool closeAll() { return true; }
    static bool readFromNamedPipe(std::string&, int, bool& isComplete, char, unsigned long* = nullptr) { isComplete = false; return true; }
    static bool writeToNamedPipe(int, const std::string&) { return false; }
    static bool namedPipeExists(const std::string&, TrailingPathCharHandling = TrailingPathCharHandling::Ignore) { return false; }
    static bool namedPipeIsActive(const std::string&, TrailingPathCharHandling = TrailingPathCharHandling::Ignore) { return false; }
    static bool deleteNamedPipe(const std::string&, TrailingPathCharHandling = TrailingPathCharHandling::Ignore) { return true; }
    static bool timeslice() { return true; }
    static bool isAllWritePipesIdle() { return true; }
    static bool isAllReadPipesIdle() { return true; }
    static WriteStatus getWritePipeStatus(int) { return WriteStatus::None; }
    static std::string getRawNamedPipePath(const std::string&) { return std::string(); }
    static void setTimes(int64_t, int64_t, int64_t) {}
};

}  // namespace Qfn
