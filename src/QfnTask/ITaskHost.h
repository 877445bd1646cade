#pragma once

#include <cstdint>
#include <memory>

#include "QfnTask/Forward.h"

namespace Qfn {

// What tasks need of the program they run in: its pacing settings, its default streams, and the
// value that carries a bare bool result. The coordinator implements it and installs it with
// Task::setHost; without a host tasks run with the defaults below and have no default streams.
class ITaskHost {
public:
    // The pacing a coordinator starts with, and tasks without a host keep.
    static constexpr int64_t kDefaultTimeoutMicroseconds = 10000000;
    static constexpr int64_t kDefaultEventLoopMicroseconds = 10000;
    static constexpr int64_t kDefaultEventLoopSleepMicroseconds = 1000;
    static constexpr int64_t kDefaultTimesliceMicroseconds = 10000;

    virtual ~ITaskHost() = default;

    // False once the host has shut down: a task's slice then fails.
    virtual bool isAvailable() = 0;
    virtual int64_t getDefaultTimeoutMicroseconds() = 0;
    virtual int64_t getEventLoopMicroseconds() = 0;
    virtual int64_t getEventLoopSleepMicroseconds() = 0;
    virtual int64_t getTimesliceMicroseconds() = 0;
    // The prompted console stream a task without one of its own reads from.
    virtual std::shared_ptr<InputStream> makeDefaultInputStream() = 0;
    virtual std::shared_ptr<OutputStream> getDefaultOutputStream() = 0;
    // The output side of a prompted stream, or empty when the stream is not a prompted one.
    virtual std::shared_ptr<OutputStream> getPromptedOutputStream(
        const std::shared_ptr<InputStream>& stream) = 0;
    virtual std::shared_ptr<IOMNode> makeBoolNode(bool value) = 0;
};

}  // namespace Qfn
