#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Qfn {

// Cuts the bytes of a gateway connection into its lines: byte 13 ends a line, bytes 10 and zero
// bytes are dropped wherever they stand, and empty lines are skipped, so that CR LF, LF CR and a
// bare CR all end a line alike. What follows the last line end waits for the next bytes.
class LineSplitter {
public:
    // A line longer than this is no message: the connection that sends it is dropped.
    static constexpr size_t kMaxLineBytes = 16 * 1024 * 1024;

    // Appends the complete lines (still escaped) to lines; false when a line outgrew the limit.
    bool append(const char* data, size_t size, std::vector<std::string>& lines);
    size_t getPendingSize() const { return fPending.size(); }

private:
    std::string fPending;
};

}  // namespace Qfn
