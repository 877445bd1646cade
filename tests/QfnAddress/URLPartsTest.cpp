// The character reader of qfn:// URLs on its own: how text splits into parts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QfnAddress/URLParts.h"

using Qfn::URLParts;

namespace {

const std::string kGUID = "0123456789ABCDEF0123456789ABCDEF";

struct Case {
    std::string url;
    std::string scheme, host, coordinator;
    std::vector<std::string> indices;
    std::string tail;
};

}  // namespace

TEST(URLPartsNames, EachStateTakesItsPart)
{
    const Case cases[] = {
        {"qfn:////", "qfn", "", "", {}, ""},
        {" \t\r\nqfn://h/c/a/0", "qfn", "h", "c", {"a", "0"}, ""},
        {"qfn://h/c/a/0/b/", "qfn", "h", "c", {"a", "0", "b"}, ""},
        {"qfn://h/c/a//t", "qfn", "h", "c", {"a"}, "t"},
        {"qfn://h/c//t", "qfn", "h", "c", {}, "t"},
        {"qfn:h/c/a", "qfn", "h", "c", {"a"}, ""},
        {"qfn:/h/c/a", "qfn", "h", "c", {"a"}, ""},
        {"qfn://h", "qfn", "h", "", {}, ""},
        {"QFN ://h/c", "QFN ", "h", "c", {}, ""},
        {"http://h/c/a", "http", "h", "c", {"a"}, ""},
        {"/h/c", "", "h", "c", {}, ""},
        {"qfn://a b/c d/e f", "qfn", "a b", "c d", {"e f"}, ""},
        {"qfn", "qfn", "", "", {}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        URLParts parts = URLParts::parse(c.url);
        EXPECT_EQ(parts.scheme, c.scheme);
        EXPECT_EQ(parts.host, c.host);
        EXPECT_EQ(parts.coordinator, c.coordinator);
        EXPECT_EQ(parts.indices, c.indices);
        EXPECT_EQ(parts.tail, c.tail);
        EXPECT_FALSE(parts.isResolvedForm);
        EXPECT_EQ(parts.isSchemeComplete, c.url.find(':') != std::string::npos);
    }
}

TEST(URLPartsTail, InnerRunsOfSlashesKeepOneAndTheEndsLoseThem)
{
    const std::pair<std::string, std::string> cases[] = {
        {"qfn://///tail", "tail"},
        {"qfn:////s/1//tail4/tail5", "tail4/tail5"},
        {"qfn:///C/s/0//tail111/", "tail111"},
        {"qfn:////s//a///b////", "a/b"},
        {"qfn:////s////a", "a"},
        {"qfn:////s//a/b/c", "a/b/c"},
        {"qfn:////s//////", ""},
        {"qfn:////s//a:b c", "a:b c"},
    };
    for (const auto& [url, tail] : cases) {
        SCOPED_TRACE(url);
        EXPECT_EQ(URLParts::parse(url).tail, tail);
    }
}

TEST(URLPartsGUIDs, AGUIDAsHostMakesTheResolvedForm)
{
    URLParts parts = URLParts::parse("qfn://" + kGUID + "/second/t1//t2/");
    EXPECT_TRUE(parts.isResolvedForm);
    EXPECT_EQ(parts.host, kGUID);
    EXPECT_EQ(parts.secondGUID, "second");
    EXPECT_EQ(parts.tail, "t1/t2");
    EXPECT_TRUE(parts.coordinator.empty());

    // The whole text a GUID: resolved, with its second part missing.
    parts = URLParts::parse("qfn://" + kGUID);
    EXPECT_TRUE(parts.isResolvedForm);
    EXPECT_TRUE(parts.secondGUID.empty());

    // A GUID is read only where the host stands.
    parts = URLParts::parse("qfn:///" + kGUID + "/" + kGUID);
    EXPECT_FALSE(parts.isResolvedForm);
    EXPECT_EQ(parts.coordinator, kGUID);
}
