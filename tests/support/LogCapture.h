#pragma once

#include <string>
#include <vector>

namespace QfnTest {

// Collects the log lines written while it lives, at the given level, and restores level 0 after.
// Only one capture is active at a time; lines go to standard error as well unless a log file is set.
class LogCapture {
public:
    explicit LogCapture(int level = 4);
    ~LogCapture();

    const std::vector<std::string>& lines() const;
    // True when some line ends with the message (lines begin with the date, tag and function).
    bool hasLineEndingWith(const std::string& message) const;
    size_t countContaining(const std::string& text) const;
    void clear();
};

}  // namespace QfnTest
