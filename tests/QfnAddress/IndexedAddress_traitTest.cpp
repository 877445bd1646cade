// Index paths: names at even positions, numbers at odd ones.
#include <gtest/gtest.h>

#include "QfnAddress/QfnTraits/IndexedAddress_trait.h"
#include "support/LogCapture.h"

using Qfn::IndexedAddress_trait;

TEST(IndexedAddressSplit, ValidPathsSplitWithoutEmptyParts)
{
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}},
        {"net.quillfern.service.null", {"net.quillfern.service.null"}},
        {"net.quillfern.service.null/0", {"net.quillfern.service.null", "0"}},
        {"/a//12///b/", {"a", "12", "b"}},
        {"_x/007/$y.z/3", {"_x", "007", "$y.z", "3"}},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        std::vector<std::string> indices = {"before"};
        EXPECT_TRUE(IndexedAddress_trait::splitIndices(text, indices));
        EXPECT_EQ(indices, expected);
    }
    EXPECT_EQ(IndexedAddress_trait::joinIndices({"a", "12", "b"}), "a/12/b");
}

TEST(IndexedAddressSplit, ANameOrNumberOutOfPlaceFailsAndLeavesTheOutputAlone)
{
    const std::pair<std::string, std::string> cases[] = {
        {"1", "invalid index name"},           {"a/b", "invalid index number"},
        {"a/0/1", "invalid index name"},       {"a/-1", "invalid index number"},
        {"a b/0", "invalid index name"},       {"a/0/b/x", "invalid index number"},
        {"a/0/b/1.5", "invalid index number"},
    };
    for (const auto& [text, line] : cases) {
        SCOPED_TRACE(text);
        std::vector<std::string> indices = {"before"};
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(IndexedAddress_trait::splitIndices(text, indices));
        EXPECT_TRUE(capture.hasLineEndingWith(line));
        EXPECT_EQ(indices, std::vector<std::string>{"before"});
    }
}
