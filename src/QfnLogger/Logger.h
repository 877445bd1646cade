#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "QfnLogger/ILogger.h"
#include "QfnLogger/RepeatFilter.h"

namespace Qfn {

// Writes dated, tagged lines to standard error or an append-per-line log file, and to listeners.
// It is not an Object: it must work before anything else exists and during static initialisation.
class Logger : public virtual ILogger {
public:
    // The single logger; empty once it has been destroyed at process exit.
    static std::shared_ptr<ILogger> getLogger();
    // The same logger without touching its reference count: the hot path of every level test.
    static ILogger* instance();

    ~Logger() override;

    void addLogListener(LogListener listener) override;
    int32_t getLogLevel() const override { return fLogLevel; }
    bool getIsLogIPC() const override { return fIsLogIPC; }
    bool getIsLogScriptError() const override { return fIsLogScriptError; }
    bool getIsLogTiming() const override { return fIsLogTiming; }
    const std::string& getLogFile() const override { return fLogFile; }
    const std::string& getTimingLogFile() const override { return fTimingLogFile; }
    void logEntry(const char* file, uint32_t line, const char* function) override;
    void logError(const char* file, uint32_t line, const char* function, const char* message) override;
    void logExit(const char* file, uint32_t line, const char* function) override;
    void log(const char* tag, const char* file, uint32_t line, const char* function,
             const char* message) override;
    void logNote(const char* file, uint32_t line, const char* function, const char* message) override;
    void logTiming(const char* file, uint32_t line, const char* function, const char* label, int32_t first,
                   int32_t second) override;
    void logTimingLine(const char* file, uint32_t line, const char* function, const char* label,
                       int32_t first, int32_t second) override;
    void logTrace(const char* file, uint32_t line, const char* function, const char* message) override;
    void logWarning(const char* file, uint32_t line, const char* function, const char* message) override;
    void setLogFile(const std::string& path) override { fLogFile = path; }
    void setLogLevel(int32_t level) override { fLogLevel = level; }
    void setIsLogEntryExit(bool value) override;
    void setIsLogIPC(bool value) override { fIsLogIPC = value; }
    void setIsLogScriptError(bool value) override { fIsLogScriptError = value; }
    void setIsLogTiming(bool value) override;
    void setTimingLogFile(const std::string& path) override { fTimingLogFile = path; }
    // Holds the lines of the calling thread only: other threads' lines are never held with them.
    void holdLines() override;
    void releaseHeldLines(bool write) override;

    // The date and time of a log line, "%d-%m-%Y %H:%M:%S" in local time.
    static std::string timeStamp();
    // A right-aligned ten-character column of a timing line; blank for negative numbers.
    static std::string timingColumn(int32_t value);

private:
    Logger() = default;
    void writeLine(const std::string& line);
    void writeOut(const std::string& line);
    // Tells how many repeated lines were held back, if any were.
    void writeHeldBackCount();

    int32_t fLogLevel = 0;
    bool fIsLogEntryExit = false;
    std::string fLogFile;
    bool fIsLogIPC = false;
    bool fIsLogScriptError = false;
    bool fIsLogTiming = false;
    std::string fTimingLogFile;
    std::vector<LogListener> fLogListeners;
    bool fIsHolding = false;
    std::thread::id fHoldingThread;
    // Lines come from any thread: one is written (and counted by the repeat filter) at a time.
    std::mutex fMutex;
    std::vector<std::string> fHeldLines;
    RepeatFilter fRepeats;
};

}  // namespace Qfn
