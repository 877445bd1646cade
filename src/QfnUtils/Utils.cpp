#include "QfnUtils/Utils.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <stdexcept>

#include "QfnLogger/Check.h"
#include "QfnLogger/Logger.h"
#include "QfnUtils/Version.h"

namespace Qfn {

namespace {

// The helpers below run inside their caller's try; the only thing they can throw is std::bad_alloc.

constexpr char kLowerHex[] = "0123456789abcdef";
constexpr char kUpperHex[] = "0123456789ABCDEF";
constexpr char kMonthNames[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr size_t kDumpRowLength = 16;
constexpr unsigned long kMaxCodePoint = 0x10FFFF;

// Appends the lowest 'digits' nibbles of value, most significant first.
void appendHex(std::string& out, uint64_t value, size_t digits, const char* alphabet)
{
    for (size_t nibble = digits; nibble-- > 0;)
        out += nibble < 16 ? alphabet[(value >> (4 * nibble)) & 0xF] : '0';
}

// The value of a digit in the given base, or -1.
int digitValue(char c, int base)
{
    int value = c >= '0' && c <= '9'   ? c - '0'
                : c >= 'a' && c <= 'f' ? c - 'a' + 10
                : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                       : -1;
    return value < base ? value : -1;
}

// Reads exactly 'count' digits at pos; false when the text ends first or a character is no digit.
bool parseDigits(const std::string& str, size_t pos, size_t count, int base, unsigned long& value)
{
    if (pos + count > str.size()) return false;
    value = 0;
    for (size_t i = pos; i < pos + count; ++i) {
        int digit = digitValue(str[i], base);
        if (digit < 0) return false;
        value = value * base + digit;
    }
    return true;
}

// One escape in the literal form, starting at the character after the backslash.
struct DecodedEscape {
    unsigned long value;
    size_t length;     // characters after the backslash
    bool isCodePoint;  // value is a code point to write as UTF-8, not a byte
};

DecodedEscape decodeEscape(const std::string& str, size_t pos)
{
    char c = str[pos];
    unsigned long value = 0;
    switch (c) {
        case 'b':
            return {'\b', 1, false};
        case 'f':
            return {'\f', 1, false};
        case 'v':
            return {'\v', 1, false};
        case 'r':
            return {'\r', 1, false};
        case 'n':
            return {'\n', 1, false};
        case 't':
            return {'\t', 1, false};
        case 'x':
            if (parseDigits(str, pos + 1, 2, 16, value)) return {value, 3, false};
            break;
        case 'u':
            if (parseDigits(str, pos + 1, 4, 16, value)) return {value, 5, true};
            break;
        case '0':
            if (parseDigits(str, pos + 1, 2, 8, value)) return {value, 3, false};
            break;
        default:
            break;
    }
    return {static_cast<unsigned char>(c), 1, false};
}

void appendEncodedByte(std::string& out, unsigned char c, char quote, bool hexForAll)
{
    static constexpr char kControlLetters[] = "btnvfr";  // bytes 8 to 13
    if (c >= 8 && c <= 13) {
        out += '\\';
        out += kControlLetters[c - 8];
    } else if (c == '\\' || (quote != 0 && c == static_cast<unsigned char>(quote))) {
        out += '\\';
        out += static_cast<char>(c);
    } else if (hexForAll || c < 32 || c > 126) {
        out += "\\x";
        appendHex(out, c, 2, kUpperHex);
    } else {
        out += static_cast<char>(c);
    }
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isAsciiLetter(int c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isAsciiDigit(int c)
{
    return c >= '0' && c <= '9';
}
char asciiToLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
char asciiToUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
// Table entries are negative where a byte has none; char may be unsigned on other targets.
bool hasEntry(char entry)
{
    return static_cast<signed char>(entry) >= 0;
}

// The escape tables of the serializer's and the gateway connection's lines, with their reversals.
struct EscapeTables {
    char fIPC[256];
    char fUnIPC[256];
    char fSerializer[256];
    char fUnSerializer[256];

    EscapeTables()
    {
        static constexpr char kControlLetters[] = "zSseETAb<tnVfrOIL1234KYPDRC!UFWX";  // bytes 0 to 31
        std::fill(std::begin(fIPC), std::end(fIPC), -1);
        std::fill(std::begin(fSerializer), std::end(fSerializer), -1);
        fIPC[static_cast<unsigned char>('\n')] = 'n';
        fIPC[0] = 'z';
        fSerializer[static_cast<unsigned char>('"')] = '"';
        fSerializer[static_cast<unsigned char>('\'')] = '\'';
        for (size_t c = 0; c < 32; ++c)
            fSerializer[c] = kControlLetters[c];
        reverse(fIPC, fUnIPC);
        reverse(fSerializer, fUnSerializer);
    }

    static void reverse(const char (&table)[256], char (&reversed)[256])
    {
        std::fill(std::begin(reversed), std::end(reversed), -1);
        for (size_t c = 0; c < 256; ++c)
            if (hasEntry(table[c])) reversed[static_cast<unsigned char>(table[c])] = static_cast<char>(c);
    }
};

const EscapeTables& escapeTables()
{
    static const EscapeTables tables;
    return tables;
}

}  // namespace

std::string Utils::stringWithFormat(const char* format, ...)
{
    std::string retVal;
    va_list args;
    va_start(args, format);
    try {
        do {
            SANITY_CHECK(format);
            va_list measureArgs;
            va_copy(measureArgs, args);
            int length = std::vsnprintf(nullptr, 0, format, measureArgs);
            va_end(measureArgs);
            SANITY_CHECK(length >= 0);
            std::string text(static_cast<size_t>(length) + 1, '\0');
            std::vsnprintf(text.data(), text.size(), format, args);
            text.resize(static_cast<size_t>(length));
            retVal = std::move(text);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    va_end(args);
    return retVal;
}

bool Utils::isWildCardMatch(const std::string& str, const std::string& pattern)
{
    bool retVal = false;
    try {
        do {
            // Only the latest '*' is ever revisited: letting an earlier one take more characters can only
            // move where the later one starts, so one return point replaces a stack of them.
            size_t s = 0, p = 0;
            size_t starPattern = std::string::npos, starStr = 0;
            while (true) {
                if (p < pattern.size() && pattern[p] == '*') {
                    while (p < pattern.size() && pattern[p] == '*')
                        ++p;
                    starPattern = p;
                    starStr = s;
                } else if (s < str.size() && p < pattern.size() &&
                           (pattern[p] == '?' || pattern[p] == str[s])) {
                    ++s;
                    ++p;
                } else if (s == str.size() && p == pattern.size()) {
                    retVal = true;
                    break;
                } else if (starPattern != std::string::npos && starStr < str.size()) {
                    s = ++starStr;
                    p = starPattern;
                } else {
                    break;
                }
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::debugDump(const void* data, size_t length)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(data || length == 0);
            const auto* bytes = static_cast<const unsigned char*>(data);
            std::string dump = "dump length = " + std::to_string(length) + "\n";
            for (size_t offset = 0; offset < length; offset += kDumpRowLength) {
                std::string hex, text;
                for (size_t i = 0; i < kDumpRowLength; ++i) {
                    if (offset + i >= length) {
                        hex += "   ";
                        continue;
                    }
                    unsigned char c = bytes[offset + i];
                    hex += ' ';
                    appendHex(hex, c, 2, kUpperHex);
                    text += c >= 32 && c <= 126 ? static_cast<char>(c) : '.';
                }
                appendHex(dump, offset, 8, kUpperHex);
                dump += hex + "  " + text + "\n";
            }
            retVal = std::move(dump);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::encodeString(const std::string& str, char quote, bool hexForAll)
{
    std::string retVal;
    try {
        do {
            std::string encoded;
            encoded.reserve(str.size());
            for (char c : str)
                appendEncodedByte(encoded, static_cast<unsigned char>(c), quote, hexForAll);
            retVal = std::move(encoded);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::decodeString(const std::string& str)
{
    std::string retVal;
    try {
        do {
            std::string decoded;
            decoded.reserve(str.size());
            for (size_t pos = 0; pos < str.size();) {
                if (str[pos] != '\\' || pos + 1 == str.size()) {
                    decoded += str[pos++];
                    continue;
                }
                DecodedEscape escape = decodeEscape(str, pos + 1);
                if (escape.isCodePoint)
                    decoded += UTFToUTF8(escape.value);
                else
                    decoded += static_cast<char>(escape.value);
                pos += 1 + escape.length;
            }
            retVal = std::move(decoded);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::encodeWString(const std::wstring& wstr, char quote)
{
    std::string retVal;
    try {
        do {
            std::string encoded;
            for (wchar_t wc : wstr) {
                auto code = static_cast<uint32_t>(wc);
                if (code < 128) {
                    appendEncodedByte(encoded, static_cast<unsigned char>(code), quote, false);
                } else if (code <= 0xFFFF) {
                    encoded += "\\u";
                    appendHex(encoded, code, 4, kUpperHex);
                } else {
                    // \u holds only four digits; the UTF-8 bytes decode to the same character
                    for (char c : UTFToUTF8(code))
                        appendEncodedByte(encoded, static_cast<unsigned char>(c), quote, true);
                }
            }
            retVal = std::move(encoded);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::wstring Utils::decodeWString(const std::string& str)
{
    std::wstring retVal;
    try {
        do {
            std::string bytes = decodeString(str);
            std::wstring wide;
            for (size_t pos = 0; pos < bytes.size();) {
                size_t length = bytes.size() - pos;
                unsigned long code = UTF8ToUTF(bytes.data() + pos, length);
                if (length == 0) throw std::runtime_error("cannot decode UTF8");
                if (code > static_cast<unsigned long>(std::numeric_limits<wchar_t>::max()))
                    throw std::runtime_error("UTF char does not fit in wchar_t");
                wide += static_cast<wchar_t>(code);
                pos += length;
            }
            retVal = std::move(wide);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::enquoteString(const std::string& str, char quote)
{
    std::string retVal;
    try {
        do {
            retVal = quote + encodeString(str, quote, false) + quote;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::dequoteString(const std::string& str)
{
    std::string retVal;
    try {
        do {
            bool isQuoted =
                str.size() >= 2 && str.front() == str.back() && (str.front() == '"' || str.front() == '\'');
            retVal = isQuoted ? decodeString(str.substr(1, str.size() - 2)) : str;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::escape(const std::string& str, char escapeChar, const char (&table)[256])
{
    std::string retVal;
    try {
        do {
            std::string escaped;
            escaped.reserve(str.size());
            for (char c : str) {
                char entry = table[static_cast<unsigned char>(c)];
                if (hasEntry(entry)) {
                    escaped += escapeChar;
                    escaped += entry;
                } else {
                    if (c == escapeChar) escaped += c;
                    escaped += c;
                }
            }
            retVal = std::move(escaped);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::unescape(const std::string& str, char escapeChar, const char (&table)[256])
{
    std::string retVal;
    try {
        do {
            std::string unescaped;
            unescaped.reserve(str.size());
            for (size_t pos = 0; pos < str.size(); ++pos) {
                // a lone escape character at the end stands for itself
                if (str[pos] != escapeChar || pos + 1 == str.size()) {
                    unescaped += str[pos];
                    continue;
                }
                char next = str[++pos];
                char entry = table[static_cast<unsigned char>(next)];
                unescaped += hasEntry(entry) ? entry : next;
            }
            retVal = std::move(unescaped);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::escapeSerializer(const std::string& str)
{
    return escape(str, '\\', escapeTables().fSerializer);
}

std::string Utils::unescapeSerializer(const std::string& str)
{
    return unescape(str, '\\', escapeTables().fUnSerializer);
}

std::string Utils::escapeIPC(const std::string& str)
{
    return escape(str, '-', escapeTables().fIPC);
}

std::string Utils::unescapeIPC(const std::string& str)
{
    return unescape(str, '-', escapeTables().fUnIPC);
}

std::string Utils::UTFToUTF8(unsigned long codePoint)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(codePoint <= kMaxCodePoint);
            auto byte = [](unsigned long bits) { return static_cast<char>(bits); };
            if (codePoint < 0x80) {
                retVal = byte(codePoint);
            } else if (codePoint < 0x800) {
                retVal = {byte(0xC0 | (codePoint >> 6)), byte(0x80 | (codePoint & 0x3F))};
            } else if (codePoint < 0x10000) {
                retVal = {byte(0xE0 | (codePoint >> 12)), byte(0x80 | ((codePoint >> 6) & 0x3F)),
                          byte(0x80 | (codePoint & 0x3F))};
            } else {
                retVal = {byte(0xF0 | (codePoint >> 18)), byte(0x80 | ((codePoint >> 12) & 0x3F)),
                          byte(0x80 | ((codePoint >> 6) & 0x3F)), byte(0x80 | (codePoint & 0x3F))};
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

unsigned long Utils::UTF8ToUTF(const char* bytes, size_t& utf8Length)
{
    static constexpr unsigned long kSmallestOfLength[] = {0, 0x80, 0x800,
                                                          0x10000};  // longer forms are overlong
    unsigned long retVal = 0;
    size_t used = 0;
    try {
        do {
            SANITY_CHECK(utf8Length > 0);
            SANITY_CHECK(bytes);
            auto lead = static_cast<unsigned char>(bytes[0]);
            size_t count = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
            bool isLead = lead < 0x80 || (lead >= 0xC0 && lead < 0xF8);
            if (!isLead || count > utf8Length) break;
            unsigned long code = count == 1 ? lead : lead & (0x7F >> count);
            size_t i = 1;
            for (; i < count && (static_cast<unsigned char>(bytes[i]) & 0xC0) == 0x80; ++i)
                code = (code << 6) | (static_cast<unsigned char>(bytes[i]) & 0x3F);
            if (i < count || code < kSmallestOfLength[count - 1]) break;
            retVal = code;
            used = count;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    utf8Length = used;
    return retVal;
}

std::string Utils::trim(const std::string& str)
{
    std::string retVal;
    try {
        do {
            auto first = std::find_if_not(str.begin(), str.end(), isBlank);
            auto last = std::find_if_not(str.rbegin(), std::string::const_reverse_iterator(first), isBlank);
            retVal.assign(first, last.base());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::despace(const std::string& str)
{
    std::string retVal;
    try {
        do {
            std::string kept = str;
            kept.erase(std::remove_if(kept.begin(), kept.end(), isBlank), kept.end());
            retVal = std::move(kept);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Utils::strSplit(const std::string& str, char separator, bool keepEmpty)
{
    std::vector<std::string> retVal;
    try {
        do {
            std::vector<std::string> parts;
            size_t start = 0;
            while (true) {
                size_t end = str.find(separator, start);
                std::string part = str.substr(start, end == std::string::npos ? end : end - start);
                if (keepEmpty || !part.empty()) parts.push_back(std::move(part));
                if (end == std::string::npos) break;
                start = end + 1;
            }
            retVal = std::move(parts);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Utils::lineStrSplit(const std::string& str)
{
    std::vector<std::string> retVal;
    try {
        do {
            std::vector<std::string> lines;
            std::string current;
            for (size_t pos = 0; pos < str.size(); ++pos) {
                char c = str[pos];
                if (c != '\n' && c != '\r') {
                    current += c;
                    continue;
                }
                if (c == '\r' && pos + 1 < str.size() && str[pos + 1] == '\n') ++pos;
                lines.push_back(std::move(current));
                current.clear();
            }
            if (!current.empty()) lines.push_back(std::move(current));
            retVal = std::move(lines);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::strJoin(const std::vector<std::string>& list, char separator)
{
    std::string retVal;
    try {
        do {
            std::string joined;
            for (size_t i = 0; i < list.size(); ++i) {
                if (i > 0) joined += separator;
                joined += list[i];
            }
            retVal = std::move(joined);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::peelOffFirstLine(std::string& str, char separator, size_t maxLength)
{
    std::string retVal;
    try {
        do {
            size_t end = str.find(separator);
            bool isSeparatorInReach = end != std::string::npos && end <= maxLength;
            size_t length = isSeparatorInReach ? end : std::min(maxLength, str.size());
            retVal = str.substr(0, length);
            str.erase(0, isSeparatorInReach ? length + 1 : length);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::replaceSubStr(const std::string& str, const std::string& what, const std::string& withWhat)
{
    std::string retVal;
    try {
        do {
            if (what.empty()) {
                retVal = str;
                break;
            }
            std::string replaced;
            size_t start = 0;
            for (size_t found; (found = str.find(what, start)) != std::string::npos;
                 start = found + what.size()) {
                replaced.append(str, start, found - start);
                replaced += withWhat;
            }
            replaced.append(str, start);
            retVal = std::move(replaced);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::firstLetterFlipCase(const std::string& str)
{
    std::string retVal;
    try {
        do {
            if (str.empty()) break;
            char first = str[0];
            char flipped = asciiToLower(first) == first ? asciiToUpper(first) : asciiToLower(first);
            retVal = flipped + str.substr(1);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::firstLetterToLowerCase(const std::string& str)
{
    std::string retVal;
    try {
        do {
            retVal = str;
            if (!retVal.empty()) retVal[0] = asciiToLower(retVal[0]);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::firstLetterToUpperCase(const std::string& str)
{
    std::string retVal;
    try {
        do {
            retVal = str;
            if (!retVal.empty()) retVal[0] = asciiToUpper(retVal[0]);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::toLowerCase(const std::string& str)
{
    std::string retVal;
    try {
        do {
            retVal = str;
            std::transform(retVal.begin(), retVal.end(), retVal.begin(), asciiToLower);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::toUpperCase(const std::string& str)
{
    std::string retVal;
    try {
        do {
            retVal = str;
            std::transform(retVal.begin(), retVal.end(), retVal.begin(), asciiToUpper);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Utils::isIdentifierChar(char c, size_t position)
{
    if (position == 0) return isAsciiLetter(c) || c == '_' || c == '$';
    return isScriptIdentifierChar(static_cast<unsigned char>(c)) || c == '.';
}

bool Utils::isScriptIdentifierChar(int c)
{
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '_' || c == '$';
}

bool Utils::isIdentifierName(const std::string& str)
{
    bool retVal = false;
    try {
        do {
            if (str.empty() || isAsciiDigit(str[0])) break;
            retVal = std::all_of(str.begin(), str.end(), [](char c) {
                return isScriptIdentifierChar(static_cast<unsigned char>(c));
            });
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Utils::isNumeric(const std::string& str)
{
    return !str.empty() && std::all_of(str.begin(), str.end(), [](char c) { return isAsciiDigit(c); });
}

bool Utils::toBool(const std::string& str)
{
    bool retVal = false;
    try {
        do {
            std::string lower = toLowerCase(str);
            if (lower == "false" || lower == "n" || lower == "f") break;
            retVal = lower == "true" || lower == "y" || lower == "t" || toOMInt(str) != 0;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// libstdc++'s exceptions name only the function; the log lines carry the fuller texts.
int64_t Utils::toOMInt(const std::string& str)
{
    int64_t retVal = 0;
    try {
        do {
            retVal = std::stoll(str, nullptr, 10);
        } while (false);
    } catch (std::invalid_argument&) {
        LOG_THROWS(std::invalid_argument("invalid stoll argument"));
    } catch (std::out_of_range&) {
        LOG_THROWS(std::out_of_range("stoll argument out of range"));
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

size_t Utils::toSize_t(const std::string& str)
{
    size_t retVal = 0;
    try {
        do {
            retVal = std::stoull(str, nullptr, 10);
        } while (false);
    } catch (std::invalid_argument&) {
        LOG_THROWS(std::invalid_argument("invalid stoull argument"));
    } catch (std::out_of_range&) {
        LOG_THROWS(std::out_of_range("stoull argument out of range"));
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Utils::intToHexString(int value, size_t digits)
{
    std::string retVal;
    try {
        do {
            appendHex(retVal, static_cast<uint32_t>(value), digits, kLowerHex);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int64_t Utils::convertToOMDate(int year, int month, int day, int hour, int minute, int second)
{
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return static_cast<int64_t>(::timegm(&tm));
}

bool Utils::convertFromOMDate(const int64_t& date, int& year, int& month, int& day, int& hour, int& minute,
                              int& second)
{
    bool retVal = false;
    try {
        do {
            auto time = static_cast<std::time_t>(date);
            std::tm tm{};
            if (!::gmtime_r(&time, &tm)) {
                // the same line on every platform, whichever call converts
                LOG_CHECK_FAILED("SANITY_CHECK", "0 == ::gmtime_s(&tm, &date)");
                break;
            }
            year = tm.tm_year + 1900;
            month = tm.tm_mon + 1;
            day = tm.tm_mday;
            hour = tm.tm_hour;
            minute = tm.tm_min;
            second = tm.tm_sec;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int64_t Utils::getNanoSecondTimestamp()
{
    auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

int64_t Utils::getBuildTime()
{
    int64_t retVal = 0;
    try {
        do {
            std::vector<std::string> dateParts = strSplit(__DATE__, ' ', false);  // "Mmm dd yyyy"
            SANITY_CHECK(dateParts.size() == 3);
            const char* monthPos = std::strstr(kMonthNames, dateParts[0].c_str());
            SANITY_CHECK(monthPos);
            std::vector<std::string> timeParts = strSplit(__TIME__, ':', false);  // "hh:mm:ss"
            SANITY_CHECK(timeParts.size() == 3);
            int month = static_cast<int>(monthPos - kMonthNames) / 3 + 1;
            retVal =
                convertToOMDate(std::stoi(dateParts[2]), month, std::stoi(dateParts[1]),
                                std::stoi(timeParts[0]), std::stoi(timeParts[1]), std::stoi(timeParts[2]));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint32_t Utils::QuillfernVersionAsUInt32()
{
    return Version::kMajor << 24 | Version::kMinor << 16 | Version::kPatch << 8 | Version::kBuild;
}

std::string Utils::getTimeStamp()
{
    return Logger::timeStamp();
}

}  // namespace Qfn
