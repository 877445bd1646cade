#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "QfnParser/model/IOMNode.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/access/AccessOMNodeReadOnlyTask.h"
#include "QfnParser/tasks/access/AccessOMNodeTask.h"
#include "QfnParser/tasks/access/GetterTask.h"
#include "QfnParser/tasks/access/SetterTask.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

using namespace Qfn;

namespace {

using Node = std::shared_ptr<IOMNode>;
constexpr auto kFirst = ReferenceType::OM_REF_SELECTOR_FIRST_MATCH;
constexpr auto kSingle = ReferenceType::OM_REF_SELECTOR_SINGLE_ELEMENT_OR_ARRAY;
constexpr auto kArray = ReferenceType::OM_REF_SELECTOR_ARRAY;

// Two levels of t1/t2 under t1 and t2, a flat t3 and a t4 of keys that contain v1 or v2 inside.
const char* kKeyTree =
    R"({"v1":1,
        "t1":{"v1":1,"v2":2,"t1":{"v1":1,"v2":2},"t2":{"v1":1,"v2":2}},
        "t2":{"v1":1,"v2":2,"v3":3,"t1":{"v1":1,"v2":2},"t2":{"v1":1,"v2":2}},
        "t3":{"v1":1,"v2":2,"v3":3,"v4":4},
        "t4":{"v1":1,"v2":2,"bv1":1,"bv2":2,"v1c":1,"v2c":2,"dv1e":1,"dv2e":2,
              "fv1gg":1,"fv2gg":2,"hhv1iii":1,"hhv2iii":2}})";

const char* kSmallDoc =
    R"({"main":{"val1":12,"val2":"abc"},
        "other":{"val1":99,"val3":"abc","val5":["abc5","def5","ghi5"],"val6":"..."}})";

Node evalText(const std::string& text)
{
    return QfnTest::runScript(text).value;
}

// The size of what a query gives: the Int of count(), an Array's size, 1 for one node, 0 for none.
int64_t resultCount(const Node& node)
{
    if (!node) return 0;
    if (node->getType() == OMType::Int) return node->getInt();
    if (node->getType() == OMType::Array) return static_cast<int64_t>(node->getSize());
    return 1;
}

class OMAccessorTest : public ::testing::Test {
protected:
    void SetUp() override { fStartCount = OMStored::getOMStoredCount(); }
    void TearDown() override
    {
        EXPECT_EQ(OMStored::getOMStoredCount(), fStartCount) << "nodes were not freed";
    }

private:
    int64_t fStartCount = 0;
};

TEST_F(OMAccessorTest, KeyTreeQueriesCountWhatTheyMatch)
{
    OMAccessor accessor(evalText(kKeyTree));
    ASSERT_EQ(accessor.getType(), OMType::Map);
    const std::vector<std::pair<std::string, int64_t>> cases = {
        {"count()/*.*/$v1", 14},
        {"count()/*.*/$.*v1.*", 14},
        {"count()/*.*/$^.*v1.*$", 14},
        {"count()/*.*/<=v2", 34},
        {"count()/*.*/<v2", 26},
        {"count()/*.*/!>=v2", 26},
        {"count()/*.*/!<v2", 12},
        {"count()/*.*/>=v2", 12},
        {"count()/*.*/!=xxx", 38},
        {"count()/*.*/$.+", 38},
        {"count()/*.*/+.+", 38},
        {"count()/$.*/<=v2", 21},
        {"count()/$.*/<v2", 17},
        {"count()/$.*/!<v2", 8},
        {"count()/$.*/!=xxx", 25},
        {"count()/$.*/$.+", 25},
        {"count()/$.*/+.+", 33},
        {"count()/*.*/$v1.", 4},
        {"count()/*.*/{}v1.+", 4},
        {"count()/*.*/$.+v1", 4},
        {"count()/*.*/$^.v1", 3},
        {"count()/*.*/$.+v1.+", 3},
        {"count()/*.*/$^.{1,}v1.{1,}$", 3},
        {"count()/*.*/$^.{0,1}v1.{0,1}$", 12},
        {"count()/*.*/$^.?v1.?$", 12},
    };
    for (const auto& [path, expected] : cases) {
        Node node;
        ASSERT_TRUE(AccessOMNodeReadOnlyTask::call(accessor, path, node, kSingle)) << path;
        ASSERT_TRUE(node) << path;
        EXPECT_EQ(node->getType(), OMType::Int) << path;
        EXPECT_EQ(node->getInt(), expected) << path;
    }

    Node levels = GetterTask::call(accessor, "+.+/v1", kArray);
    EXPECT_EQ(resultCount(levels), 8);
    levels = GetterTask::call(accessor, "*.+/v1", kArray);
    EXPECT_EQ(resultCount(levels), 9) << "zero levels let the root's own v1 count";
    Node all = GetterTask::call(accessor, "/*.*/<=v2", kSingle);
    ASSERT_TRUE(all);
    EXPECT_EQ(all->getType(), OMType::Array);
    EXPECT_EQ(all->getSize(), 34u);
    EXPECT_EQ(resultCount(GetterTask::call(accessor, "/*.*/+.+", kSingle)), 38);
    // The accessor's tree is not left marked as a data structure by a read.
    EXPECT_FALSE(accessor.getIsDataStructure());
}

TEST_F(OMAccessorTest, KeyTreeSelectAndPatternWritesTouchExactlyTheirMatches)
{
    OMAccessor accessor(evalText(kKeyTree));
    Node selected = GetterTask::call(accessor, "select()/$.+/v1", kFirst);
    ASSERT_TRUE(selected);
    ASSERT_EQ(selected->getType(), OMType::Array) << "select() gives an array whatever the reference type";
    ASSERT_EQ(selected->getSize(), 4u);
    for (uint64_t i = 0; i < selected->getSize(); ++i)
        selected->getOMNode(i)->set(int64_t(555));
    EXPECT_EQ(resultCount(GetterTask::call(accessor, "count()/*.*/$^v1$", kSingle)), 9);
    Node fives = evalText("555");
    int64_t changed = 0;
    Node everyV1 = GetterTask::call(accessor, "*.*/$^v1$", kArray);
    for (uint64_t i = 0; i < everyV1->getSize(); ++i)
        changed += everyV1->getOMNode(i)->cmpOp_EQ(*fives) ? 1 : 0;
    EXPECT_EQ(changed, 4);
    EXPECT_EQ(accessor.getInt("v1"), 1) << "the root's v1 is no element of any t";
    EXPECT_EQ(accessor.getOMNode("t1")->getOMNode("v1")->getInt(), 555);
    EXPECT_EQ(accessor.getOMNode("t1")->getOMNode("t1")->getOMNode("v1")->getInt(), 1);
    everyV1.reset();
    selected.reset();

    Node value = OMStored::factory(int64_t(99887766));
    ASSERT_TRUE(AccessOMNodeTask::call(accessor, AccessType::SET, "{}^t[1234]$/*.*/v1", value, kSingle));
    ASSERT_TRUE(value);
    EXPECT_EQ(resultCount(value), 8);
    EXPECT_EQ(accessor.getInt("v1"), 1);
    EXPECT_EQ(accessor.getOMNode("t2")->getOMNode("t2")->getOMNode("v1")->getInt(), 99887766);
    EXPECT_EQ(accessor.getOMNode("t4")->getOMNode("v1")->getInt(), 99887766);
    EXPECT_EQ(accessor.getOMNode("t4")->getOMNode("bv1")->getInt(), 1);
}

TEST_F(OMAccessorTest, SmallDocumentPathsReachTheirNodes)
{
    OMAccessor accessor(evalText(kSmallDoc));
    Node node = GetterTask::call(accessor, "main/val1", kSingle);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->getInt(), 12);
    node = GetterTask::call(accessor, "other/val5", kFirst);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->getType(), OMType::Array);
    EXPECT_EQ(node->getSize(), 3u);
    for (const char* path : {"other/val5/[1]", "other/val5/1", "other/val5[1]", "other/[val5]/[1]",
                             "other/[\"val5\"]/[1]", "/other/val5/1/", "other/'val5'/1"}) {
        node = GetterTask::call(accessor, path, kSingle);
        if (std::string(path) == "other/'val5'/1") {
            EXPECT_FALSE(node) << "quotes are removed only inside brackets";
            continue;
        }
        ASSERT_TRUE(node) << path;
        EXPECT_EQ(node->getString(), "def5") << path;
    }
    EXPECT_EQ(GetterTask::call(accessor, "other/val5[1]", kSingle)->getSelector(), "/other/val5/1");

    const std::vector<std::pair<std::string, int64_t>> counts = {
        {"main/count()/val1", 1},    {"['main']/count()/val1", 1}, {"main/count()/+^v.*1$", 1},
        {"main/count()/$^v.*1$", 1}, {"main/count()/*^v.*1$", 2},  {"main/!^v.*$", 2},
        {"main/{}^v.*$", 2},         {"main/{1}^v.*$", 2},         {"main/{1,1}^v.*$", 2},
        {"$.+/$^v.*$", 6},           {"main/name()/*^v.*1$", 2},   {"other/val5/[]", 3},
        {"other/val5/![1]", 2},      {"other/val5/[0-1]", 2},      {"other/[0-9]", 0},
    };
    for (const auto& [path, expected] : counts)
        EXPECT_EQ(resultCount(GetterTask::call(accessor, path, kSingle)), expected) << path;
    for (const char* path : {"main/+^v.*1$", "main/{}^v.*1$"}) {
        node = GetterTask::call(accessor, path, kSingle);
        ASSERT_TRUE(node) << path;
        EXPECT_EQ(node->getInt(), 12) << path;
    }

    // A pattern that does not compile fails the query and leaves no result.
    QfnTest::LogCapture capture(1);
    node = OMStored::factory("stale");
    EXPECT_FALSE(AccessOMNodeReadOnlyTask::call(accessor, "main/$?^v.*$", node, kSingle));
    EXPECT_FALSE(node);
    EXPECT_TRUE(capture.hasLineEndingWith("invalid regexp segment"));
    EXPECT_FALSE(AccessOMNodeReadOnlyTask::call(accessor, "main/!", node, kSingle));
    EXPECT_TRUE(capture.hasLineEndingWith("empty inverted segment"));
    EXPECT_FALSE(AccessOMNodeReadOnlyTask::call(accessor, "main/<", node, kSingle));
    EXPECT_TRUE(capture.hasLineEndingWith("empty comparison segment"));
    EXPECT_FALSE(AccessOMNodeReadOnlyTask::call(accessor, "", node, kSingle));
    // A missing key is no failure of a read: it just gives nothing.
    node = OMStored::factory("stale");
    EXPECT_TRUE(AccessOMNodeReadOnlyTask::call(accessor, "main/nothing", node, kSingle));
    EXPECT_FALSE(node);

    Node root = evalText("[0, 1, 2, 3, 4, 5, 6]");
    OMAccessor arrayAccessor(root);
    EXPECT_EQ(resultCount(GetterTask::call(arrayAccessor, "/[2-5]", kSingle)), 4);
    EXPECT_EQ(GetterTask::call(arrayAccessor, "3", kSingle)->getSelector(), "/3");
}

TEST_F(OMAccessorTest, WritesCreateKeysBuildContainersAndStopAtScalars)
{
    OMAccessor accessor(evalText(kSmallDoc));
    Node value = OMStored::factory(int64_t(1122));
    ASSERT_TRUE(SetterTask::call(accessor, "main/val99", value));
    Node read;
    ASSERT_TRUE(AccessOMNodeTask::call(accessor, AccessType::GET, "main/val99", read, kSingle));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->getInt(), 1122);
    EXPECT_EQ(accessor.getInt("main/val99"), 0) << "the key form takes no path";

    value = OMStored::factory("deep");
    ASSERT_TRUE(SetterTask::call(accessor, "main/val98[1]/vvv/www[2]/ttt", value));
    Node val98 = accessor.getOMNode("main")->getOMNode("val98");
    ASSERT_EQ(val98->getType(), OMType::Array);
    EXPECT_EQ(val98->getOMNode(uint64_t(1))->getType(), OMType::Map);
    Node www = val98->getOMNode(uint64_t(1))->getOMNode("vvv")->getOMNode("www");
    ASSERT_EQ(www->getType(), OMType::Array);
    EXPECT_EQ(www->getSize(), 3u);
    EXPECT_EQ(www->getOMNode(uint64_t(2))->getOMNode("ttt")->getString(), "deep");
    EXPECT_EQ(GetterTask::call(accessor, "main/val98[1]/vvv/www[2]/ttt", kSingle)->getString(), "deep");

    EXPECT_EQ(resultCount(GetterTask::call(accessor, "main/count()/{}.*", kSingle)), 4);
    Node names = GetterTask::call(accessor, "main/name()/{}.*", kSingle);
    ASSERT_TRUE(names);
    EXPECT_EQ(OMAccessor::stringify(*names), R"(["val1", "val2", "val98", "val99"])");

    www.reset();
    val98.reset();
    value = OMStored::factory(int64_t(7));
    ASSERT_TRUE(SetterTask::call(accessor, "main/val98", value));
    value = OMStored::factory("cut");
    EXPECT_FALSE(SetterTask::call(accessor, "main/val98[1]/vvv/www[2]/ttt", value));
    EXPECT_FALSE(value);
    EXPECT_FALSE(GetterTask::call(accessor, "main/val98[1]/vvv/www[2]/ttt", kSingle));
    EXPECT_EQ(accessor.getOMNode("main")->getOMNode("val98")->getInt(), 7);

    // Starting from nothing, a write makes the root a map.
    OMAccessor empty;
    value = OMStored::factory(true);
    ASSERT_TRUE(empty.setPath("a/b", value));
    EXPECT_EQ(empty.stringify(), R"({"a":{"b":true}})");
}

TEST_F(OMAccessorTest, TypedMembersByKeyAndIndex)
{
    OMAccessor accessor;
    EXPECT_TRUE(accessor.set("i", 5));
    EXPECT_TRUE(accessor.set("f", 2.5));
    EXPECT_TRUE(accessor.set("s", "text"));
    EXPECT_TRUE(accessor.set("b", true));
    EXPECT_TRUE(accessor.setEmptyArray("a"));
    EXPECT_EQ(accessor.getType(), OMType::Map);
    EXPECT_EQ(accessor.getInt("i"), 5);
    EXPECT_EQ(accessor.getFloat("f"), 2.5);
    EXPECT_EQ(accessor.getString("s"), "text");
    EXPECT_TRUE(accessor.getBool("b"));
    EXPECT_EQ(accessor.getAsString("i"), "5");
    EXPECT_EQ(accessor.getType("a"), OMType::Array);
    EXPECT_EQ(accessor.getType("missing"), OMType::Undefined);
    EXPECT_EQ(accessor.getInt("missing"), 0);
    EXPECT_EQ(accessor.getString("missing"), "");
    EXPECT_FALSE(accessor.getBool("missing"));
    EXPECT_EQ(accessor.getSize(), 5u);

    OMAccessor list;
    EXPECT_TRUE(list.set(uint64_t(2), "two"));
    EXPECT_TRUE(list.setNull(uint64_t(0)));
    EXPECT_EQ(list.getType(), OMType::Array);
    EXPECT_EQ(list.getSize(), 3u);
    EXPECT_EQ(list.getType(uint64_t(0)), OMType::Null);
    EXPECT_EQ(list.getType(uint64_t(1)), OMType::Undefined);
    EXPECT_EQ(list.getString(uint64_t(2)), "two");
    EXPECT_EQ(list.getInt(uint64_t(9)), 0);
    EXPECT_EQ(list.typeOf(), "object");

    // Copies compare by value and share the tree.
    OMAccessor copy = accessor;
    EXPECT_TRUE(copy == accessor);
    OMAccessor parsed(evalText(R"({"i":5,"f":2.5,"s":"text","b":true,"a":[]})"));
    EXPECT_TRUE(parsed == accessor);
    EXPECT_EQ(parsed.hash(), accessor.hash());
    copy.set("i", 6);
    EXPECT_EQ(accessor.getInt("i"), 6);
    EXPECT_FALSE(parsed == accessor);
}

TEST_F(OMAccessorTest, TextFormsOfEveryType)
{
    struct Case {
        const char* script;
        const char* stringified;
        const char* nearForm;
    };
    const std::vector<Case> cases = {
        {"undefined", "undefined", "undefined"},
        {"null", "null", "null"},
        {"true", "true", "true"},
        {"42", "42", "42"},
        {"1.5", "1.500000", "1.500000"},
        {R"("a\"b")", R"("a\"b")", R"("a\"b")"},
        {"[1, [2, 3], \"x\"]", R"([1, [2, 3], "x"])", R"([ 1,[ 2,3 ],"x" ])"},
        {R"({"b1":true})", R"({"b1":true})", R"({"b1":true})"},
        {R"({"z":1,"a":{"m":[]}})", R"({"a":{"m":[]}, "z":1})", nullptr},
    };
    for (const auto& c : cases) {
        OMAccessor accessor(evalText(c.script));
        EXPECT_EQ(accessor.stringify(), c.stringified) << c.script;
        if (c.nearForm) {
            EXPECT_EQ(accessor.toString(), c.nearForm) << c.script;
        }
    }
    OMAccessor special;
    special.setNaN();
    EXPECT_EQ(special.stringify(), "NaN");
    EXPECT_EQ(special.toString(), "NaN");
    special.setError();
    EXPECT_EQ(special.stringify(), "error");
    EXPECT_EQ(special.toString(), "error");
    special.setDate(86400);
    EXPECT_EQ(special.stringify(), "86400");
    EXPECT_EQ(special.toString(), "\"Fri Jan  2 00:00:00 1970\"");

    OMAccessor function(evalText("function(a){ return a; }"));
    ASSERT_EQ(function.getType(), OMType::Function);
    EXPECT_EQ(function.toString(), "\"" + function.stringify() + "\"");
}

// Values of every kind that the parser can read back: scalars, strings with escapes, nesting.
Node randomValue(std::mt19937& random, int depth)
{
    std::uniform_int_distribution<int> kind(0, depth > 3 ? 5 : 7);
    switch (kind(random)) {
        case 0:
            return OMStored::nullFactory();
        case 1:
            return OMStored::factory(random() % 2 == 0);
        case 2:
            return OMStored::factory(static_cast<int64_t>(random() % 2000001) - 1000000);
        // Quarters off the integers print exactly with six decimals.
        case 3:
            return OMStored::factory(static_cast<double>(static_cast<int>(random() % 2001) - 1000) +
                                     0.25 * static_cast<double>(1 + random() % 3));
        case 4:
        case 5: {
            std::string text;
            const int length = static_cast<int>(random() % 8);
            for (int i = 0; i < length; ++i)
                text.push_back(static_cast<char>(1 + random() % 126));
            return OMStored::factory(text);
        }
        case 6: {
            auto array = OMStored::arrayFactory();
            const int size = static_cast<int>(random() % 4);
            for (int i = 0; i < size; ++i)
                array->push(randomValue(random, depth + 1));
            return array;
        }
        default: {
            auto members = std::make_shared<OMMap>();
            const int size = static_cast<int>(random() % 4);
            for (int i = 0; i < size; ++i)
                (*members)["k" + std::to_string(random() % 10)] = randomValue(random, depth + 1);
            return OMStored::factory(members);
        }
    }
}

TEST_F(OMAccessorTest, StringifiedValuesParseBackEqual)
{
    std::mt19937 random(20261121);
    int compared = 0;
    for (int i = 0; i < 1000; ++i) {
        OMAccessor accessor(randomValue(random, 0));
        const std::string text = accessor.stringify();
        // A map must not be read as a block: the value is assigned.
        QfnTest::ScriptResult result = QfnTest::runScript("x = " + text);
        ASSERT_TRUE(result.parsed) << text;
        Node back = result.variable("x");
        ASSERT_TRUE(back) << text;
        EXPECT_TRUE(back->cmpOp_EQ(*accessor.getOMNode())) << text << " came back as " << back->toString();
        ++compared;
    }
    EXPECT_EQ(compared, 1000);
}

TEST_F(OMAccessorTest, RandomPathsFailCleanlyOrFindNodes)
{
    OMAccessor accessor(evalText(kKeyTree));
    const std::string alphabet = "/\\[]!<>=$*+?{},.^-()0123456789'\" tv12cxyselctoun";
    std::mt19937 random(4242);
    int found = 0;
    int failed = 0;
    QfnTest::LogCapture capture(1);  // a path that does not compile says why
    for (int i = 0; i < 10000; ++i) {
        std::string path;
        const int length = static_cast<int>(random() % 14);
        for (int j = 0; j < length; ++j)
            path.push_back(alphabet[random() % alphabet.size()]);
        Node node;
        const bool ok = AccessOMNodeReadOnlyTask::call(accessor, path, node, kSingle);
        if (ok && node) {
            ++found;
            EXPECT_NE(node->getType(), OMType::Error) << path;
        } else if (!ok) {
            ++failed;
            EXPECT_FALSE(node) << path;
        }
    }
    EXPECT_GT(found, 0);
    EXPECT_GT(failed, 0);
    EXPECT_EQ(resultCount(GetterTask::call(accessor, "count()/*.*/!=xxx", kSingle)), 38)
        << "reads changed the tree";
}

TEST_F(OMAccessorTest, ScriptFunctionSegmentsVetoAndCompute)
{
    QfnTest::ScriptResult script = QfnTest::runScript(
        R"(pick = function(phase, node, key) { if (phase == "ignore") return key == "t3"; return key + "!"; })");
    ASSERT_TRUE(script.parsed);
    ASSERT_TRUE(script.variable("pick"));
    OMAccessor accessor(evalText(kKeyTree), script.scope);
    Node picked = GetterTask::call(accessor, "$^t/pick()", kSingle);
    ASSERT_TRUE(picked);
    ASSERT_EQ(picked->getType(), OMType::Array);
    std::vector<std::string> keys;
    for (uint64_t i = 0; i < picked->getSize(); ++i)
        keys.push_back(picked->getOMNode(i)->getString());
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, (std::vector<std::string>{"t1!", "t2!", "t4!"})) << "t3 is vetoed in the ignore phase";
    // Without a function of that name the query fails.
    OMAccessor noScope(evalText(kKeyTree));
    Node node;
    EXPECT_TRUE(QfnTest::logsError("SANITY_CHECK failed: 'scope'", [&] {
        EXPECT_FALSE(AccessOMNodeReadOnlyTask::call(noScope, "$^t/pick()", node, kSingle));
    }));
    EXPECT_FALSE(node);
}

}  // namespace
