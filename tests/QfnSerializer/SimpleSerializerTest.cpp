#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "QfnObject/GUIDClass.h"
#include "QfnSerializer/Serializer_abstract.h"
#include "QfnSerializer/SimpleSerializer.h"
#include "support/LogCapture.h"
#include "support/ObjectClasses.h"

using Qfn::GUIDClass;
using Qfn::SimpleSerializer;
using Strings = std::vector<std::string>;

namespace {

std::shared_ptr<SimpleSerializer> newSerializer()
{
    return std::dynamic_pointer_cast<SimpleSerializer>(SimpleSerializer::factory());
}

std::string written(const Strings& strings)
{
    auto serializer = newSerializer();
    std::ostringstream out;
    EXPECT_TRUE(serializer->startSerialize(&out));
    for (const std::string& str : strings)
        EXPECT_TRUE(serializer->putString(str));
    EXPECT_TRUE(serializer->endSerialize());
    return out.str();
}

// Reads `count` strings; atEnd lists what atEnd() said before each read, and once more after.
struct ReadBack {
    Strings strings;
    std::vector<bool> atEnd;
};

ReadBack readBack(const std::string& text, size_t count)
{
    ReadBack result;
    auto serializer = newSerializer();
    std::istringstream in(text);
    EXPECT_TRUE(serializer->startDeserialize(&in));
    for (size_t i = 0; i < count; ++i) {
        result.atEnd.push_back(serializer->atEnd());
        result.strings.push_back(serializer->getString());
    }
    result.atEnd.push_back(serializer->atEnd());
    return result;
}

}  // namespace

TEST(SimpleSerializerRecords, TextOfRecordsAndReadingThemBack)
{
    struct Case {
        const char* name;
        Strings strings;  // what is written, and what reading as many records gives
        std::string text;
    };
    const std::vector<Case> cases = {
        {"a line feed is escaped", {"\n"}, "\\n\n"},
        {"the empty string is a record, not the end", {""}, "\n"},
        {"a zero byte goes as \\z", {std::string("a\0b", 3)}, "a\\zb\n"},
        {"quotes and the backslash", {"\"'\\"}, "\\\"\\'\\\\\n"},
        {"bytes from 32 up stand as they are", {"x \x7f\xc3\xa9"}, "x \x7f\xc3\xa9\n"},
        {"two records", {"a", "b"}, "a\nb\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(written(c.strings), c.text);
        ReadBack back = readBack(c.text, c.strings.size());
        EXPECT_EQ(back.strings, c.strings);
        std::vector<bool> atEnd(c.strings.size(), false);
        atEnd.push_back(true);
        EXPECT_EQ(back.atEnd, atEnd);
    }
    // Reading past the end gives the empty string; a last line without its line feed is no record.
    ReadBack back = readBack("a\nb\n", 3);
    EXPECT_EQ(back.strings, (Strings{"a", "b", ""}));
    EXPECT_EQ(back.atEnd, (std::vector<bool>{false, false, true, true}));
    back = readBack("a\npartial", 2);
    EXPECT_EQ(back.strings, (Strings{"a", ""}));
    EXPECT_EQ(back.atEnd, (std::vector<bool>{false, true, true}));
}

TEST(SimpleSerializerRecords, EndOfDeserializingNotesInputLeftOver)
{
    const std::vector<std::tuple<std::string, size_t, bool>> cases = {
        {"a\n", 1, true}, {"", 0, true}, {"a\nb\n", 1, false}, {"a\npartial", 1, false}};
    for (const auto& [text, reads, clean] : cases) {
        SCOPED_TRACE(text);
        QfnTest::LogCapture log(3);
        auto serializer = newSerializer();
        std::istringstream in(text);
        ASSERT_TRUE(serializer->startDeserialize(&in));
        for (size_t i = 0; i < reads; ++i)
            serializer->getString();
        EXPECT_EQ(serializer->endDeserialize(), clean);
        EXPECT_EQ(log.hasLineEndingWith("not at inputStream.eof()"), !clean);
        // The stream is let go either way, and nothing read ahead from it is kept.
        std::istringstream again("x\n");
        EXPECT_TRUE(serializer->startDeserialize(&again));
        EXPECT_EQ(serializer->getString(), "x");
    }
}

TEST(SimpleSerializerRecords, GUIDsComeBackAsTheSamePointer)
{
    GUIDClass* guid = GUIDClass::randomFactory();
    auto serializer = newSerializer();
    std::ostringstream out;
    ASSERT_TRUE(serializer->startSerialize(&out));
    EXPECT_TRUE(serializer->putGUID(nullptr));
    EXPECT_TRUE(serializer->putGUID(guid));
    serializer->endSerialize();
    EXPECT_EQ(out.str(), "\n" + guid->toString(Qfn::GUIDStringFormat::UPPERCASE_DASHED) + "\n");
    std::istringstream in(out.str());
    ASSERT_TRUE(serializer->startDeserialize(&in));
    EXPECT_EQ(serializer->getGUID(), nullptr);
    EXPECT_EQ(serializer->getGUID(), guid);
}

TEST(SimpleSerializerMisuse, EachMisuseFailsWithItsCheck)
{
    auto serializer = newSerializer();
    QfnTest::LogCapture log(1);
    const std::vector<std::pair<std::string, bool>> cases = {
        {"SANITY_CHECK failed: 'inputStream' evaluates to false", serializer->startDeserialize(nullptr)},
        {"SANITY_CHECK failed: 'fpInputStream' evaluates to false", serializer->atEnd()},
        {"SANITY_CHECK failed: 'inputStream' evaluates to false", serializer->endDeserialize()},
        {"SANITY_CHECK failed: 'fpOutputStream' evaluates to false", serializer->putRawString("a")},
        {"failed to write str", serializer->putString("a")},
        {"failed to write guid", serializer->putGUID(nullptr)},
        {"SANITY_CHECK failed: 'outputStream' evaluates to false", serializer->startSerialize(nullptr)},
    };
    for (const auto& [line, result] : cases) {
        EXPECT_FALSE(result) << line;
        EXPECT_GE(log.countContaining(line), 1u) << line;
    }
    // A second start fails and leaves the first stream in place.
    std::ostringstream out;
    std::istringstream in("a\n");
    ASSERT_TRUE(serializer->startSerialize(&out));
    EXPECT_FALSE(serializer->startSerialize(&out));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: '! fpOutputStream' evaluates to false"));
    ASSERT_TRUE(serializer->startDeserialize(&in));
    EXPECT_FALSE(serializer->startDeserialize(&in));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: '! fpInputStream' evaluates to false"));
    EXPECT_EQ(serializer->getString(), "a");
    EXPECT_TRUE(serializer->putString("b"));
    EXPECT_EQ(out.str(), "b\n");
}

TEST(SimpleSerializerFactories, OnlySerializersComeOut)
{
    ASSERT_TRUE(QfnTest::registerObjectClassesOnce());
    auto first = Qfn::Serializer_abstract::defaultSerializerFactory();
    auto second = Qfn::Serializer_abstract::serializerFactory(SimpleSerializer::TYPENAME);
    ASSERT_TRUE(std::dynamic_pointer_cast<SimpleSerializer>(first) &&
                std::dynamic_pointer_cast<SimpleSerializer>(second));
    EXPECT_NE(first.get(), second.get());
    QfnTest::LogCapture log(1);
    EXPECT_FALSE(Qfn::Serializer_abstract::serializerFactory("InternalCoordinator"));
    EXPECT_FALSE(Qfn::Serializer_abstract::serializerFactory("NoSuchSerializer"));
}

// Any bytes survive, and the text between line feeds never holds a control byte.
TEST(SimpleSerializerProperty, RandomByteStringsSurvive)
{
    std::mt19937 random(20261125);
    Strings strings(10000);
    for (std::string& str : strings) {
        str.resize(std::uniform_int_distribution<size_t>(0, 40)(random));
        for (char& c : str)
            c = static_cast<char>(std::uniform_int_distribution<int>(0, 255)(random));
    }
    const std::string text = written(strings);
    size_t lineFeeds = 0, controlBytes = 0;
    for (char c : text) {
        lineFeeds += c == '\n';
        controlBytes += c != '\n' && static_cast<unsigned char>(c) < 32;
    }
    EXPECT_EQ(lineFeeds, strings.size());
    EXPECT_EQ(controlBytes, 0u);
    ReadBack back = readBack(text, strings.size());
    EXPECT_EQ(back.strings, strings);
    EXPECT_TRUE(back.atEnd.back());
}
