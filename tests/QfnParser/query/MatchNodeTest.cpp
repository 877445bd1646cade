#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "QfnParser/query/FunctionPhase.h"
#include "QfnParser/query/MatchNode.h"
#include "QfnParser/query/MatchNodeCompareMatch.h"
#include "QfnParser/query/MatchNodeExactMatch.h"
#include "QfnParser/query/MatchNodeFunction.h"
#include "QfnParser/query/MatchNodeRange.h"
#include "QfnParser/query/MatchNodeRegExp.h"
#include "QfnParser/query/OMAccessor.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

std::vector<std::string> split(const std::string& path)
{
    std::vector<std::string> segments;
    EXPECT_TRUE(OMAccessor::parseReferenceSegments(path, segments)) << path;
    return segments;
}

using Segments = std::vector<std::string>;

TEST(MatchNodeGrammar, SegmentsSplitOnSeparatorsBracketsAndEscapes)
{
    EXPECT_EQ(split("main/val2"), (Segments{"main", "val2"}));
    EXPECT_EQ(split("/main/val2/"), (Segments{"main", "val2"}));
    EXPECT_EQ(split("//main// val2 /"), (Segments{"main", "val2"}));
    EXPECT_EQ(split("val5[1]"), (Segments{"val5", "[1]"}));
    EXPECT_EQ(split("a\\/b/c"), (Segments{"a\\/b", "c"}));
    EXPECT_EQ(split("{}^t[1234]$/*.*/v1"), (Segments{"{}^t[1234]$", "*.*", "v1"}));
    EXPECT_EQ(OMAccessor::parseReference("/a//b[2]/c/", 1), "b/[2]/c");

    std::string tooMany;
    for (int i = 0; i < 1001; ++i)
        tooMany += "k/";
    QfnTest::LogCapture capture(1);
    std::vector<std::string> segments;
    EXPECT_FALSE(OMAccessor::parseReferenceSegments(tooMany, segments));
    EXPECT_TRUE(capture.hasLineEndingWith("max segment count reached"));
    EXPECT_FALSE(OMAccessor::parseReference(tooMany));
}

TEST(MatchNodeGrammar, PatternPrefixesGiveLevelBounds)
{
    struct Case {
        const char* segment;
        size_t minLevel;
        size_t maxLevel;
        const char* regExp;
    };
    const size_t unlimited = MatchNode::kUnlimitedLevels;
    for (const Case& c : {Case{"?x", 0, 1, "x"}, Case{"$x", 1, 1, "x"}, Case{"*.*", 0, unlimited, ".*"},
                          Case{"+a", 1, unlimited, "a"}, Case{"{2,5}k", 2, 5, "k"}, Case{"{3}k", 3, 3, "k"},
                          Case{"{}k", 1, 1, "k"}, Case{"{1,}k", 1, 1, "k"}}) {
        size_t minLevel = 99;
        size_t maxLevel = 99;
        std::string regExp;
        ASSERT_TRUE(OMAccessor::extractRegExpStr(c.segment, minLevel, maxLevel, regExp)) << c.segment;
        EXPECT_EQ(minLevel, c.minLevel) << c.segment;
        EXPECT_EQ(maxLevel, c.maxLevel) << c.segment;
        EXPECT_EQ(regExp, c.regExp) << c.segment;
    }
    size_t minLevel = 0;
    size_t maxLevel = 0;
    std::string regExp;
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(OMAccessor::extractRegExpStr("{2x}k", minLevel, maxLevel, regExp));
    EXPECT_FALSE(OMAccessor::extractRegExpStr("{2", minLevel, maxLevel, regExp));
    EXPECT_FALSE(OMAccessor::extractRegExpStr("k", minLevel, maxLevel, regExp));
    EXPECT_TRUE(capture.hasLineEndingWith("unexpected first char"));
}

TEST(MatchNodeGrammar, SegmentsCompileToTheirClasses)
{
    auto chain = OMAccessor::parseReference("main/!=xxx/!<v2/[2-5]/[val5]/$^v/count()/[]");
    ASSERT_TRUE(chain);
    std::vector<MatchNode*> nodes;
    for (MatchNode* node = chain.get(); node; node = node->getNext().get())
        nodes.push_back(node);
    ASSERT_EQ(nodes.size(), 8u);
    EXPECT_TRUE(dynamic_cast<MatchNodeExactMatch*>(nodes[0]));
    auto* notEqual = dynamic_cast<MatchNodeCompareMatch*>(nodes[1]);
    ASSERT_TRUE(notEqual);
    EXPECT_EQ(notEqual->getBinOp(), BinOp::NE);
    auto* inverted = dynamic_cast<MatchNodeCompareMatch*>(nodes[2]);
    ASSERT_TRUE(inverted);
    EXPECT_EQ(inverted->getBinOp(), BinOp::GE);
    EXPECT_TRUE(dynamic_cast<MatchNodeRange*>(nodes[3]));
    auto* bracketKey = dynamic_cast<MatchNodeExactMatch*>(nodes[4]);
    ASSERT_TRUE(bracketKey);
    EXPECT_EQ(bracketKey->getKey(), "val5");
    EXPECT_TRUE(dynamic_cast<MatchNodeRegExp*>(nodes[5]));
    auto* function = dynamic_cast<MatchNodeFunction*>(nodes[6]);
    ASSERT_TRUE(function);
    EXPECT_EQ(function->getName(), "count");
    EXPECT_TRUE(dynamic_cast<MatchNodeRange*>(nodes[7]));
    EXPECT_EQ(nodes[7]->getParent().get(), nodes[6]);

    // An equality that an inversion turns back stays a direct lookup.
    EXPECT_TRUE(
        std::dynamic_pointer_cast<MatchNodeExactMatch>(MatchNodeCompareMatch::factory(BinOp::NE, "k", true)));
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(MatchNodeCompareMatch::factory(BinOp::ADD, "k", true));
    EXPECT_TRUE(capture.hasLineEndingWith("unexpected comparison"));
    EXPECT_FALSE(OMAccessor::parseReference("a/$(unclosed"));
    EXPECT_FALSE(OMAccessor::parseReference("!"));
}

TEST(MatchNodeGrammar, FunctionPhaseTexts)
{
    EXPECT_EQ(functionPhaseFromStr("process"), FunctionPhase::process);
    EXPECT_EQ(functionPhaseFromStr("ignore"), FunctionPhase::ignore);
    EXPECT_EQ(functionPhaseToStr(FunctionPhase::none), "none");
    EXPECT_EQ(functionPhaseToStr(FunctionPhase::process), "process");
    QfnTest::LogCapture capture(1);
    EXPECT_EQ(functionPhaseFromStr("other"), FunctionPhase::none);
    EXPECT_TRUE(capture.hasLineEndingWith("unrecognized functionPhaseStr"));
}

}  // namespace
