#pragma once

#include <cstdint>
#include <string>

#include "QfnLogger/ILogger.h"

// The static twins of the logger's operations: each fetches the logger and forwards the call,
// doing nothing (or answering 0, false, "") once the logger is gone.
namespace Qfn::Log {

void addLogListener(LogListener listener);
int32_t getLogLevel();
bool getIsLogIPC();
bool getIsLogScriptError();
bool getIsLogTiming();
const std::string& getLogFile();
const std::string& getTimingLogFile();
void logEntry(const char* file, uint32_t line, const char* function);
void logError(const char* file, uint32_t line, const char* function, const char* message);
void logExit(const char* file, uint32_t line, const char* function);
void logNote(const char* file, uint32_t line, const char* function, const char* message);
void logTiming(const char* file, uint32_t line, const char* function, const char* label, int32_t first,
               int32_t second);
void logTrace(const char* file, uint32_t line, const char* function, const char* message);
void logWarning(const char* file, uint32_t line, const char* function, const char* message);
void setLogFile(const std::string& path);
void setLogLevel(int32_t level);
void setIsLogEntryExit(bool value);
void setIsLogIPC(bool value);
void setIsLogScriptError(bool value);
void setIsLogTiming(bool value);
void setTimingLogFile(const std::string& path);
void holdLines();
void releaseHeldLines(bool write);

inline const char* messageText(const char* message) { return message; }
inline const char* messageText(const std::string& message) { return message.c_str(); }

// "throws %s" with the exception's text, "Unknown exception" when it has none.
std::string throwsText(const char* what);

}  // namespace Qfn::Log
