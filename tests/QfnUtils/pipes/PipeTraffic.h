#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

// The strings that the writer processes send and the reader expects: string number index of
// writer number writer, of a size up to 64 KB (0 included) and with bytes of every value, made
// again the same from the two numbers.
namespace QfnTest::PipeTraffic {

constexpr size_t kMaxStringSize = 64 * 1024;

inline uint64_t mix(uint64_t x)
{
    x += 0x9e3779b97f4a7c15ULL;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

inline std::string makeString(uint64_t writer, uint64_t index)
{
    uint64_t state = mix((writer << 40) ^ index);
    std::string text(static_cast<size_t>(state % (kMaxStringSize + 1)), '\0');
    for (size_t at = 0; at < text.size(); at += sizeof state) {
        state = mix(state);
        std::memcpy(text.data() + at, &state, std::min(sizeof state, text.size() - at));
    }
    return text;
}

}  // namespace QfnTest::PipeTraffic
