#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/Ini.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

using List = std::vector<std::string>;

// Selects a node's variants for the length of a test.
class NodeSuffixGuard {
public:
    explicit NodeSuffixGuard(const std::string& suffix)
    {
        InternalCoordinator::setQuillfernNodeIniSuffix(suffix);
    }
    ~NodeSuffixGuard() { InternalCoordinator::setQuillfernNodeIniSuffix(""); }
};

const char* const kPlaceholderText =
    "[placeholders]\n"
    "PH1=12\n"
    "PH2.mac=\"abcmac\"\n"
    "PH2.windows=\"abcwindows\"\n"
    "PH2.linux=\"abclinux\"\n"
    "PH3=\"def\"\n"
    "PH4=\"X${PH1}${PH2}Z${PH3}Y\"\n"
    "PH5=${PH4}\n"
    "PH6=\"<${PH7}>\"\n"
    "PH7=\"${PH6}\"\n"
    "PH9=\"defmacwin\"\n"
    "PH9.linux=\"deflinux\"\n"
    "PH10=\"part1\",\"part2\"\n"
    "PH10a=part1,part2\n"
    "PHmac.mac=\"only on mac\"\n"
    "[data]\n"
    "a1 = ${PH10}\n"
    "a2 = \"x\", \"${PH10}\", \"y\"\n"
    "a3 = \"<${PH10}>\"\n"
    "a4 = ${PH10a}\n"
    "a5 = ${PH5}\n"
    "a6 = ${PH6}\n"
    "a7 = \"a\",\"b\",\"c\"\n"
    "a8 = \"${PH9}/${PHmac}/${PH8}\"\n";

}  // namespace

TEST(IniParse, LinesSectionsAndValues)
{
    Ini ini(
        "top = 1\n"
        "# a comment line\n"
        "   [main]   \n"
        "val1=   12\n"
        "val2=\"abc\"   \n"
        "hash = a # not a comment\n"
        "; semi = 2\n"
        "no equals sign here\n"
        "k = v = w\n"
        "dup = first\r\n"
        "dup = second\r"
        "Case = upper\n"
        "[]\n"
        "stillMain = 3\n"
        "[empty]\n"
        "[other]\n"
        "val5 = \"abc5\", \"def5\" \"ghi5\"\n");
    EXPECT_EQ(ini.getSectionNames(), (List{"", "main", "other"}));
    EXPECT_EQ(ini.getEntry("", "top"), "1");
    EXPECT_EQ(ini.getEntry("main", "val1"), "12");
    EXPECT_EQ(ini.getEntry("main", "val1", 1), "");
    EXPECT_EQ(ini.getEntry("main", "val1", 1, "whatever"), "whatever");
    EXPECT_EQ(ini.getEntry("main", "val2"), "abc");
    EXPECT_EQ(ini.getEntry("main", "val3"), "");
    EXPECT_EQ(ini.getEntry("main", "val3", "whatever"), "whatever");
    EXPECT_EQ(ini.getEntry("main", "hash"), "a # not a comment");
    EXPECT_EQ(ini.getEntry("main", "; semi"), "2");
    EXPECT_EQ(ini.getEntry("main", "k"), "v = w");
    EXPECT_EQ(ini.getEntry("main", "dup"), "second");
    EXPECT_EQ(ini.getEntry("main", "Case"), "upper");
    EXPECT_EQ(ini.getEntry("main", "case", "none"), "none");
    EXPECT_EQ(ini.getEntry("main", "stillMain"), "3");
    EXPECT_EQ(ini.getEntryNames("main"),
              (List{"; semi", "Case", "dup", "hash", "k", "stillMain", "val1", "val2"}));
    EXPECT_EQ(ini.getEntryCount("other", "val5"), 3u);
    EXPECT_EQ(ini.getEntry("other", "val5", 2), "ghi5");
    EXPECT_EQ(ini.getEntry("other", "val5", 3), "");
    EXPECT_EQ(ini.getEntryCount("other", "missing"), 0u);
    EXPECT_EQ(ini.getRawEntry("other", "val5"), R"("abc5","def5","ghi5")");
    EXPECT_EQ(ini.getRawEntry("nowhere", "val5", "dflt"), "dflt");
}

TEST(IniLookup, NodeThenPlatformThenPlainKey)
{
    Ini ini(
        "[s]\n"
        "a = plain\n"
        "a.linux = linux\n"
        "a.windows = windows\n"
        "a.node1 = node1\n"
        "b = plain\n"
        "b.mac = mac\n"
        "c.windows = windows\n"
        "e =\n");
    EXPECT_EQ(ini.getEntry("s", "a"), "linux");
    EXPECT_EQ(ini.getEntry("s", "b"), "plain");
    EXPECT_EQ(ini.getEntry("s", "c", "none"), "none");
    EXPECT_EQ(ini.getEntryCount("s", "c"), 0u);
    // An entry with no elements gives the default.
    EXPECT_EQ(ini.getEntry("s", "e", "none"), "none");
    // One name for all of an entry's variants; other platforms' only variants do not show.
    EXPECT_EQ(ini.getEntryNames("s"), (List{"a", "a.node1", "b", "e"}));
    {
        NodeSuffixGuard node(".node1");
        EXPECT_EQ(ini.getEntry("s", "a"), "node1");
        EXPECT_EQ(ini.getEntry("s", "b"), "plain");
    }
    EXPECT_EQ(ini.getEntry("s", "a"), "linux");
}

TEST(IniParent, FallsBackPerSectionAndEntry)
{
    auto parent = Ini::factory("[s]\nonlyParent = p\nboth = parent\nplat.linux = parentLinux\n[ps]\nx = 1\n");
    auto child = Ini::factory("[s]\nboth = child\nplat = childPlain\n");
    ASSERT_TRUE(parent && child);
    EXPECT_EQ(child->getEntry("s", "onlyParent"), "");
    ASSERT_TRUE(child->setParent(parent));
    EXPECT_EQ(child->getEntry("s", "onlyParent"), "p");
    EXPECT_EQ(child->getEntry("s", "both"), "child");
    EXPECT_EQ(child->getEntry("ps", "x"), "1");
    EXPECT_EQ(child->getEntryList("ps", "x"), List{"1"});
    // The child's plain key is found before the parent is asked for a variant.
    EXPECT_EQ(child->getEntry("s", "plat"), "childPlain");
    EXPECT_EQ(child->getSectionNames(), List{"s"});

    QfnTest::LogCapture log;
    auto other = Ini::factory("[s]\nonlyParent = other\n");
    EXPECT_FALSE(child->setParent(other));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: '! fParentIni' evaluates to false"));
    EXPECT_EQ(child->getEntry("s", "onlyParent"), "p");
    EXPECT_FALSE(Ini::factory()->setParent(nullptr));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: 'parentIni' evaluates to false"));
    // A chain that would lead back to the child is refused: lookups could never end.
    EXPECT_FALSE(parent->setParent(child));
    EXPECT_EQ(parent->getEntry("s", "missing", "none"), "none");
}

TEST(IniPlaceholders, ResolveWithSuffixesAndStayWhenUnknown)
{
    Ini ini(kPlaceholderText);
    EXPECT_EQ(ini.getResolvedEntry("data", "a5"), "X12abclinuxZdefY");
    EXPECT_EQ(ini.getEntry("data", "a5"), "${PH5}");
    EXPECT_EQ(ini.getResolvedEntry("data", "a8"), "deflinux/${PHmac}/${PH8}");
    ASSERT_TRUE(ini.definePlaceholder("PH8", "tuv"));
    EXPECT_EQ(ini.getResolvedEntry("data", "a8"), "deflinux/${PHmac}/tuv");

    Ini val6("[s]\nval6 = \"${APPPATH} -n net.quillfern.coordinator.reflector\"\n");
    EXPECT_EQ(val6.getResolvedEntry("s", "val6"), "${APPPATH} -n net.quillfern.coordinator.reflector");
    val6.definePlaceholder("APPPATH", "HELLO");
    EXPECT_EQ(val6.getResolvedEntry("s", "val6"), "HELLO -n net.quillfern.coordinator.reflector");
    EXPECT_EQ(val6.getEntry("s", "val6"), "${APPPATH} -n net.quillfern.coordinator.reflector");
    // A defined value goes in as it stands, quotes and all.
    val6.definePlaceholder("APPPATH", "\"q\",\"r\"");
    EXPECT_EQ(val6.getResolvedEntry("s", "val6"), "\"q\",\"r\" -n net.quillfern.coordinator.reflector");

    NodeSuffixGuard node(".node1");
    ini.definePlaceholder("PH1.node1", "N1");
    EXPECT_EQ(ini.getResolvedEntry("data", "a5"), "XN1abclinuxZdefY");
}

TEST(IniPlaceholders, ListsExpandInPlace)
{
    Ini ini(kPlaceholderText);
    EXPECT_EQ(ini.getResolvedEntryList("data", "a1"), (List{"part1", "part2"}));
    EXPECT_EQ(ini.getResolvedEntryCount("data", "a1"), 2u);
    EXPECT_EQ(ini.getRawResolvedEntry("data", "a1"), R"("part1","part2")");
    EXPECT_EQ(ini.getResolvedEntryList("data", "a2"), (List{"x", "part1", "part2", "y"}));
    // Inside other text a list goes in as its quoted form.
    EXPECT_EQ(ini.getResolvedEntryList("data", "a3"), List{R"(<"part1","part2">)"});
    EXPECT_EQ(ini.getResolvedEntryList("data", "a4"), List{"part1,part2"});
    EXPECT_EQ(ini.getRawEntry("placeholders", "PH10a"), R"("part1,part2")");
    EXPECT_EQ(ini.getResolvedEntry("data", "a7", 3), "");
    EXPECT_EQ(ini.getResolvedEntry("data", "a7", 3, "d"), "d");
    EXPECT_EQ(ini.getResolvedEntry("data", "a7", 2, "d"), "c");
    EXPECT_EQ(ini.getRawResolvedEntry("data", "missing", "dflt"), "dflt");
    EXPECT_TRUE(ini.getResolvedEntryList("data", "missing").empty());

    std::unordered_set<std::string> seen;
    EXPECT_EQ(ini.handlePlaceholders("${PH10}", seen, false), R"("part1","part2")");
    EXPECT_EQ(ini.handlePlaceholders("${PH3},${PH1}", seen, false), R"("def","12")");
    EXPECT_EQ(ini.handlePlaceholders("${PH3},${PH1}", seen, true), "def,12");
    EXPECT_TRUE(seen.empty());
}

TEST(IniPlaceholders, CyclesEndWithoutHangingOrOverflowing)
{
    Ini ini(kPlaceholderText);
    EXPECT_EQ(ini.getResolvedEntry("data", "a6"), "<${PH6}>");
    EXPECT_EQ(ini.getResolvedEntry("placeholders", "PH7"), "<${PH6}>");
    ini.definePlaceholder("SELF", "a${SELF}b");
    ini.setEntry("data", "self", "${SELF}");
    EXPECT_EQ(ini.getResolvedEntry("data", "self"), "a${SELF}b");

    // Every placeholder refers to all of them: factorially many paths, cut off by a budget.
    Ini dense;
    std::string all;
    for (int i = 0; i < 12; ++i)
        all += "${D" + std::to_string(i) + "}";
    for (int i = 0; i < 12; ++i)
        dense.definePlaceholder("D" + std::to_string(i), all);
    dense.setEntry("s", "e", "${D0}");
    QfnTest::LogCapture log(2);
    EXPECT_NE(dense.getResolvedEntry("s", "e").find("${D"), std::string::npos);
    EXPECT_GE(log.countContaining("placeholder expansion limit reached"), 1u);

    // A long chain without a cycle resolves completely; one nested too deeply stays as it is.
    Ini chain;
    for (int i = 0; i < 1000; ++i)
        chain.definePlaceholder("C" + std::to_string(i), "${C" + std::to_string(i + 1) + "}");
    chain.definePlaceholder("C1000", "end");
    chain.setEntry("s", "near", "${C900}");
    chain.setEntry("s", "far", "${C0}");
    log.clear();
    EXPECT_EQ(chain.getResolvedEntry("s", "near"), "end");
    EXPECT_EQ(log.countContaining("placeholder expansion limit reached"), 0u);
    EXPECT_EQ(chain.getResolvedEntry("s", "far"), "${C0}");
    EXPECT_EQ(log.countContaining("placeholder expansion limit reached"), 1u);
}

TEST(IniPlaceholders, ParentPlaceholdersAndTheResolvedCache)
{
    auto parent = Ini::factory("[placeholders]\nROOT=/p\n[s]\nfromParent = \"${ROOT}/x\"\n");
    auto child = Ini::factory("[s]\nown = \"${ROOT}/y\"\n");
    child->setParent(parent);
    EXPECT_EQ(child->getResolvedEntry("s", "own"), "/p/y");
    EXPECT_EQ(child->getResolvedEntry("s", "fromParent"), "/p/x");

    const IniEntry& cached = child->getCachedResolvedEntry("s", "own");
    EXPECT_EQ(&cached, &child->getCachedResolvedEntry("s", "own"));
    // The child is not told about its parent's changes; its cache keeps the old resolution.
    parent->definePlaceholder("ROOT", "/q");
    EXPECT_EQ(child->getResolvedEntry("s", "own"), "/p/y");
    child->clearResolvedEntry("s", "own");
    EXPECT_EQ(child->getResolvedEntry("s", "own"), "/q/y");
    EXPECT_EQ(child->getResolvedEntry("s", "fromParent"), "/p/x");
    child->clearResolvedSection("s");
    EXPECT_EQ(child->getResolvedEntry("s", "fromParent"), "/q/x");
    // A change of the child's own entries empties its cache.
    child->definePlaceholder("ROOT", "/c");
    EXPECT_EQ(child->getResolvedEntry("s", "fromParent"), "/c/x");
}

TEST(IniChanges, SetAndClearEntries)
{
    Ini ini;
    ini.setEntry("s", "k", R"("a","b")");
    EXPECT_EQ(ini.getEntryList("s", "k"), List{R"("a","b")"});
    EXPECT_EQ(ini.getRawEntry("s", "k"), R"("\"a\",\"b\"")");
    ini.setEntry("s", "list", 2, "third");
    EXPECT_EQ(ini.getEntryList("s", "list"), (List{"", "", "third"}));
    ini.setEntry("s", "list", 0, "first");
    EXPECT_EQ(ini.getRawEntry("s", "list"), R"("first","","third")");
    EXPECT_TRUE(ini.clear("s", "list", 1));
    EXPECT_EQ(ini.getEntryList("s", "list"), (List{"first", "third"}));
    EXPECT_FALSE(ini.clear("s", "list", 2));
    ini.setEntryList("t", "only", {"x"});
    EXPECT_TRUE(ini.clear("t", "only"));
    // The last entry took its section with it.
    EXPECT_EQ(ini.getSectionNames(), List{"s"});
    EXPECT_TRUE(ini.clear("s"));
    EXPECT_FALSE(ini.clear("s"));
    EXPECT_TRUE(ini.getSectionNames().empty());
    EXPECT_EQ(ini.toString(), "");
}

TEST(IniCanonicalText, ToStringRoundTripsWithTheSameHash)
{
    Ini parsed("[main]\nval1=   12\n[data]\nq4=\"ab\\\\c\",\"def\"\nq2=ab\\c,def\n");
    EXPECT_EQ(parsed.toString(),
              "[data]\r\nq2=\"ab\\\\c,def\"\r\nq4=\"ab\\\\c\",\"def\"\r\n[main]\r\nval1=\"12\"\r\n");
    EXPECT_EQ(Ini(parsed.toString()).toString(), parsed.toString());

    Ini built;
    built.setEntry("main", "val1", "12");
    built.setEntryList("data", "q4", {"ab\\c", "def"});
    built.setEntry("data", "q2", "ab\\c,def");
    EXPECT_EQ(built.hash(), parsed.hash());
    EXPECT_TRUE(built == parsed);
    built.setEntry("main", "val1", "13");
    EXPECT_NE(built.hash(), parsed.hash());
    EXPECT_FALSE(built == parsed);

    Ini odd;
    odd.setEntry("", "top", "no section");
    odd.setEntryList("s p", "k",
                     {"tab\there", "# hash", "a=b", "quote\"", "\xE2\x86\x92", std::string("\0x", 2)});
    odd.setEntryList("s p", "empty", {});
    odd.setEntryList("s p", "oneEmpty", {""});
    odd.setEntry("[x]", "k", "[v]");
    const std::string text = odd.toString();
    Ini reparsed(text);
    EXPECT_EQ(reparsed.toString(), text);
    EXPECT_EQ(reparsed.hash(), odd.hash());
    EXPECT_EQ(reparsed.getEntryList("s p", "k"), odd.getEntryList("s p", "k"));
    EXPECT_EQ(reparsed.getEntryCount("s p", "empty"), 0u);
    EXPECT_EQ(reparsed.getEntryList("s p", "oneEmpty"), List{""});
    EXPECT_EQ(reparsed.getEntry("", "top"), "no section");

    // Entries that only differ in where a name ends hash apart.
    Ini left;
    left.setEntry("ab", "c", "v");
    Ini right;
    right.setEntry("a", "bc", "v");
    EXPECT_NE(left.hash(), right.hash());
}

TEST(IniMalformedLines, AreSkippedAndReportedWithTheirNumbers)
{
    Qfn::Ini ini("\xEF\xBB\xBF[s]\r\nk=v\n\nno equals sign\n= no key\n# comment\n[t]\nx = 1\n");
    EXPECT_EQ(ini.getResolvedEntry("s", "k", ""), "v") << "the byte order mark is no part of the section";
    EXPECT_EQ(ini.getResolvedEntry("t", "x", ""), "1");
    const std::vector<std::pair<uint64_t, std::string>> expected = {{4, "no equals sign"}, {5, "= no key"}};
    EXPECT_EQ(ini.getMalformedLines(), expected);
}
