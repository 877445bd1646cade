#pragma once

#include <cstdint>
#include <string>

namespace Qfn {

using LogListener = void (*)(const std::string& line);

// The process-wide log sink; Logger is its one implementation.
class ILogger {
public:
    virtual ~ILogger() = default;
    virtual void addLogListener(LogListener listener) = 0;
    virtual int32_t getLogLevel() const = 0;
    virtual bool getIsLogIPC() const = 0;
    virtual bool getIsLogScriptError() const = 0;
    virtual bool getIsLogTiming() const = 0;
    virtual const std::string& getLogFile() const = 0;
    virtual const std::string& getTimingLogFile() const = 0;
    virtual void logEntry(const char* file, uint32_t line, const char* function) = 0;
    virtual void logError(const char* file, uint32_t line, const char* function, const char* message) = 0;
    virtual void logExit(const char* file, uint32_t line, const char* function) = 0;
    virtual void log(const char* tag, const char* file, uint32_t line, const char* function,
                     const char* message) = 0;
    virtual void logNote(const char* file, uint32_t line, const char* function, const char* message) = 0;
    virtual void logTiming(const char* file, uint32_t line, const char* function, const char* label,
                           int32_t first, int32_t second) = 0;
    virtual void logTimingLine(const char* file, uint32_t line, const char* function, const char* label,
                               int32_t first, int32_t second) = 0;
    virtual void logTrace(const char* file, uint32_t line, const char* function, const char* message) = 0;
    virtual void logWarning(const char* file, uint32_t line, const char* function, const char* message) = 0;
    virtual void setLogFile(const std::string& path) = 0;
    virtual void setLogLevel(int32_t level) = 0;
    virtual void setIsLogEntryExit(bool value) = 0;
    virtual void setIsLogIPC(bool value) = 0;
    virtual void setIsLogScriptError(bool value) = 0;
    virtual void setIsLogTiming(bool value) = 0;
    virtual void setTimingLogFile(const std::string& path) = 0;
    // Lines logged while held wait; released, they are written in order or dropped.
    virtual void holdLines() = 0;
    virtual void releaseHeldLines(bool write) = 0;
};

}  // namespace Qfn
