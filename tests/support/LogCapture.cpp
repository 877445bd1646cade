#include "support/LogCapture.h"

#include "QfnLogger/Log.h"

namespace QfnTest {

namespace {

std::vector<std::string>& capturedLines()
{
    static std::vector<std::string> lines;
    return lines;
}

// Captures nest: the lines go on being collected until the outermost one ends.
int& captureDepth()
{
    static int depth = 0;
    return depth;
}

bool isCapturing()
{
    return captureDepth() > 0;
}

void collect(const std::string& line)
{
    if (isCapturing()) capturedLines().push_back(line);
}

}  // namespace

LogCapture::LogCapture(int level)
{
    static bool installed = false;
    if (!installed) {
        Qfn::Log::addLogListener(collect);
        installed = true;
    }
    if (captureDepth()++ == 0) capturedLines().clear();
    // Lines also reach the file; keep test output quiet by sending them to /dev/null.
    Qfn::Log::setLogFile("/dev/null");
    Qfn::Log::setLogLevel(level);
}

LogCapture::~LogCapture()
{
    if (--captureDepth() == 0) Qfn::Log::setLogLevel(1);
}

const std::vector<std::string>& LogCapture::lines() const
{
    return capturedLines();
}

bool LogCapture::hasLineEndingWith(const std::string& message) const
{
    for (const auto& line : capturedLines()) {
        if (line.size() >= message.size() &&
            line.compare(line.size() - message.size(), message.size(), message) == 0)
            return true;
    }
    return false;
}

size_t LogCapture::countContaining(const std::string& text) const
{
    size_t count = 0;
    for (const auto& line : capturedLines())
        count += line.find(text) != std::string::npos ? 1 : 0;
    return count;
}

void LogCapture::clear()
{
    capturedLines().clear();
}

bool LogCapture::isActive()
{
    return isCapturing();
}

}  // namespace QfnTest
