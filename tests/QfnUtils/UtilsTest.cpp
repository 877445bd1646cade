#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

#include "QfnLogger/Log.h"
#include "QfnUtils/Utils.h"
#include "support/LogCapture.h"

using Qfn::Utils;

namespace {

using QfnTest::logsError;

std::string allBytes()
{
    std::string bytes;
    for (int c = 0; c < 256; ++c)
        bytes += static_cast<char>(c);
    return bytes;
}

}  // namespace

TEST(UtilsWildCard, MatchTable)
{
    struct {
        const char* str;
        const char* pattern;
        bool isMatch;
    } cases[] = {{"", "", true},
                 {"", "*", true},
                 {"ab", "*a**b", true},
                 {"acb", "a*b", true},
                 {"aac", "?a?", true},
                 {"dsdsaap", "*a?*", true},
                 {"abbbbacbbba", "a*a*a", true},
                 {"test", "tes?*", true},
                 {"abc", "***", true},
                 {"a", "", false},
                 {"", "a", false},
                 {"", "?", false},
                 {"acb", "a*c", false},
                 {"a", "a?", false},
                 {"bca", "?a?", false},
                 {"dsdsdsdhsja", "*a?*", false},
                 {"baxss", "a?*", false},
                 {"test", "tos*", false},
                 {"ABC", "abc", false}};
    for (auto& c : cases)
        EXPECT_EQ(Utils::isWildCardMatch(c.str, c.pattern), c.isMatch) << c.str << " ~ " << c.pattern;
    // many stars against a long text must not backtrack exponentially
    EXPECT_FALSE(Utils::isWildCardMatch(std::string(300, 'a'), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
}

TEST(UtilsEscape, DialectsAndRoundTrips)
{
    std::string sample = std::string("\n\n-abc\"") + '\0' + "def";
    EXPECT_EQ(Utils::escapeIPC(sample), "-n-n--abc\"-zdef");
    EXPECT_EQ(Utils::escapeSerializer(sample), "\\n\\n-abc\\\"\\zdef");
    EXPECT_EQ(Utils::escapeSerializer("\x01\x1f'\\"), "\\S\\X\\'\\\\");

    std::string bytes = allBytes();
    std::string ipc = Utils::escapeIPC(bytes);
    EXPECT_EQ(ipc.find('\n'), std::string::npos);
    EXPECT_EQ(ipc.find('\0'), std::string::npos);
    EXPECT_EQ(Utils::unescapeIPC(ipc), bytes);
    std::string serialized = Utils::escapeSerializer(bytes);
    for (char c : serialized)
        EXPECT_GE(static_cast<unsigned char>(c), 32u);
    EXPECT_EQ(Utils::unescapeSerializer(serialized), bytes);

    EXPECT_EQ(Utils::unescapeIPC("ab-"), "ab-");   // cut-off escape kept
    EXPECT_EQ(Utils::unescapeIPC("-q-n"), "q\n");  // unknown letter stands for itself
}

TEST(UtilsEncode, LiteralForm)
{
    EXPECT_EQ(Utils::encodeString("\r\t\n\x11", '"', false), "\\r\\t\\n\\x11");
    EXPECT_EQ(Utils::decodeString("\\r\\t\\n\\x11\\u0011"), "\r\t\n\x11\x11");
    EXPECT_EQ(Utils::encodeString("a\"b'c\\\xE2", '"', false), "a\\\"b'c\\\\\\xE2");
    EXPECT_EQ(Utils::encodeString("\"A", 0, true), "\\x22\\x41");
    EXPECT_EQ(Utils::encodeString(std::string("\"\0", 2), 0, false), "\"\\x00");  // quote 0 is no quote
    EXPECT_EQ(Utils::decodeString("\\012\\b\\q\\\\\\\""), "\n\bq\\\"");
    // escapes cut off or with a wrong digit give their letter; a final backslash stays
    EXPECT_EQ(Utils::decodeString("\\x4"), "x4");
    EXPECT_EQ(Utils::decodeString("\\xZZ\\u12G4\\08"), "xZZu12G408");
    EXPECT_EQ(Utils::decodeString("ab\\"), "ab\\");
    for (bool hexForAll : {false, true})
        EXPECT_EQ(Utils::decodeString(Utils::encodeString(allBytes(), '\'', hexForAll)), allBytes());

    std::string quoted = Utils::enquoteString("say \"hi\"\n", '"');
    EXPECT_EQ(quoted, "\"say \\\"hi\\\"\\n\"");
    EXPECT_EQ(Utils::dequoteString(quoted), "say \"hi\"\n");
    EXPECT_EQ(Utils::dequoteString("'a\\tb'"), "a\tb");
    for (const char* unchanged : {"\"a'", "\"", "xax", "\\n"})
        EXPECT_EQ(Utils::dequoteString(unchanged), unchanged);
}

TEST(UtilsEncode, UTF8Boundaries)
{
    std::string fromCodePoints = Utils::decodeString("a\\u0080\\u07FF\\u0800\\uFFFFb");
    EXPECT_EQ(fromCodePoints, Utils::decodeString("a\\xC2\\x80\\xDF\\xBF\\xE0\\xA0\\x80\\xEF\\xBF\\xBFb"));
    EXPECT_EQ(fromCodePoints.size(), 12u);

    const std::pair<unsigned long, size_t> boundaries[] = {
        {0x7F, 1}, {0x80, 2}, {0x7FF, 2}, {0x800, 3}, {0xFFFF, 3}, {0x10000, 4}, {0x10FFFF, 4}};
    for (auto [code, size] : boundaries) {
        std::string bytes = Utils::UTFToUTF8(code) + "rest";
        size_t length = bytes.size();
        EXPECT_EQ(Utils::UTF8ToUTF(bytes.data(), length), code);
        EXPECT_EQ(length, size) << std::hex << code;
    }
    // continuation byte as lead, cut off, overlong, bad continuation
    for (std::string bad : {"\x80", "\xE2\x86", "\xC0\x80", "\xE2\x41\x92", "\xF8\x80\x80\x80"}) {
        size_t length = bad.size();
        Utils::UTF8ToUTF(bad.data(), length);
        EXPECT_EQ(length, 0u);
    }
    size_t shortLength = 2;  // the sequence goes on, but not within the bytes given
    Utils::UTF8ToUTF("\xE2\x86\x92", shortLength);
    EXPECT_EQ(shortLength, 0u);
    EXPECT_TRUE(logsError("SANITY_CHECK failed: 'utf8Length > 0' evaluates to false", [] {
        size_t length = 0;
        Utils::UTF8ToUTF("a", length);
    }));
}

TEST(UtilsEncode, WideForms)
{
    EXPECT_EQ(Utils::encodeWString(Utils::decodeWString("\\xE2\\x86\\x92"), '"'), "\\u2192");
    EXPECT_EQ(Utils::encodeString(Utils::decodeString("\\u2192"), '"', false), "\\xE2\\x86\\x92");
    EXPECT_EQ(Utils::encodeWString(L"\x11\x7F\"a\xE9", '"'), "\\x11\\x7F\\\"a\\u00E9");
    std::wstring wide = L"x\u00E9\u2192\U0001F600";
    EXPECT_EQ(Utils::decodeWString(Utils::encodeWString(wide, '"')), wide);
    EXPECT_TRUE(
        logsError("throws cannot decode UTF8", [] { EXPECT_EQ(Utils::decodeWString("a\\xFF"), L""); }));
}

TEST(UtilsStrings, TrimSplitJoin)
{
    EXPECT_EQ(Utils::trim("  123\t   b\t  "), "123\t   b");
    EXPECT_EQ(Utils::trim("\r\n \t"), "");
    EXPECT_EQ(Utils::despace(" a b\tc\r\nd "), "abcd");
    EXPECT_EQ(Utils::strSplit("a,,b,", ',', false), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Utils::strSplit("a,,b,", ',', true), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_EQ(Utils::strJoin(Utils::strSplit(",x,,y,", ',', true), ','), ",x,,y,");
    EXPECT_EQ(Utils::lineStrSplit("a\r\nb\rc\n\nd\n"), (std::vector<std::string>{"a", "b", "c", "", "d"}));
    EXPECT_TRUE(Utils::startsWith("prefix.rest", "prefix") && !Utils::startsWith("pre", "prefix"));
    EXPECT_TRUE(Utils::endsWith("name.ini", ".ini") && !Utils::endsWith("ini", ".ini"));
}

TEST(UtilsStrings, PeelOffFirstLine)
{
    std::string text = "first\nsecond";
    EXPECT_EQ(Utils::peelOffFirstLine(text), "first");
    EXPECT_EQ(text, "second");
    EXPECT_EQ(Utils::peelOffFirstLine(text), "second");
    EXPECT_EQ(text, "");
    std::string longText(300, 'x');
    EXPECT_EQ(Utils::peelOffFirstLine(longText).size(), 256u);
    EXPECT_EQ(longText.size(), 44u);
    std::string farSeparator = "aaaaaa;b";
    EXPECT_EQ(Utils::peelOffFirstLine(farSeparator, ';', 4), "aaaa");
    EXPECT_EQ(farSeparator, "aa;b");
    EXPECT_EQ(Utils::peelOffFirstLine(farSeparator, ';', 4), "aa");
    EXPECT_EQ(farSeparator, "b");
    std::string exactReach = "abcd;x";  // a separator right after maxLength characters is in reach
    EXPECT_EQ(Utils::peelOffFirstLine(exactReach, ';', 4), "abcd");
    EXPECT_EQ(exactReach, "x");
}

TEST(UtilsStrings, ReplaceAndCase)
{
    EXPECT_EQ(Utils::replaceSubStr("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(Utils::replaceSubStr("x${a}y${a}", "${a}", "1"), "x1y1");
    EXPECT_EQ(Utils::replaceSubStr("abc", "", "xxx"), "abc");
    EXPECT_EQ(Utils::replaceSubStr("abc", "d", "xxx"), "abc");
    EXPECT_EQ(Utils::firstLetterFlipCase("abc"), "Abc");
    EXPECT_EQ(Utils::firstLetterFlipCase("ABC"), "aBC");
    EXPECT_EQ(Utils::firstLetterFlipCase("1bc"), "1bc");
    EXPECT_EQ(Utils::firstLetterToUpperCase("aBc") + Utils::firstLetterToLowerCase("ABc"), "ABcaBc");
    EXPECT_EQ(Utils::toUpperCase("aZ1\xE9") + Utils::toLowerCase("aZ1\xC9"),
              "AZ1\xE9"
              "az1\xC9");
}

TEST(UtilsStrings, IdentifiersAndNumbers)
{
    for (const char* name : {"a", "$abc", "a$b_9_", "_"})
        EXPECT_TRUE(Utils::isIdentifierName(name)) << name;
    for (const char* name : {"", "1a", "123", "a b", "a-b", "a.b"})
        EXPECT_FALSE(Utils::isIdentifierName(name)) << name;
    EXPECT_TRUE(Utils::isIdentifierChar('.', 1) && Utils::isIdentifierChar('1', 1) &&
                Utils::isIdentifierChar('$', 0));
    EXPECT_FALSE(Utils::isIdentifierChar('.', 0) || Utils::isIdentifierChar('1', 0) ||
                 Utils::isIdentifierChar('-', 1));
    EXPECT_TRUE(Utils::isScriptIdentifierChar('$') && Utils::isScriptIdentifierChar('9'));
    EXPECT_FALSE(Utils::isScriptIdentifierChar('.') || Utils::isScriptIdentifierChar(-1) ||
                 Utils::isScriptIdentifierChar(0xE9));
    EXPECT_TRUE(Utils::isNumeric("00") && Utils::isNumeric("0123456789"));
    for (const char* text : {"", "1.", "1 2", "1,2", "-1", "+1"})
        EXPECT_FALSE(Utils::isNumeric(text)) << text;
}

TEST(UtilsStrings, Conversions)
{
    for (const char* text : {"true", "Y", "t", "1", "-7"})
        EXPECT_TRUE(Utils::toBool(text)) << text;
    for (const char* text : {"FALSE", "n", "f", "0"})
        EXPECT_FALSE(Utils::toBool(text)) << text;
    EXPECT_EQ(Utils::toOMInt("-9223372036854775808"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(Utils::toSize_t("18446744073709551615"), std::numeric_limits<size_t>::max());
    EXPECT_TRUE(logsError("throws invalid stoll argument", [] { EXPECT_EQ(Utils::toOMInt("x"), 0); }));
    EXPECT_TRUE(logsError("throws stoll argument out of range",
                         [] { EXPECT_EQ(Utils::toOMInt("9223372036854775808"), 0); }));
    EXPECT_TRUE(logsError("throws invalid stoull argument", [] { EXPECT_EQ(Utils::toSize_t(""), 0u); }));
    EXPECT_EQ(Utils::intToHexString(0, 0), "");
    EXPECT_EQ(Utils::intToHexString(1, 4), "0001");
    EXPECT_EQ(Utils::intToHexString(10, 6), "00000a");
    EXPECT_EQ(Utils::intToHexString(static_cast<int>(0x9ABCDEF0), 8), "9abcdef0");
    EXPECT_EQ(Utils::intToHexString(-1, 10), "00ffffffff");
}

TEST(UtilsFormat, StringWithFormatAndDump)
{
    EXPECT_EQ(Utils::stringWithFormat("%s-%d-%05.1f", "ab", 42, 3.14159), "ab-42-003.1");
    std::string longArg(5000, 'x');
    EXPECT_EQ(Utils::stringWithFormat("<%s>", longArg.c_str()), "<" + longArg + ">");

    const char data[] = "ABCDEFGHIJKLMNO\x01Q";  // 17 bytes: two rows
    std::string dump = Utils::debugDump(data, 17);
    EXPECT_TRUE(Utils::startsWith(dump, "dump length = 17\n")) << dump;
    EXPECT_NE(dump.find("41 42 43"), std::string::npos) << dump;
    EXPECT_NE(dump.find("ABCDEFGHIJKLMNO.\n"), std::string::npos) << dump;
    EXPECT_EQ(Utils::lineStrSplit(dump).size(), 3u);
}

TEST(UtilsDates, ConversionsAndBuildTime)
{
    EXPECT_EQ(Utils::convertToOMDate(1970, 1, 1, 0, 0, 0), 0);
    EXPECT_EQ(Utils::convertToOMDate(2000, 2, 29, 12, 34, 56), 951827696);
    EXPECT_EQ(Utils::convertToOMDate(2038, 1, 19, 3, 14, 8), 2147483648);  // past 32 bits
    for (int64_t date : {int64_t{-1}, int64_t{951827696}, int64_t{2147483648}}) {
        int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
        ASSERT_TRUE(Utils::convertFromOMDate(date, y, mo, d, h, mi, s));
        EXPECT_EQ(Utils::convertToOMDate(y, mo, d, h, mi, s), date);
    }
    EXPECT_TRUE(logsError("SANITY_CHECK failed: '0 == ::gmtime_s(&tm, &date)' evaluates to false", [] {
        int y, mo, d, h, mi, s;
        EXPECT_TRUE(logsError("gmtime_s", [&] {
            EXPECT_FALSE(Utils::convertFromOMDate(std::numeric_limits<int64_t>::max(), y, mo, d, h, mi, s));
        }));
    }));

    int64_t buildTime = Utils::getBuildTime();
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    ASSERT_TRUE(Utils::convertFromOMDate(buildTime, y, mo, d, h, mi, s));
    EXPECT_EQ(y, std::atoi(__DATE__ + 7));                                   // built together with this test
    EXPECT_LE(buildTime, static_cast<int64_t>(std::time(nullptr)) + 86400);  // local time read as UTC

    int64_t before = Utils::getNanoSecondTimestamp();
    EXPECT_GE(Utils::getNanoSecondTimestamp(), before);
    EXPECT_EQ(Utils::getTimeStamp().size(), 19u);
}
