#include "QfnObject/GUIDClass.h"

#include <array>
#include <memory>
#include <random>
#include <string_view>
#include <unordered_map>

#include "QfnLogger/Check.h"

namespace Qfn {

namespace {

using UInt128 = unsigned __int128;

constexpr char kCompactAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kHexSeparators = "_-[]{}()";

struct RawGUIDHash {
    size_t operator()(const TRawGUID& raw) const { return raw.high ^ raw.low; }
};

struct RawGUIDEqual {
    bool operator()(const TRawGUID& a, const TRawGUID& b) const { return a.high == b.high && a.low == b.low; }
};

// The table owns its GUIDs; it only grows, and frees them when it is destroyed at process exit.
using InternTable = std::unordered_map<TRawGUID, std::unique_ptr<GUIDClass>, RawGUIDHash, RawGUIDEqual>;

// A function-local static, so that GUIDs can be made during static initialisation.
InternTable& internTable() {
    static InternTable table;
    return table;
}

const std::string& emptyString() {
    static const std::string empty;
    return empty;
}

// Character to its six-bit value in the compact alphabet, -1 outside it.
const std::array<int8_t, 256>& compactDecodingTable() {
    static const std::array<int8_t, 256> table = [] {
        std::array<int8_t, 256> decoding;
        decoding.fill(-1);
        for (int8_t index = 0; index < 64; ++index) {
            decoding[static_cast<unsigned char>(kCompactAlphabet[index])] = index;
        }
        return decoding;
    }();
    return table;
}

int compactValue(char c) {
    return compactDecodingTable()[static_cast<unsigned char>(c)];
}

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

UInt128 toUInt128(TRawGUID raw) {
    return (static_cast<UInt128>(raw.high) << 64) | raw.low;
}

TRawGUID toRawGUID(UInt128 value) {
    return TRawGUID{static_cast<uint64_t>(value >> 64), static_cast<uint64_t>(value)};
}

std::string hexText(UInt128 value, GUIDStringFormat format) {
    bool isUpper = format == GUIDStringFormat::UPPERCASE || format == GUIDStringFormat::UPPERCASE_DASHED;
    bool isDashed =
        format == GUIDStringFormat::LOWERCASE_DASHED || format == GUIDStringFormat::UPPERCASE_DASHED;
    const char* digits = isUpper ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    text.reserve(36);
    for (int index = 0; index < 32; ++index) {
        if (isDashed && (index == 8 || index == 12 || index == 16 || index == 20)) text += '-';
        text += digits[static_cast<unsigned>(value >> (124 - 4 * index)) & 0xF];
    }
    return text;
}

}  // namespace

GUIDClass::~GUIDClass() {
    delete fCachedString;
    delete fCachedCompactString;
}

TRawGUID GUIDClass::get() const {
    return fValue;
}

GUIDClass* GUIDClass::nullGUID() {
    static GUIDClass nullInstance(TRawGUID{0, 0});
    return &nullInstance;
}

GUIDClass* GUIDClass::factory(TRawGUID raw) {
    GUIDClass* retVal = nullptr;
    try {
        do {
            if (raw.high == 0 && raw.low == 0) {
                retVal = nullGUID();
                break;
            }
            InternTable& table = internTable();
            auto found = table.find(raw);
            if (found == table.end()) {
                std::unique_ptr<GUIDClass> guid(new GUIDClass(raw));
                found = table.emplace(raw, std::move(guid)).first;
            }
            retVal = found->second.get();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* GUIDClass::factory(const GUIDClass& other) {
    return factory(other.get());
}

GUIDClass* GUIDClass::factory(const std::string& str) {
    GUIDClass* retVal = nullptr;
    try {
        do {
            if (str.length() == 22) {
                retVal = factory22(str);
                break;
            }
            // Anything but a hexadecimal digit is skipped; digits beyond 32 push the first ones out.
            UInt128 value = 0;
            for (char c : str) {
                int digit = hexDigitValue(c);
                if (digit >= 0) value = (value << 4) + static_cast<unsigned>(digit);
            }
            retVal = factory(toRawGUID(value));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* GUIDClass::factory22(const std::string& str) {
    GUIDClass* retVal = nullptr;
    try {
        do {
            SANITY_CHECK(str.length() == 22);
            // Read from the last character, which holds the top bits; the 4 bits above 128 fall off.
            UInt128 value = 0;
            int nib6Count = 0;
            for (auto it = str.rbegin(); it != str.rend(); ++it) {
                int nib6 = compactValue(*it);
                SANITY_CHECK(nib6 >= 0);
                value = (value << 6) + static_cast<unsigned>(nib6);
                ++nib6Count;
            }
            // Also leaves the function when a bad character broke the loop above.
            SANITY_CHECK(nib6Count == 22);
            retVal = factory(toRawGUID(value));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* GUIDClass::randomFactory() {
    GUIDClass* retVal = nullptr;
    try {
        do {
            static std::mt19937_64 generator;
            static bool isSeeded = false;
            if (!isSeeded) {
                std::random_device device;
                uint64_t first = device();
                uint64_t second = device();
                generator.seed((first << 32) ^ second);
                isSeeded = true;
            }
            TRawGUID raw;
            raw.high = generator();
            raw.low = generator();
            retVal = factory(raw);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool GUIDClass::isGUIDStr(const std::string& str) {
    bool retVal = false;
    try {
        do {
            // Both candidate forms are followed in one pass until both have died.
            int compactCount = 0;
            bool isCompactAlive = true;
            int hexDigitCount = 0;
            bool isHexAlive = true;
            for (char c : str) {
                if (isCompactAlive && (compactValue(c) < 0 || ++compactCount == 23)) isCompactAlive = false;
                if (isHexAlive) {
                    if (hexDigitValue(c) >= 0) {
                        if (++hexDigitCount == 33) isHexAlive = false;
                    } else if (kHexSeparators.find(c) == std::string_view::npos) {
                        isHexAlive = false;
                    }
                }
                if (!isCompactAlive && !isHexAlive) break;
            }
            retVal = (isHexAlive && hexDigitCount == 32) || (isCompactAlive && compactCount == 22);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::string& GUIDClass::toString(GUIDStringFormat format) {
    const std::string* retVal = &emptyString();
    try {
        do {
            if (format == GUIDStringFormat::COMPACT) {
                retVal = &toCompactStr();
                break;
            }
            if (!fCachedString || fCachedFormat != format) {
                auto text = std::make_unique<std::string>(hexText(toUInt128(fValue), format));
                delete fCachedString;
                fCachedString = text.release();
                fCachedFormat = format;
            }
            retVal = fCachedString;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return *retVal;
}

const std::string& GUIDClass::toCompactStr() const {
    const std::string* retVal = &emptyString();
    try {
        do {
            if (!fCachedCompactString) {
                // The first character holds the lowest six bits, the reverse of the hexadecimal forms.
                auto text = std::make_unique<std::string>();
                text->reserve(22);
                UInt128 value = toUInt128(fValue);
                for (int index = 0; index < 22; ++index) {
                    *text += kCompactAlphabet[static_cast<unsigned>(value) & 0x3F];
                    value >>= 6;
                }
                fCachedCompactString = text.release();
            }
            retVal = fCachedCompactString;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return *retVal;
}

bool GUIDClass::operator==(const GUIDClass& other) const {
    return fValue.high == other.fValue.high && fValue.low == other.fValue.low;
}

std::strong_ordering GUIDClass::operator<=>(const GUIDClass& other) const {
    if (fValue.high != other.fValue.high) return fValue.high <=> other.fValue.high;
    return fValue.low <=> other.fValue.low;
}

}  // namespace Qfn
