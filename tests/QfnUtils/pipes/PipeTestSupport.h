#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QfnUtils/pipes/PipePacket.h"

namespace QfnTest {

// A string of that size with bytes of every value, in an order that tells the pieces of two packets apart.
inline std::string patternString(size_t size)
{
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 131 + i / 4072);
    return text;
}

// The packets of one string, cut as a write pipe cuts it.
inline std::vector<Qfn::PipePacket> cutString(const std::string& text, uint64_t stringNumber,
                                              uint32_t processID)
{
    std::vector<Qfn::PipePacket> packets;
    uint64_t charsRemaining = text.size();
    do {
        packets.emplace_back();
        packets.back().fill(stringNumber, packets.size() - 1, processID, text, charsRemaining);
    } while (charsRemaining > 0);
    return packets;
}

}  // namespace QfnTest
