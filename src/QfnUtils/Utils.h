#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Qfn {

// Static operations on strings (UTF-8 throughout), numbers and times. Three escape dialects live here:
// the literal form (encodeString/decodeString), the serializer's lines and the gateway connection's lines.
class Utils {
public:
    Utils() = delete;

    // printf-style formatting into a string; empty on a bad format.
    static std::string stringWithFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));
    // '*' matches any run (also empty), '?' one character; anchored at both ends, case-sensitive.
    static bool isWildCardMatch(const std::string& str, const std::string& pattern);
    // "dump length = N" and rows of sixteen bytes: offset, hexadecimal bytes, printable characters.
    static std::string debugDump(const void* data, size_t length);

    // Per byte: control characters as \b \t \n \v \f \r, backslash and quote escaped, the rest outside
    // 32..126 (or all, with hexForAll) as \xHH. A quote of 0 escapes no quote character.
    static std::string encodeString(const std::string& str, char quote = '"', bool hexForAll = false);
    // Undoes encodeString, and also decodes \uHHHH (as UTF-8) and \0oo. An escape that is cut off or has
    // a wrong digit gives its letter as it stands; a backslash at the very end is kept.
    static std::string decodeString(const std::string& str);
    // Below 128 as encodeString; up to 0xFFFF as \uHHHH; beyond that the UTF-8 bytes as \xHH.
    static std::string encodeWString(const std::wstring& wstr, char quote = '"');
    // decodeString, then UTF-8 to wide characters; empty (and a log line) for invalid UTF-8.
    static std::wstring decodeWString(const std::string& str);
    static std::string enquoteString(const std::string& str, char quote = '"');
    // The decoded inside of a string enclosed in a pair of '"' or '\''; otherwise the string unchanged.
    static std::string dequoteString(const std::string& str);

    // A byte with a table entry becomes escapeChar and the entry; escapeChar itself is doubled.
    static std::string escape(const std::string& str, char escapeChar, const char (&table)[256]);
    // The inverse, given the reversed table (letter -> byte).
    static std::string unescape(const std::string& str, char escapeChar, const char (&table)[256]);
    static std::string escapeSerializer(const std::string& str);
    static std::string unescapeSerializer(const std::string& str);
    static std::string escapeIPC(const std::string& str);
    static std::string unescapeIPC(const std::string& str);

    // One code point as one to four UTF-8 bytes; empty above 0x10FFFF.
    static std::string UTFToUTF8(unsigned long codePoint);
    // On entry utf8Length is the number of bytes available, on return the number used: 0 when the
    // bytes are no valid UTF-8 sequence (then the result is 0 as well).
    static unsigned long UTF8ToUTF(const char* bytes, size_t& utf8Length);

    // Remove blank, tab, line feed and carriage return: from both ends, or everywhere.
    // The UTF-8 byte order mark, which some editors put at the start of a file; it is skipped there.
    static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    static std::string_view withoutByteOrderMark(std::string_view text)
    {
        return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
    }
    static std::string trim(const std::string& str);
    static std::string despace(const std::string& str);
    static bool startsWith(const std::string& str, const std::string& prefix)
    {
        return str.starts_with(prefix);
    }
    static bool endsWith(const std::string& str, const std::string& suffix) { return str.ends_with(suffix); }

    static std::vector<std::string> strSplit(const std::string& str, char separator, bool keepEmpty = false);
    // Splits at LF, CR and CR LF; empty lines stay, a final line end starts no further line.
    static std::vector<std::string> lineStrSplit(const std::string& str);
    static std::string strJoin(const std::vector<std::string>& list, char separator);
    // Removes and returns the text before the first separator (the separator is dropped), if that is
    // at most maxLength characters away; otherwise the first maxLength characters.
    static std::string peelOffFirstLine(std::string& str, char separator = '\n', size_t maxLength = 256);
    // All occurrences, left to right, without rescanning the replacement; an empty 'what' changes nothing.
    static std::string replaceSubStr(const std::string& str, const std::string& what,
                                     const std::string& withWhat);

    // Letter case, ASCII only.
    static std::string firstLetterFlipCase(const std::string& str);
    static std::string firstLetterToLowerCase(const std::string& str);
    static std::string firstLetterToUpperCase(const std::string& str);
    static std::string toLowerCase(const std::string& str);
    static std::string toUpperCase(const std::string& str);

    // A letter, '_' or '$'; after the first position also a digit or '.', for dotted service names.
    static bool isIdentifierChar(char c, size_t position);
    // A letter, digit, '_' or '$'; false for EOF (-1).
    static bool isScriptIdentifierChar(int c);
    // Not empty, starts with a letter, '_' or '$', continues with those or digits.
    static bool isIdentifierName(const std::string& str);
    // Not empty and only the digits 0 to 9.
    static bool isNumeric(const std::string& str);

    // false/n/f and true/y/t in any case; anything else is toOMInt(str) != 0.
    static bool toBool(const std::string& str);
    // Decimal text as std::stoll / std::stoull read it; 0 (and a log line) when that fails.
    static int64_t toOMInt(const std::string& str);
    static size_t toSize_t(const std::string& str);
    // The lowest 'digits' nibbles in lower-case hexadecimal.
    static std::string intToHexString(int value, size_t digits);

    // Object-model dates: seconds since the start of 1970, UTC.
    static int64_t convertToOMDate(int year, int month, int day, int hour, int minute, int second);
    static bool convertFromOMDate(const int64_t& date, int& year, int& month, int& day, int& hour,
                                  int& minute, int& second);
    // A steady clock in nanoseconds, for measuring intervals.
    static int64_t getNanoSecondTimestamp();
    // The compiler's date and time of this build, read as UTC.
    static int64_t getBuildTime();
    // major << 24 | minor << 16 | patch << 8 | build.
    static uint32_t QuillfernVersionAsUInt32();
    // "%d-%m-%Y %H:%M:%S" in local time, as on log lines.
    static std::string getTimeStamp();
};

}  // namespace Qfn
