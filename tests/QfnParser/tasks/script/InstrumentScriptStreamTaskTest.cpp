#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/OutputStream.h"
#include "QfnParser/streams/OutputStreamString.h"
#include "QfnParser/tasks/script/InstrumentScriptStreamTask.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

using Qfn::InputStreamString;
using Qfn::InstrumentScriptStreamTask;
using Qfn::IOStreamPrompted;
using Qfn::OMStored;
using Qfn::OutputStreamString;
using Qfn::Task;

namespace {

using Statements = std::vector<std::string>;

// A slice long enough to take everything fed so far: the task ends a slice early only when it
// finds nothing more to read.
constexpr int64_t kLongSlice = 1000000;
constexpr int kMaxSlices = 200;

// Keeps each write apart: in one string a cut at a newline and a newline kept inside a statement
// would read the same. Every statement is written in one piece ending in a newline.
class StatementRecorder : public Qfn::OutputStream {
public:
    bool write(const std::string& text) override
    {
        EXPECT_FALSE(text.empty() || text.back() != '\n') << text;
        fStatements.push_back(text.substr(0, text.size() - 1));
        return true;
    }
    Statements take() { return std::exchange(fStatements, {}); }

private:
    Statements fStatements;
};

// Drives the task over a prompted stream whose input is fed piece by piece. The prompts are set
// empty, since an interactive coordinator would write them to the same output as the statements.
class Instrumenter {
public:
    Instrumenter()
        : fInput(InputStreamString::factory("")),
          fOutput(std::make_shared<StatementRecorder>()),
          fPrompted(IOStreamPrompted::factory(fInput, fOutput))
    {
        fPrompted->setPrompt(OMStored::factory(""));
        fPrompted->setPromptContinuation(OMStored::factory(""));
        fTask = InstrumentScriptStreamTask::factory(OMStored::undefinedFactory(),
                                                    Qfn::InternalCoordinator::scopeFactory(), "", fPrompted);
    }
    ~Instrumenter()
    {
        // A completed task has already left the registry.
        if (fTask && !fTask->getIsTaskCompleted()) Task::deregisterTask(fTask->getTaskId());
    }

    // Feeds the piece and runs the task until it has read all that was fed; gives what it wrote.
    Statements feed(const std::string& piece)
    {
        fInput->feed(piece);
        fFedSize += piece.size();
        for (int slice = 0; slice < kMaxSlices && fInput->getPos() < fFedSize && !fTask->getIsTaskCompleted();
             ++slice)
            fTask->runTimeslice(kLongSlice);
        fTask->runTimeslice(kLongSlice);  // the last line read is scanned to its end
        return fOutput->take();
    }

    // Ends the input and runs the task to its completion; gives what it wrote.
    Statements end()
    {
        fInput->setEOF();
        for (int slice = 0; slice < kMaxSlices && !fTask->getIsTaskCompleted(); ++slice)
            fTask->runTimeslice(kLongSlice);
        EXPECT_TRUE(fTask->getIsTaskCompleted());
        return fOutput->take();
    }

    const std::shared_ptr<Task>& task() const { return fTask; }

private:
    std::shared_ptr<InputStreamString> fInput;
    std::shared_ptr<StatementRecorder> fOutput;
    std::shared_ptr<IOStreamPrompted> fPrompted;
    std::shared_ptr<Task> fTask;
    size_t fFedSize = 0;
};

// The script fed in pieces of the given size (all at once by default); the task must succeed and
// leave no bracket level behind.
Statements instrument(const std::string& script, size_t pieceSize = std::string::npos)
{
    Instrumenter instrumenter;
    if (!instrumenter.task()) return {"no task"};
    Statements written;
    for (size_t at = 0; at < script.size(); at += pieceSize) {
        for (std::string& statement : instrumenter.feed(script.substr(at, pieceSize)))
            written.push_back(std::move(statement));
    }
    for (std::string& statement : instrumenter.end())
        written.push_back(std::move(statement));
    EXPECT_TRUE(instrumenter.task()->getRetValBool());
    EXPECT_EQ(instrumenter.task()->getParsingNestLevel(), 0u);
    return written;
}

// What a reader of the output sees: the statements, each followed by a newline.
std::string joined(const Statements& statements)
{
    std::string text;
    for (const std::string& statement : statements)
        text += statement + "\n";
    return text;
}

const std::filesystem::path kCorpus =
    std::filesystem::path(QFN_SOURCE_DIR) / "tests" / "QfnParser" / "corpus";

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

TEST(InstrumentScriptStreamTask, SemicolonsCutOnlyAtTheParenthesisLevelOfTheirBlock)
{
    EXPECT_EQ(instrument("a = 1; b = 2;"), Statements({"a = 1;", "b = 2;"}));
    // The clauses of `for` stay together; the statement inside the braces ends at its own ';'.
    EXPECT_EQ(instrument("for (i = 0; i < 3; ++i) { a = i; }"),
              Statements({"for (i = 0; i < 3; ++i) { a = i;", "}"}));
    EXPECT_EQ(instrument("f = function(x) { if (x) { return (x; 1); } y = 2; }; z = f(1)"),
              Statements({"f = function(x) { if (x) { return (x; 1);", "} y = 2;", "};", "z = f(1)"}));
    // Without a directive, `;` is text and only newlines outside brackets cut.
    EXPECT_EQ(instrument("//@yieldoff\na = 1; b = 2\nc = (3;\n4)\n// @yieldon  \nd = 5; e = 6;"),
              Statements({"a = 1; b = 2", "c = (3;\n4)", "d = 5;", "e = 6;"}));
    EXPECT_EQ(instrument("//@unknown\na = 1; b = 2"), Statements({"a = 1;", "b = 2"}));
}

TEST(InstrumentScriptStreamTask, StringsKeepTheirTextAndCommentsBecomeSpace)
{
    EXPECT_EQ(instrument("a = ';'; b = \"x; // y\" + '\\'; /*';"),
              Statements({"a = ';';", "b = \"x; // y\" + '\\'; /*';"}));
    EXPECT_EQ(instrument("a = 1 // c; d\nb = 2 /* ; */ + 3;"), Statements({"a = 1", "b = 2 + 3;"}));
    EXPECT_EQ(instrument("a  =\t1/**/+/* \n */2 / 3"), Statements({"a = 1 + 2 / 3"}));
    // A string broken by a LF is passed on in parts: the newline written stands for its own.
    EXPECT_EQ(instrument("s = 'ab\n\ncd;'; t = \"x\r\ny\""),
              Statements({"s = 'ab", "", "cd;';", "t = \"x\r", "y\""}));
    // Unterminated strings and comments are passed on as they stand.
    EXPECT_EQ(instrument("a = 1; b = 'open"), Statements({"a = 1;", "b = 'open"}));
    EXPECT_EQ(instrument("a = 2 /* open"), Statements({"a = 2"}));
    EXPECT_EQ(instrument("a = 3 /"), Statements({"a = 3 /"}));
}

TEST(InstrumentScriptStreamTask, NewlinesEndStatementsOutsideBracketsUnlessTheLineEndsInAnOperator)
{
    EXPECT_EQ(instrument("\n\na = 1\r\n  b = 2\n\n"), Statements({"a = 1", "b = 2"}));
    EXPECT_EQ(instrument("a = 1 +\n  2\nb = [1,\n2]"), Statements({"a = 1 +\n2", "b = [1,\n2]"}));
    EXPECT_EQ(instrument("a = f(1,\n\n 2) // c\nb = { x: 1\n}"),
              Statements({"a = f(1,\n2)", "b = { x: 1\n}"}));
    EXPECT_EQ(instrument("a++\nb--\nc = 111.\nd = x.\ne"),
              Statements({"a++", "b--", "c = 111.", "d = x.\ne"}));
    // `else` on the next line continues the `if`; a name that only begins with it does not.
    EXPECT_EQ(instrument("if (a) { b }\nelse { c }\nelsewhere = 1\ne"),
              Statements({"if (a) { b }\nelse { c }", "elsewhere = 1", "e"}));
}

TEST(InstrumentScriptStreamTask, StrayClosingBraceIsLoggedAndScanningGoesOn)
{
    QfnTest::LogCapture capture(1);
    EXPECT_EQ(instrument("a = 1 }\nb = 2; f(}; c = 3;"), Statements({"a = 1 }", "b = 2;", "f(};", "c = 3;"}));
    EXPECT_EQ(capture.countContaining("unbalanced parensCountGlobal"), 2u);
    // The nest level never went below zero.
    EXPECT_EQ(capture.countContaining("SANITY_CHECK failed"), 0u);

    capture.clear();
    // A stray ')' closes nothing either: the ';' after it still cuts.
    EXPECT_EQ(instrument("a = 1); b = 2;\nc = (3"), Statements({"a = 1);", "b = 2;", "c = (3"}));
    EXPECT_EQ(capture.countContaining("SANITY_CHECK failed"), 0u);
}

TEST(InstrumentScriptStreamTask, FedPiecesGiveTheStatementsOfTheWholeText)
{
    Instrumenter instrumenter;
    ASSERT_TRUE(instrumenter.task());
    // A statement closed by a newline goes as soon as nothing more can be read.
    EXPECT_EQ(instrumenter.feed("a = 1\n"), Statements({"a = 1"}));
    EXPECT_EQ(instrumenter.feed("b = f(1, { x: (2"), Statements());
    EXPECT_EQ(instrumenter.task()->getParsingNestLevel(), 3u);
    EXPECT_EQ(instrumenter.feed(") }\n"), Statements());
    EXPECT_EQ(instrumenter.task()->getParsingNestLevel(), 1u);
    EXPECT_EQ(instrumenter.feed(")\nc = 'x"), Statements({"b = f(1, { x: (2) }\n)"}));
    EXPECT_EQ(instrumenter.feed("y'; { d = (4"), Statements({"c = 'xy';"}));
    EXPECT_EQ(instrumenter.task()->getParsingNestLevel(), 2u);
    EXPECT_EQ(instrumenter.end(), Statements({"{ d = (4"}));
    EXPECT_TRUE(instrumenter.task()->getRetValBool());
    EXPECT_EQ(instrumenter.task()->getParsingNestLevel(), 0u);

    const std::string script =
        "//@yieldoff\nx = 1; y = 'a;\nb' /* c;\n */\n//@yieldon\n"
        "function g(n) { if (n > 1) { return n * g(n - 1); } return 1; }\n"
        "z = g(4) +\n  x; w = [1,\n2]\n";
    const Statements whole = instrument(script);
    EXPECT_EQ(whole, Statements({"x = 1; y = 'a;", "b'", "function g(n) { if (n > 1) { return n * g(n - 1);",
                                 "} return 1;", "}", "z = g(4) +\nx;", "w = [1,\n2]"}));
    for (size_t pieceSize : {1u, 2u, 5u, 13u})
        EXPECT_EQ(instrument(script, pieceSize), whole) << "pieces of " << pieceSize;
}

TEST(InstrumentScriptStreamTask, StatementsParseToTheValueOfTheScript)
{
    int scripts = 0;
    for (const auto& entry : std::filesystem::directory_iterator(kCorpus)) {
        if (entry.path().extension() != ".qfl") continue;
        ++scripts;
        SCOPED_TRACE(entry.path().filename().string());
        const std::string script = readFile(entry.path());
        const std::string statements = joined(instrument(script));
        SCOPED_TRACE(statements);
        QfnTest::ScriptResult original = QfnTest::runScript(script);
        QfnTest::ScriptResult instrumented = QfnTest::runScript(statements);
        ASSERT_TRUE(original.parsed);
        ASSERT_TRUE(instrumented.parsed);
        EXPECT_EQ(instrumented.text(), original.text());
    }
    EXPECT_GE(scripts, 30);

    const std::string script =
        "//@yieldoff\nx = 2; y = 'a;\nb' /* c;\n */\n//@yieldon\n"
        "function g(n) { if (n > 1) { return n * g(n - 1); }\n return 1; }\n"
        "if (x == 3) { z = 0 }\nelse { z = g(4) +\n  x }\n"
        "s = \"//\" + y + 'q\\'' // end\n"
        "s + z";
    QfnTest::ScriptResult original = QfnTest::runScript(script);
    ASSERT_TRUE(original.parsed);
    EXPECT_EQ(original.text(), "\"//a;\\nbq'26\"");
    EXPECT_EQ(QfnTest::runScript(joined(instrument(script))).text(), original.text());
}

TEST(InstrumentScriptStreamTask, NeedsItsObjectScopeAndAPromptedStream)
{
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(InstrumentScriptStreamTask::factory(nullptr, Qfn::InternalCoordinator::scopeFactory(), "",
                                                     InputStreamString::factory("a")));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'wrapped_this' evaluates to false"));

    auto plain = InstrumentScriptStreamTask::factory(OMStored::undefinedFactory(),
                                                     Qfn::InternalCoordinator::scopeFactory(), "",
                                                     InputStreamString::factory("a;"));
    ASSERT_TRUE(plain);
    EXPECT_TRUE(plain->runToCompletion());
    EXPECT_FALSE(plain->getRetValBool());
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'ioStream' evaluates to false"));

    auto output = OutputStreamString::factory();
    auto noScope = InstrumentScriptStreamTask::factory(
        OMStored::undefinedFactory(), nullptr, "",
        IOStreamPrompted::factory(InputStreamString::factory("a;"), output));
    ASSERT_TRUE(noScope);
    EXPECT_TRUE(noScope->runToCompletion());
    EXPECT_FALSE(noScope->getRetValBool());
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'fScope' evaluates to false"));
    EXPECT_EQ(output->getAndClearBuffer(), "");
}
