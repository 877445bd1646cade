#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "QfnUtils/Pipes.h"
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

// Runs the pipes' time slices until the condition holds or the time is up.
inline bool pumpUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        Qfn::Pipes::timeslice();
    }
    return true;
}

// The strings a read pipe has complete now.
inline std::vector<std::string> readAll(int handle, std::vector<unsigned long>* senders = nullptr)
{
    std::vector<std::string> strings;
    std::string text;
    bool isComplete = false;
    unsigned long sender = 0;
    while (Qfn::Pipes::readFromNamedPipe(text, handle, isComplete, 10, &sender) && isComplete) {
        strings.push_back(text);
        if (senders) senders->push_back(sender);
    }
    return strings;
}

}  // namespace QfnTest
