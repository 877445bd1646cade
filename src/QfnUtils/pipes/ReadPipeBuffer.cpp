#include "QfnUtils/pipes/ReadPipeBuffer.h"

#include <algorithm>

#include "QfnLogger/Check.h"

namespace Qfn {

namespace {

// Room taken ahead for a string of a stated length; a larger one grows as its packets come.
constexpr uint64_t kMaxReserve = 16 * 1024 * 1024;

}  // namespace

std::shared_ptr<ReadPipeBuffer> ReadPipeBuffer::factory()
{
    std::shared_ptr<ReadPipeBuffer> retVal;
    try {
        do {
            retVal.reset(new ReadPipeBuffer());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void ReadPipeBuffer::reset(uint64_t totalLength)
{
    fExpectedStringNumber = UINT64_MAX;
    fExpectedPacketNumber = 0;
    fTotalLength = totalLength;
    fText.clear();
    fText.reserve(static_cast<size_t>(std::min(totalLength, kMaxReserve)));
}

bool ReadPipeBuffer::append(const uint8_t* data, size_t size)
{
    bool retVal = false;
    try {
        do {
            if (size > fTotalLength - fText.size()) break;
            fText.append(reinterpret_cast<const char*>(data), size);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
