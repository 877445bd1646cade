#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Qfn {

// The string one sender is in the middle of: what its next packet must say and the bytes so far.
class ReadPipeBuffer {
public:
    static std::shared_ptr<ReadPipeBuffer> factory();

    // A new string of that length: any partial one is dropped; the string number is not known yet.
    void reset(uint64_t totalLength);
    // False when the data would pass the stated length (nothing is appended then).
    bool append(const uint8_t* data, size_t size);
    bool isComplete() const { return fText.size() == fTotalLength; }
    std::string takeString() { return std::move(fText); }

    uint64_t fExpectedStringNumber = UINT64_MAX;
    uint64_t fExpectedPacketNumber = 0;
    uint64_t fTotalLength = 0;

private:
    ReadPipeBuffer() = default;

    std::string fText;
};

}  // namespace Qfn
