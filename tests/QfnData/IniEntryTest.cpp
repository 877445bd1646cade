#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QfnData/IniEntry.h"

using namespace Qfn;

namespace {

using List = std::vector<std::string>;

List elementsOf(const std::string& value)
{
    return IniEntry(value).fEntryList;
}

}  // namespace

TEST(IniEntryValue, CommasSeparateOnlyAfterQuotedElements)
{
    EXPECT_EQ(elementsOf(R"(ab\c,def)"), List{R"(ab\c,def)"});
    EXPECT_EQ(elementsOf(R"(ab\c,"def")"), List{R"(ab\c,"def")"});
    EXPECT_EQ(elementsOf(R"("abc5", "def5" "ghi5")"), (List{"abc5", "def5", "ghi5"}));
    EXPECT_EQ(elementsOf(R"("x" y  z)"), (List{"x", "y  z"}));
    EXPECT_EQ(elementsOf(R"(ab"cd" , e)"), List{R"(ab"cd" , e)"});
    // A comma at the start of an element stands for an empty one; after a quoted one it only separates.
    EXPECT_EQ(elementsOf(","), List{""});
    EXPECT_EQ(elementsOf(R"(,,"x")"), (List{"", "", "x"}));
    EXPECT_EQ(elementsOf(R"("x",)"), List{"x"});
    EXPECT_EQ(elementsOf(R"("x",,)"), (List{"x", ""}));
    EXPECT_EQ(elementsOf(""), List{});
    EXPECT_EQ(elementsOf(R"("")"), List{""});
}

TEST(IniEntryValue, EscapesWorkOnlyInQuotedText)
{
    EXPECT_EQ(elementsOf(R"("B\x00a")"), List{std::string("B\0a", 3)});
    EXPECT_EQ(elementsOf(R"("right arrow:\u2192")"), List{"right arrow:\xE2\x86\x92"});
    EXPECT_EQ(elementsOf(R"("say \"hi\", ok")"), List{R"(say "hi", ok)"});
    IniEntry backslashes(R"("ab\\c","def")");
    EXPECT_EQ(backslashes.fEntryList, (List{R"(ab\c)", "def"}));
    EXPECT_EQ(backslashes.fRawEntry, R"("ab\\c","def")");
    EXPECT_EQ(IniEntry(R"(unquo\ted)").fRawEntry, R"("unquo\\ted")");
    // A real tab, quoted or not, and an escaped one all have the same raw form.
    EXPECT_EQ(IniEntry("a\tb").fRawEntry, R"("a\tb")");
    EXPECT_EQ(IniEntry("\"a\tb\"").fRawEntry, R"("a\tb")");
    EXPECT_EQ(IniEntry(R"("a\tb")").fRawEntry, R"("a\tb")");
}

TEST(IniEntryValue, CutOffElementsStayAsTheyStand)
{
    // Blanks inside an unquoted element stay, those at its end go.
    EXPECT_EQ(elementsOf("a  b \t "), List{"a  b"});
    // The value ends inside quotes: the text is kept without decoding; it does not go on to a next line.
    EXPECT_EQ(elementsOf(R"("abc)"), List{"abc"});
    EXPECT_EQ(elementsOf(R"("a\"b)"), List{R"(a\"b)"});
    EXPECT_EQ(elementsOf(R"("x", "ab\)"), (List{"x", R"(ab\)"}));
    EXPECT_EQ(elementsOf(R"("x" tail\)"), (List{"x", R"(tail\)"}));
}

TEST(IniEntryValue, RawFormParsesBackToTheSameElements)
{
    std::string allBytes;
    for (int c = 0; c < 256; ++c)
        allBytes += static_cast<char>(c);
    const List lists[] = {
        {},
        {""},
        {"", ""},
        {"plain", "with, comma", "with \"quotes\"", "back\\slash", " blanks "},
        {allBytes, "\r\n", "\xE2\x86\x92"},
    };
    for (const List& list : lists) {
        IniEntry entry(list);
        EXPECT_EQ(IniEntry(entry.fRawEntry).fEntryList, list) << entry.fRawEntry;
        EXPECT_EQ(IniEntry(entry.fRawEntry).fRawEntry, entry.fRawEntry);
    }
    EXPECT_EQ(IniEntry(List{"a", "b"}).fRawEntry, R"("a","b")");
    EXPECT_EQ(IniEntry(List{}).fRawEntry, "");
}
