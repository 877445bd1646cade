#pragma once

#include <string>
#include <vector>

namespace QfnTest {

// Collects the log lines written while it lives, at the given level, and restores the tests' level
// (errors only) after. Only one capture is active at a time. Error lines written while a capture
// lives are the ones a test provokes on purpose; any other fails the test (UnexpectedErrorLines).
class LogCapture {
public:
    explicit LogCapture(int level = 4);
    ~LogCapture();

    const std::vector<std::string>& lines() const;
    // True when some line ends with the message (lines begin with the date, tag and function).
    bool hasLineEndingWith(const std::string& message) const;
    size_t countContaining(const std::string& text) const;
    void clear();
    static bool isActive();
};

// Runs fn, which is meant to fail and log it, under a capture; true when a line held text.
template <class Fn>
bool logsError(const std::string& text, Fn fn)
{
    LogCapture capture(1);
    fn();
    return capture.countContaining(text) > 0;
}

}  // namespace QfnTest
