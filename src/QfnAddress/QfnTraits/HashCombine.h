#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace Qfn {

// Folds the hashes of an address's fields into one, in field order.
struct HashCombine {
    static uint64_t combine(uint64_t seed, uint64_t value)
    {
        return (seed ^ value) * 1099511628211ull + 0x9e3779b97f4a7c15ull;
    }
    static uint64_t ofString(const std::string& str) { return std::hash<std::string>{}(str); }
};

}  // namespace Qfn
