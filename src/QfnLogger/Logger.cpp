#include "QfnLogger/Logger.h"

#include <cstdio>
#include <ctime>
#include <string_view>

#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"

namespace Qfn {

namespace {

std::shared_ptr<ILogger>& loggerSlot()
{
    static std::shared_ptr<ILogger> slot;
    return slot;
}

bool& loggerWasCreated()
{
    static bool created = false;
    return created;
}

ILogger* gLoggerInstance = nullptr;

// Opens the named file for appending, or gives standard error when the name is empty.
FILE* openOutput(const std::string& path, bool& opened)
{
    opened = false;
    if (path.empty()) return stderr;
    FILE* out = std::fopen(path.c_str(), "a");
    opened = out != nullptr;
    return out;
}

}  // namespace

std::shared_ptr<ILogger> Logger::getLogger()
{
    if (!loggerWasCreated()) {
        loggerWasCreated() = true;
        loggerSlot() = std::shared_ptr<ILogger>(new Logger());
        gLoggerInstance = loggerSlot().get();
    }
    return loggerSlot();
}

ILogger* Logger::instance()
{
    if (!loggerWasCreated()) getLogger();
    return gLoggerInstance;
}

Logger::~Logger()
{
    writeHeldBackCount();
    gLoggerInstance = nullptr;
}

std::string Logger::timeStamp()
{
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[80];
    size_t length = std::strftime(buffer, sizeof(buffer), "%d-%m-%Y %H:%M:%S", &local);
    return std::string(buffer, length);
}

std::string Logger::timingColumn(int32_t value)
{
    std::string column(10, ' ');
    if (value >= 0) column += std::to_string(value);
    return column.substr(column.size() - 10);
}

void Logger::addLogListener(LogListener listener)
{
    if (listener) fLogListeners.push_back(listener);
}

void Logger::log(const char* tag, const char*, uint32_t, const char* function, const char* message)
{
    std::string line = timeStamp();
    line += ' ';
    line += tag ? tag : "";
    line += ": in ";
    line += function ? function : "";
    line += ' ';
    line += message ? message : "";
    std::lock_guard<std::mutex> lock(fMutex);
    if (fIsHolding && std::this_thread::get_id() == fHoldingThread) {
        fHeldLines.push_back(std::move(line));
        return;
    }
    writeLine(line);
}

void Logger::holdLines()
{
    std::lock_guard<std::mutex> lock(fMutex);
    fIsHolding = true;
    fHoldingThread = std::this_thread::get_id();
}

void Logger::releaseHeldLines(bool write)
{
    std::lock_guard<std::mutex> lock(fMutex);
    fIsHolding = false;
    if (write) {
        for (const std::string& line : fHeldLines)
            writeLine(line);
    }
    fHeldLines.clear();
}

// Listeners hear every line; the log itself gets a burst of repeats counted instead of written.
void Logger::writeLine(const std::string& line)
{
    for (LogListener listener : fLogListeners)
        listener(line);
    // "dd-mm-yyyy HH:MM:SS ": repeats differ in their time stamps only.
    constexpr size_t kStampLength = 20;
    if (!fRepeats.admit(std::string_view(line).substr(line.size() > kStampLength ? kStampLength : 0))) return;
    writeHeldBackCount();
    writeOut(line);
}

void Logger::writeHeldBackCount()
{
    std::string tag;
    const size_t heldBack = fRepeats.takeHeldBack(tag);
    if (heldBack == 0) return;
    writeOut(timeStamp() + ' ' + tag + ": " + std::to_string(heldBack) +
             " more lines like the ones above were not written");
}

void Logger::writeOut(const std::string& line)
{
    bool opened = false;
    FILE* out = openOutput(fLogFile, opened);
    if (!out) return;
    std::fwrite(line.data(), 1, line.size(), out);
    std::fputc('\n', out);
    if (opened) std::fclose(out);
}

void Logger::logError(const char* file, uint32_t line, const char* function, const char* message)
{
    if (fLogLevel >= 1) log("ERROR", file, line, function, message);
}

void Logger::logWarning(const char* file, uint32_t line, const char* function, const char* message)
{
    if (fLogLevel >= 2) log("WARN ", file, line, function, message);
}

void Logger::logNote(const char* file, uint32_t line, const char* function, const char* message)
{
    if (fLogLevel >= 3) log("NOTE ", file, line, function, message);
}

void Logger::logTrace(const char* file, uint32_t line, const char* function, const char* message)
{
    if (fLogLevel >= 4) log("TRACE", file, line, function, message);
}

void Logger::logEntry(const char* file, uint32_t line, const char* function)
{
    if (fIsLogEntryExit) log("ENTRY >>>", file, line, function, "");
}

void Logger::logExit(const char* file, uint32_t line, const char* function)
{
    if (fIsLogEntryExit) log("<<<  EXIT", file, line, function, "");
}

void Logger::setIsLogEntryExit(bool value)
{
    // Entry and exit lines need code generated at compile time, which this build does not carry.
    if (value) {
        logError(__FILE__, __LINE__, __PRETTY_FUNCTION__,
                 "code is not instrumented with entry/exit code. Change ADD_LOG_ENTRY_EXIT_CODE and "
                 "recompile.");
    }
}

void Logger::setIsLogTiming(bool value)
{
    if (value)
        logWarning(__FILE__, __LINE__, __PRETTY_FUNCTION__, QFN_CHECK_TEXT("EXPECTED", "! isLogTiming"));
    fIsLogTiming = value;
}

void Logger::logTiming(const char* file, uint32_t line, const char* function, const char* label,
                       int32_t first, int32_t second)
{
    if (fIsLogTiming) logTimingLine(file, line, function, label, first, second);
}

void Logger::logTimingLine(const char*, uint32_t, const char* function, const char* label, int32_t first,
                           int32_t second)
{
    std::string date = timeStamp();
    bool opened = false;
    FILE* out = openOutput(fTimingLogFile, opened);
    if (!out) return;
    const char* format = first < 0 ? "%s %s %s: in %s: start (%s)\n" : "%s %s %s: in %s: elapsed (%s)\n";
    std::fprintf(out, format, timingColumn(second).c_str(), timingColumn(first).c_str(), date.c_str(),
                 function ? function : "", label ? label : "");
    if (opened) std::fclose(out);
}

}  // namespace Qfn
