// Every script of the corpus evaluates to the value its first line expects, and its parsed tree
// prints as text that parses back to an equal tree with the same value.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/Task.h"
#include "support/ScriptRunner.h"

namespace {

const std::filesystem::path kCorpus = std::filesystem::path(__FILE__).parent_path() / "corpus";

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The text after "// expect: " on the first line.
std::string expectation(const std::string& script)
{
    const std::string marker = "// expect: ";
    if (script.rfind(marker, 0) != 0) return "";
    return script.substr(marker.size(), script.find('\n') - marker.size());
}

}  // namespace

TEST(ScriptCorpus, EachScriptGivesItsValueAndSurvivesTheRoundTrip)
{
    const int64_t before = Qfn::OMStored::getOMStoredCount();
    int scripts = 0;
    for (const auto& entry : std::filesystem::directory_iterator(kCorpus)) {
        if (entry.path().extension() != ".qfl") continue;
        ++scripts;
        SCOPED_TRACE(entry.path().filename().string());
        const std::string script = readFile(entry.path());
        const std::string expected = expectation(script);
        ASSERT_FALSE(expected.empty()) << "no expectation line";

        QfnTest::ScriptResult first = QfnTest::runScript(script);
        ASSERT_TRUE(first.parsed);
        EXPECT_EQ(first.text(), expected);

        const std::string printed = Qfn::OMExpression::nodeSourceText(first.tree);
        SCOPED_TRACE(printed);
        QfnTest::ScriptResult second = QfnTest::runScript(printed);
        ASSERT_TRUE(second.parsed);
        EXPECT_TRUE(Qfn::OMExpression::nodesEqual(first.tree, second.tree));
        EXPECT_EQ(Qfn::OMExpression::nodeSourceText(second.tree), printed);
        EXPECT_EQ(second.text(), first.text());
    }
    EXPECT_GE(scripts, 30);
    Qfn::Task::deregisterAllTasks();
    EXPECT_EQ(Qfn::OMStored::getOMStoredCount(), before);
}
