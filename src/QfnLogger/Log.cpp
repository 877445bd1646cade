#include "QfnLogger/Log.h"

#include "QfnLogger/Logger.h"

namespace Qfn::Log {

namespace {
const std::string kEmpty;
}

void addLogListener(LogListener listener)
{
    if (auto* logger = Logger::instance()) logger->addLogListener(listener);
}

int32_t getLogLevel()
{
    auto* logger = Logger::instance();
    return logger ? logger->getLogLevel() : 0;
}

bool getIsLogIPC()
{
    auto* logger = Logger::instance();
    return logger && logger->getIsLogIPC();
}

bool getIsLogScriptError()
{
    auto* logger = Logger::instance();
    return logger && logger->getIsLogScriptError();
}

bool getIsLogTiming()
{
    auto* logger = Logger::instance();
    return logger && logger->getIsLogTiming();
}

const std::string& getLogFile()
{
    auto* logger = Logger::instance();
    return logger ? logger->getLogFile() : kEmpty;
}

const std::string& getTimingLogFile()
{
    auto* logger = Logger::instance();
    return logger ? logger->getTimingLogFile() : kEmpty;
}

void logEntry(const char* file, uint32_t line, const char* function)
{
    if (auto* logger = Logger::instance()) logger->logEntry(file, line, function);
}

void logError(const char* file, uint32_t line, const char* function, const char* message)
{
    if (auto* logger = Logger::instance()) logger->logError(file, line, function, message);
}

void logExit(const char* file, uint32_t line, const char* function)
{
    if (auto* logger = Logger::instance()) logger->logExit(file, line, function);
}

void logNote(const char* file, uint32_t line, const char* function, const char* message)
{
    if (auto* logger = Logger::instance()) logger->logNote(file, line, function, message);
}

void logTiming(const char* file, uint32_t line, const char* function, const char* label, int32_t first,
               int32_t second)
{
    if (auto* logger = Logger::instance()) logger->logTiming(file, line, function, label, first, second);
}

void logTrace(const char* file, uint32_t line, const char* function, const char* message)
{
    if (auto* logger = Logger::instance()) logger->logTrace(file, line, function, message);
}

void logWarning(const char* file, uint32_t line, const char* function, const char* message)
{
    if (auto* logger = Logger::instance()) logger->logWarning(file, line, function, message);
}

void setLogFile(const std::string& path)
{
    if (auto* logger = Logger::instance()) logger->setLogFile(path);
}

void setLogLevel(int32_t level)
{
    if (auto* logger = Logger::instance()) logger->setLogLevel(level);
}

void setIsLogEntryExit(bool value)
{
    if (auto* logger = Logger::instance()) logger->setIsLogEntryExit(value);
}

void setIsLogIPC(bool value)
{
    if (auto* logger = Logger::instance()) logger->setIsLogIPC(value);
}

void setIsLogScriptError(bool value)
{
    if (auto* logger = Logger::instance()) logger->setIsLogScriptError(value);
}

void setIsLogTiming(bool value)
{
    if (auto* logger = Logger::instance()) logger->setIsLogTiming(value);
}

void setTimingLogFile(const std::string& path)
{
    if (auto* logger = Logger::instance()) logger->setTimingLogFile(path);
}

void holdLines()
{
    if (auto* logger = Logger::instance()) logger->holdLines();
}

void releaseHeldLines(bool write)
{
    if (auto* logger = Logger::instance()) logger->releaseHeldLines(write);
}

std::string throwsText(const char* what)
{
    return std::string("throws ") + (what && *what ? what : "Unknown exception");
}

}  // namespace Qfn::Log
