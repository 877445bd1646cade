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
using Qfn::ISerializer;
using Qfn::SimpleSerializer;

namespace {

std::shared_ptr<SimpleSerializer> newSerializer()
{
    return std::dynamic_pointer_cast<SimpleSerializer>(SimpleSerializer::factory());
}

// The text of the records of the strings.
std::string written(const std::vector<std::string>& strings)
{
    auto serializer = newSerializer();
    std::ostringstream out;
    EXPECT_TRUE(serializer->startSerialize(&out));
    for (const std::string& str : strings)
        EXPECT_TRUE(serializer->putString(str));
    EXPECT_TRUE(serializer->endSerialize());
    return out.str();
}

// Reads `count` strings, noting before each read whether the serializer said it was at the end.
struct ReadBack {
    std::vector<std::string> strings;
    std::vector<bool> atEndBefore;
    bool atEndAfter = false;
};

ReadBack readBack(const std::string& text, size_t count)
{
    ReadBack result;
    auto serializer = newSerializer();
    std::istringstream in(text);
    EXPECT_TRUE(serializer->startDeserialize(&in));
    for (size_t i = 0; i < count; ++i) {
        result.atEndBefore.push_back(serializer->atEnd());
        result.strings.push_back(serializer->getString());
    }
    result.atEndAfter = serializer->atEnd();
    return result;
}

}  // namespace

TEST(SimpleSerializerRecords, EdgeCasesOfTheFormat)
{
    struct Case {
        const char* name;
        std::vector<std::string> strings;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"a line feed is escaped", {"\n"}, "\\n\n"},
        {"the empty string is a record", {""}, "\n"},
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
        EXPECT_EQ(back.atEndBefore, std::vector<bool>(c.strings.size(), false));
        EXPECT_TRUE(back.atEndAfter);
    }
}

TEST(SimpleSerializerRecords, ReadingPastTheEndAndUnfinishedLines)
{
    // "a" and "b", read three times: the third read finds nothing.
    ReadBack back = readBack(written({"a", "b"}), 3);
    EXPECT_EQ(back.strings, (std::vector<std::string>{"a", "b", ""}));
    EXPECT_EQ(back.atEndBefore, (std::vector<bool>{false, false, true}));

    // A last line without its line feed is no record.
    back = readBack("a\npartial", 2);
    EXPECT_EQ(back.strings, (std::vector<std::string>{"a", ""}));
    EXPECT_EQ(back.atEndBefore, (std::vector<bool>{false, true}));
}

TEST(SimpleSerializerRecords, EndOfDeserializingNotesInputLeftOver)
{
    struct Case {
        std::string text;
        size_t reads;
        bool clean;
    };
    const std::vector<Case> cases = {
        {"a\n", 1, true}, {"", 0, true}, {"a\nb\n", 1, false}, {"a\npartial", 1, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        QfnTest::LogCapture log(3);
        auto serializer = newSerializer();
        std::istringstream in(c.text);
        ASSERT_TRUE(serializer->startDeserialize(&in));
        for (size_t i = 0; i < c.reads; ++i)
            serializer->getString();
        EXPECT_EQ(serializer->endDeserialize(), c.clean);
        EXPECT_EQ(log.hasLineEndingWith("not at inputStream.eof()"), !c.clean);
        // The stream is let go either way: the serializer can start again.
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
    EXPECT_TRUE(serializer->endDeserialize());
}

TEST(SimpleSerializerMisuse, EachMisuseFailsWithItsCheck)
{
    auto serializer = newSerializer();
    std::ostringstream out;
    std::istringstream in("a\n");
    QfnTest::LogCapture log(1);
    const std::vector<std::pair<std::string, bool>> cases = {
        {"SANITY_CHECK failed: 'inputStream' evaluates to false", serializer->startDeserialize(nullptr)},
        {"SANITY_CHECK failed: 'fpInputStream' evaluates to false", serializer->isStringAvailable()},
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
    log.clear();
    ASSERT_TRUE(serializer->startSerialize(&out));
    EXPECT_FALSE(serializer->startSerialize(&out));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: '! fpOutputStream' evaluates to false"));
    ASSERT_TRUE(serializer->startDeserialize(&in));
    EXPECT_FALSE(serializer->startDeserialize(&in));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: '! fpInputStream' evaluates to false"));
    // The failed second start left the first stream in place.
    EXPECT_EQ(serializer->getString(), "a");
    EXPECT_TRUE(serializer->putString("b"));
    EXPECT_EQ(out.str(), "b\n");
}

TEST(SimpleSerializerFactories, DefaultAndByNameGiveNewSerializers)
{
    ASSERT_TRUE(QfnTest::registerObjectClassesOnce());
    auto first = Qfn::Serializer_abstract::defaultSerializerFactory();
    auto second = Qfn::Serializer_abstract::serializerFactory(SimpleSerializer::TYPENAME);
    ASSERT_TRUE(std::dynamic_pointer_cast<SimpleSerializer>(first));
    ASSERT_TRUE(std::dynamic_pointer_cast<SimpleSerializer>(second));
    EXPECT_NE(first.get(), second.get());
    QfnTest::LogCapture log(1);
    EXPECT_FALSE(Qfn::Serializer_abstract::serializerFactory("InternalCoordinator"));
    EXPECT_FALSE(Qfn::Serializer_abstract::serializerFactory("NoSuchSerializer"));
}

// Any bytes survive the trip, and the text between line feeds never holds a control byte.
TEST(SimpleSerializerProperty, RandomByteStringsSurvive)
{
    std::mt19937 random(20261125);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(0, 40);
    std::vector<std::string> strings(10000);
    for (std::string& str : strings) {
        str.resize(static_cast<size_t>(length(random)));
        for (char& c : str)
            c = static_cast<char>(byte(random));
    }
    const std::string text = written(strings);
    size_t lineFeeds = 0;
    for (char c : text) {
        if (c == '\n')
            ++lineFeeds;
        else
            EXPECT_GE(static_cast<unsigned char>(c), 32u);
    }
    EXPECT_EQ(lineFeeds, strings.size());
    ReadBack back = readBack(text, strings.size());
    EXPECT_EQ(back.strings, strings);
    EXPECT_TRUE(back.atEndAfter);
}
