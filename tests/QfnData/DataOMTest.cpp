#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "QfnData/DataOM.h"
#include "QfnData/DataString.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/OMType.h"
#include "support/LogCapture.h"
#include "support/ObjectClasses.h"

using Qfn::Data_abstract;
using Qfn::DataOM;
using Qfn::IObject;
using Qfn::IOMNode;
using Qfn::OMStored;
using Qfn::OMType;

namespace {

std::shared_ptr<DataOM> asDataOM(const std::shared_ptr<IObject>& object)
{
    return std::dynamic_pointer_cast<DataOM>(object);
}

std::map<std::string, std::shared_ptr<IOMNode>> membersOf(const IOMNode& node)
{
    std::map<std::string, std::shared_ptr<IOMNode>> members;
    for (auto iter = node.getNodeIterator(); iter && !iter->atEnd(); (*iter)++)
        members[iter->getKey()] = **iter;
    return members;
}

// Compares two trees by type and value, member by member, without their text forms.
bool sameTree(const IOMNode& left, const IOMNode& right)
{
    if (left.getType() != right.getType()) return false;
    switch (left.getType()) {
        case OMType::Bool:
            return left.getBool() == right.getBool();
        case OMType::Int:
            return left.getInt() == right.getInt();
        case OMType::Float:
            return left.getFloat() == right.getFloat();
        case OMType::String:
            return left.getString() == right.getString();
        case OMType::Array:
        case OMType::Map: {
            auto leftMembers = membersOf(left);
            auto rightMembers = membersOf(right);
            return leftMembers.size() == rightMembers.size() &&
                   std::all_of(leftMembers.begin(), leftMembers.end(), [&](const auto& member) {
                       auto found = rightMembers.find(member.first);
                       return found != rightMembers.end() && sameTree(*member.second, *found->second);
                   });
        }
        default:
            return true;
    }
}

// Random trees of the values that text carries exactly.
class TreeMaker {
public:
    explicit TreeMaker(uint32_t seed) : fRandom(seed) {}

    std::shared_ptr<OMStored> tree(int depth)
    {
        switch (pick(depth > 0 ? 9 : 7)) {
            case 0:
                return OMStored::undefinedFactory();
            case 1:
                return OMStored::nullFactory();
            case 2:
                return OMStored::factory(pick(2) == 1);
            case 3:
                return OMStored::factory(integer());
            case 4:
                // Sixty-fourths are written by %f without rounding.
                return OMStored::factory(static_cast<double>(pick(1 << 22) - (1 << 21)) / 64.0);
            case 5:
            case 6:
                return OMStored::factory(text());
            case 7: {
                auto array = std::make_shared<Qfn::OMArray>();
                for (int i = pick(5); i > 0; --i)
                    array->push_back(tree(depth - 1));
                return OMStored::factory(array);
            }
            default: {
                auto map = std::make_shared<Qfn::OMMap>();
                for (int i = pick(5); i > 0; --i)
                    (*map)[text()] = tree(depth - 1);
                return OMStored::factory(map);
            }
        }
    }

private:
    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(fRandom); }

    int64_t integer()
    {
        static const int64_t kEdges[] = {0, 1, -1, INT64_MAX, INT64_MIN + 1, INT32_MAX, INT32_MIN};
        if (pick(4) == 0) return kEdges[pick(static_cast<int>(std::size(kEdges)))];
        return std::uniform_int_distribution<int64_t>(INT64_MIN + 1, INT64_MAX)(fRandom);
    }

    // Control bytes, quotes, backslashes, ASCII and UTF-8 text of two, three and four bytes.
    std::string text()
    {
        static const char* const kPieces[] = {
            "\"", "'", "\\", "\xc3\xa9", "\xe2\x86\x92", "\xf0\x9f\x98\x80", "a", "Z", " ", "/", "{", "}",
            "[",  "]", ":",  ","};
        std::string str;
        for (int i = pick(8); i > 0; --i) {
            if (pick(3) == 0)
                str += static_cast<char>(pick(32));
            else
                str += kPieces[pick(static_cast<int>(std::size(kPieces)))];
        }
        return str;
    }

    std::mt19937 fRandom;
};

class DataOMValues : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(QfnTest::registerObjectClassesOnce()); }
};

}  // namespace

TEST_F(DataOMValues, ParsedFromText)
{
    auto data = asDataOM(DataOM::factoryFromJSONStr("{a:123,b:\"x\"}"));
    ASSERT_TRUE(data && data->getOMNode());
    auto members = membersOf(*data->getOMNode());
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members["a"]->getType(), OMType::Int);
    EXPECT_EQ(members["a"]->getInt(), 123);
    EXPECT_EQ(members["b"]->getString(), "x");
    EXPECT_EQ(data->stringify(), "{\"a\":123, \"b\":\"x\"}");

    QfnTest::LogCapture log(1);
    EXPECT_FALSE(DataOM::factoryFromJSONStr("{a:[1"));
    EXPECT_TRUE(log.hasLineEndingWith(
        "SANITY_CHECK failed: 'ParseTask::call(omNode, jsonString)' evaluates to false"));
    // Code is no payload, at the top or deep inside, and an infinite float does not come back.
    for (const char* code : {"a + 1", "{a:[1, {b:x}]}", "[1, -2], \"e\", _", "[1, -2e500]", "{a:1e999}"}) {
        log.clear();
        EXPECT_FALSE(DataOM::factoryFromJSONStr(code)) << code;
        EXPECT_TRUE(
            log.hasLineEndingWith("SANITY_CHECK failed: 'holdsOnlyValues(*omNode)' evaluates to false"))
            << code;
    }
}

TEST_F(DataOMValues, TextEqualityHashAndPrintedForm)
{
    auto one = DataOM::factoryFromJSONStr("{b:[1, 2], a:\"s\"}");
    auto same = DataOM::factoryFromJSONStr("{a:\"s\", b:[1, 2]}");
    auto other = DataOM::factoryFromJSONStr("{a:\"s\", b:[2, 1]}");
    auto none = DataOM::factoryFromOMNode(nullptr);
    auto nullNode = DataOM::factoryFromOMNode(OMStored::nullFactory());
    EXPECT_TRUE(*one == *same);
    EXPECT_EQ(one->hash(), same->hash());
    EXPECT_FALSE(*one == *other);
    EXPECT_TRUE(*one != *other);
    EXPECT_FALSE(*one == *Qfn::DataString::factoryFromString(asDataOM(one)->stringify()));
    // A missing tree is written as null, and reads back as the value null.
    EXPECT_TRUE(*none == *nullNode);
    EXPECT_EQ(none->toString(), "DataOM OM = nullptr");
    EXPECT_EQ(nullNode->toString(), "DataOM OM = null");
    EXPECT_EQ(one->toString(), "DataOM OM = {\"a\":\"s\", \"b\":[1, 2]}");
}

// Random trees come back with the same types and values, through text and the parser.
TEST_F(DataOMValues, RandomTreesSurviveTheWire)
{
    TreeMaker maker(7411);
    for (int i = 0; i < 500; ++i) {
        auto tree = maker.tree(4);
        auto original = DataOM::factoryFromOMNode(tree);
        const std::string text = Data_abstract::serializeToStr(original);
        auto copy = asDataOM(Data_abstract::deserializeFromStr(text));
        ASSERT_TRUE(copy && copy->getOMNode()) << text;
        ASSERT_TRUE(sameTree(*tree, *copy->getOMNode())) << text;
        EXPECT_TRUE(*copy == *original);
        EXPECT_EQ(copy->hash(), original->hash());
    }
}
