// The built-in functions, group by group, each with its misuses: a misuse gives Undefined, leaves
// its text in the script-error log, and the script goes on.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Log.h"
#include "QfnParser/builtins/ScriptErrorLog.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/streams/OpenedFile.h"
#include "QfnParser/streams/OutputStreamString.h"
#include "QfnParser/tasks/script/EvalTask.h"
#include "QfnParser/tasks/script/ParseAndEvalStreamTask.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"
#include "support/LogCapture.h"
#include "support/ScopedDataHome.h"
#include "support/ScriptRunner.h"

using namespace Qfn;
using QfnTest::runScript;

namespace {

// Each test has a folder of its own and the script-error log switched on into a file there.
class Builtins : public ::testing::Test {
protected:
    void SetUp() override
    {
        fStoredCount = OMStored::getOMStoredCount();
        char pattern[] = "/tmp/qfn-builtins-XXXXXX";
        const char* made = ::mkdtemp(pattern);
        ASSERT_NE(made, nullptr);
        fDir = std::string(made) + "/";
        ScriptErrorLog::setFilePath(fDir + "script-errors.log");
        Log::setIsLogScriptError(true);
    }
    void TearDown() override
    {
        Log::setIsLogScriptError(false);
        ScriptErrorLog::setFilePath("");
        InternalCoordinator::clearDataRequestCallBacks();
        Task::deregisterAllTasks();
        EXPECT_EQ(OMStored::getOMStoredCount(), fStoredCount) << "nodes were not freed";
        Dirs::rmDir(fDir, DirRecurse::RECURSE);
    }

    static std::string valueOf(const std::string& script) { return runScript(script).text(); }

    // The lines of the script-error log so far; the log starts empty again.
    std::vector<std::string> takeScriptErrors()
    {
        if (!Dirs::fileExists(fDir + "script-errors.log")) return {};
        std::vector<std::string> lines = Utils::lineStrSplit(Dirs::slurpFile(fDir + "script-errors.log"));
        std::remove((fDir + "script-errors.log").c_str());
        return lines;
    }

    // Runs the script, which must go on past its misuse to the end, and gives the log's lines.
    std::vector<std::string> misuse(const std::string& script, const std::string& expectedValue)
    {
        QfnTest::LogCapture capture(1);  // a misuse may fail checks on its way as well
        EXPECT_EQ(valueOf(script), expectedValue) << script;
        return takeScriptErrors();
    }

    int64_t fStoredCount = 0;
    std::string fDir;
};

using Lines = std::vector<std::string>;

}  // namespace

TEST_F(Builtins, Numbers)
{
    EXPECT_EQ(valueOf("[abs(-3), (-2.5).abs(), sqr(3), sqrt(16), 2.25.sqrt()]"),
              "[3, 2.500000, 9, 4, 1.500000]");
    EXPECT_EQ(valueOf("sqrt(-1)"), "NaN");
    EXPECT_EQ(
        valueOf("[isNaN('abc'), isNaN('12'), isNaN(NaN), isNaN(5), isNaN(1.5), isNaN([1]), isNaN(null)]"),
        "[true, false, true, false, false, true, true]");
    EXPECT_EQ(valueOf("[parseFloat('3.25xyz'), parseFloat(' -1e3'), parseFloat('x')]"),
              "[3.250000, -1000.000000, NaN]");
    EXPECT_EQ(
        valueOf(
            "[parseInt('12', 1), parseInt('ff', 16), parseInt('0x1A'), parseInt('3.7'), parseInt('abc')]"),
        "[12, 255, 26, 3, NaN]");
    EXPECT_EQ(valueOf("parseInt('12', 37)"), "NaN");
    EXPECT_TRUE(takeScriptErrors().empty());

    EXPECT_EQ(misuse("a = parseFloat(); b = 1; [a, b]", "[undefined, 1]"), Lines{"insufficient arguments"});
    EXPECT_EQ(misuse("a = parseFloat('1', '2'); [a, 2]", "[undefined, 2]"), Lines{"too many arguments"});
    EXPECT_EQ(misuse("a = parseInt(); [a, 3]", "[NaN, 3]"), Lines{"insufficient arguments"});
    EXPECT_EQ(misuse("[abs(), sqrt()]", "[undefined, undefined]"),
              (Lines{"insufficient arguments", "insufficient arguments"}));
}

TEST_F(Builtins, Text)
{
    EXPECT_EQ(valueOf("a = 'abcd'; b = a.toUpperCase(); b"), "\"ABCD\"");
    EXPECT_EQ(valueOf("toLowerCase('AbC' + 1)"), "\"abc1\"");
    EXPECT_EQ(valueOf("a = 'abcde'; [a.substr(1, 2), a.substr(1), a.substr(), a.substr(9), a.substr(-3, 2)]"),
              "[\"bc\", \"bcde\", \"abcde\", \"\", \"ab\"]");
    EXPECT_EQ(
        valueOf("a = 'abcabc'; [a.indexOf('cab'), a.indexOf('b', 2), a.indexOf('b', 99), a.indexOf('x'),"
                " ''.indexOf('a'), a.indexOf('')]"),
        "[2, 4, 1, -1, -1, -1]");
    EXPECT_EQ(valueOf("[enquote('a\"b'), 'x'.enquote(\"'\"), enquote(12)]"),
              "[\"\\\"a\\\\\\\"b\\\"\", \"'x'\", \"\\\"12\\\"\"]");
    EXPECT_EQ(runScript("x = {b: [1, 'two'], a: 1.5}; x.toString()").value->getString(),
              "{ \"a\": 1.500000, \"b\": [1, \"two\"] }");
    EXPECT_EQ(runScript("x = {b: [1, 'two'], a: 1.5}; stringify(x)").value->getString(),
              "{\"a\":1.500000, \"b\":[1, \"two\"]}");
    EXPECT_TRUE(takeScriptErrors().empty());

    EXPECT_EQ(misuse("a = substr(); b = indexOf('a'); c = enquote(); [a, b, c, 4]",
                     "[undefined, undefined, undefined, 4]"),
              (Lines{"insufficient arguments", "insufficient arguments", "insufficient arguments"}));
}

TEST_F(Builtins, ArraysAndMaps)
{
    EXPECT_EQ(valueOf("[keys({b: 1, a: 2}), [5, 6].keys(), keys(5)]"), "[[\"a\", \"b\"], [0, 1], undefined]");
    EXPECT_EQ(valueOf("[size([1, 2, 3]), size({a: 1}), size('abc'), size(7)]"), "[3, 1, 0, 0]");
    // `length` needs no parentheses, and a map's own member of that name wins.
    EXPECT_EQ(valueOf("a = [1, 2, 3]; b = a.length; b"), "3");
    EXPECT_EQ(valueOf("a = 'abcde'; b = a.length + 2; b"), "7");
    EXPECT_EQ(valueOf("m = {length: 'own', x: 1}; [m.length, {x: 1}.length, length('ab')]"),
              "[\"own\", undefined, 2]");
    // push stores as assignment does: a scalar is copied, a container shared.
    EXPECT_EQ(valueOf("a = [1]; b = 5; c = {k: 1}; r = a.push(b); a.push(c); b = 6; c.k = 2; [r === a, a]"),
              "[true, [1, 5, { \"k\": 2 }]]");
    EXPECT_EQ(valueOf("a = [1, 2]; p = a.pop(); [p, a, [].pop()]"), "[2, [1], undefined]");
    {
        QfnTest::LogCapture capture(1);
        EXPECT_EQ(valueOf("a = [1]; r = a.push(a); [r, a.length]"), "[error, 1]");
        EXPECT_EQ(valueOf("r = push(5, 1); r"), "error");
        EXPECT_EQ(capture.countContaining("push failed"), 2u);
    }
    EXPECT_TRUE(takeScriptErrors().empty());
    EXPECT_EQ(misuse("a = push([1]); b = keys(); [a, b, size(), 5]", "[undefined, undefined, undefined, 5]"),
              (Lines{"insufficient arguments", "insufficient arguments", "insufficient arguments"}));
}

TEST_F(Builtins, Reference)
{
    const std::string data = "a = {x: 1, z: {x: 2, p: {x: 3}}}; ";
    EXPECT_EQ(valueOf(data + "reference('a/x', 'selectfirst')"), "1");
    EXPECT_EQ(valueOf(data + "a.reference('z/x', 'selectarray')[0]"), "2");
    EXPECT_EQ(valueOf(data + "reference(a, 'z/p/x')"), "3");
    // As an assignment target: over the scope's variables, and over every match of a pattern.
    EXPECT_EQ(valueOf("reference('b') = 1212; b"), "1212");
    EXPECT_EQ(valueOf(data + "a.reference('*.+/x') = 9; [a.x, a.z.x, a.z.p.x]"), "[9, 9, 9]");
    EXPECT_TRUE(takeScriptErrors().empty());

    EXPECT_EQ(misuse(data + "r = reference(); s = a.reference(); [r, s, 6]", "[undefined, undefined, 6]"),
              (Lines{"insufficient arguments", "insufficient arguments"}));
    EXPECT_EQ(misuse(data + "r = reference('a/nothing/x', 'selectfirst'); [typeof r, 7]", "[\"error\", 7]"),
              Lines{"cannot access reference"});
}

TEST_F(Builtins, Paths)
{
    EXPECT_EQ(
        valueOf("[pathSegmentFromLeft('/Users/someone/Desktop', 1), "
                "pathSegmentFromLeft('/Users/someone/Desktop', 1, '\\\\'),"
                " pathSegmentFromRight('/a/b/c', 0), 'C:\\\\Users\\\\x'.pathSegmentFromLeft(0, '\\\\')]"),
        "[\"Users\", \"\", \"c\", \"C:\"]");
    EXPECT_EQ(valueOf("['/a/b/c'.parentPath(), parentPath('c')]"), "[\"/a/b/\", \"\"]");
    EXPECT_EQ(
        valueOf("[dirExists('" + fDir + "'), fileExists('" + fDir + "'), fileExists('" + fDir + "none')]"),
        "[true, false, false]");
    const char* home = std::getenv("HOME");
    EXPECT_EQ(runScript("getEnv('HOME')").value->getString(), home ? home : "");
    EXPECT_EQ(valueOf("getEnv('QFN_SURELY_NOT_SET_ANYWHERE')"), "\"\"");
    EXPECT_TRUE(takeScriptErrors().empty());
    EXPECT_EQ(misuse("a = pathSegmentFromLeft('/a'); b = getEnv(); [a, b, 8]", "[undefined, undefined, 8]"),
              (Lines{"insufficient arguments", "insufficient arguments"}));
}

TEST_F(Builtins, Files)
{
    const std::string path = fDir + "f.txt";
    const std::string quoted = "'" + path + "'";
    EXPECT_EQ(valueOf("writeFile(" + quoted + ", 'one\\ntwo\\n')"), "true");
    EXPECT_EQ(valueOf("readFile(" + quoted + ")"), "\"one\\ntwo\\n\"");
    // Append, then read by delimiter, by count and to the end.
    EXPECT_EQ(valueOf("f = fileOpen(" + quoted +
                      ", ' Append '); w = fileWrite(f, 'three'); c = fileClose(f); [w, c]"),
              "[true, true]");
    EXPECT_EQ(valueOf("f = fileOpen(" + quoted +
                      "); r = [fileRead(f, '\\n'), fileRead(f, 2), fileRead(f, '\\n'),"
                      " fileRead(f), fileRead(f)]; fileClose(f); r"),
              "[\"one\", \"tw\", \"o\", \"three\", \"\"]");
    EXPECT_EQ(valueOf("f = fileOpen(" + quoted + ", 'w'); fileWrite(f, 12.5); fileClose(f); readFile(" +
                      quoted + ")"),
              "\"12.500000\"");
    // A relative path is read from the folder of the running script.
    {
        QfnTest::ScriptResult result = runScript("1");
        ASSERT_TRUE(result.scope->pushScriptFilePath(fDir + "main.qfl"));
        EXPECT_EQ(runScript("readFile('f.txt')", result.scope).text(), "\"12.500000\"");
        ASSERT_TRUE(result.scope->popScriptFilePath());
    }
    EXPECT_TRUE(takeScriptErrors().empty());

    const size_t openBefore = OpenedFile::getOpenedFileCount();
    EXPECT_EQ(
        misuse("f = fileOpen(" + quoted + "); fileClose(f); a = fileClose(f); b = fileRead(f); [a, b, 1]",
               "[undefined, undefined, 1]"),
        (Lines{"file not open", "file not open"}));
    EXPECT_EQ(
        misuse("[fileRead(0), fileWrite(-1, 'x'), fileClose(0), 2]", "[undefined, undefined, undefined, 2]"),
        (Lines{"fileId <= 0", "fileId <= 0", "fileId <= 0"}));
    EXPECT_EQ(misuse("f = fileOpen(" + quoted + ", 'x'); [f, 3]", "[undefined, 3]"),
              Lines{"unexpected file mode"});
    EXPECT_EQ(misuse("r = fileOpen(" + quoted + "); w = fileOpen(" + quoted +
                         ", 'a');"
                         " o = [fileWrite(r, 'x'), fileRead(w)]; fileClose(r); fileClose(w); o",
                     "[undefined, undefined]"),
              (Lines{"file not opened for writing", "file not opened for read"}));
    EXPECT_EQ(misuse("[fileOpen(), fileRead(), fileWrite(1), writeFile('x'), 4]",
                     "[undefined, undefined, undefined, undefined, 4]"),
              Lines(4, "insufficient arguments"));
    EXPECT_EQ(OpenedFile::getOpenedFileCount(), openBefore);

    // A file a script leaves open is flushed and closed with the process.
    EXPECT_EQ(valueOf("f = fileOpen('" + fDir + "left-open.txt', 'w'); fileWrite(f, 'kept'); typeof f"),
              "\"number\"");
    EXPECT_EQ(OpenedFile::getOpenedFileCount(), openBefore + 1);
    OpenedFile::closeAll();
    EXPECT_EQ(OpenedFile::getOpenedFileCount(), 0u);
    EXPECT_EQ(Dirs::slurpFile(fDir + "left-open.txt"), "kept");
}

TEST_F(Builtins, Logging)
{
    QfnTest::LogCapture capture(4);
    EXPECT_EQ(valueOf("logError('e!'); logWarning('w!'); logNote('n' + 1); logTrace(2.5); 9"), "9");
    EXPECT_EQ(capture.countContaining("ERROR"), 1u);
    EXPECT_TRUE(capture.hasLineEndingWith("e!"));
    EXPECT_TRUE(capture.hasLineEndingWith("w!"));
    EXPECT_TRUE(capture.hasLineEndingWith("n1"));
    EXPECT_TRUE(capture.hasLineEndingWith("2.500000"));
    // With the log off, a misuse writes nothing.
    Log::setIsLogScriptError(false);
    EXPECT_EQ(valueOf("[substr(), 1]"), "[undefined, 1]");
    EXPECT_TRUE(takeScriptErrors().empty());
    Log::setIsLogScriptError(true);
    EXPECT_EQ(misuse("logError(); 5", "5"), Lines{"insufficient arguments"});
}

TEST_F(Builtins, EvalAndEvalScript)
{
    EXPECT_EQ(valueOf("r = eval('x = 5; x * 2'); [r, x]"), "[10, 5]");
    // Into a map: the script's variables are the map's members, and it reads the caller's.
    EXPECT_EQ(valueOf("z = 3; m = {}; r = eval(m, 'w = z + 1; z = 0; w'); [r, m, z]"),
              "[4, { \"w\": 4, \"z\": 0 }, 3]");
    Dirs::writeFile(fDir + "inc.qfl", "n = n + 1; p = scriptFilePath(); n * 100");
    EXPECT_EQ(valueOf("n = 1; r = evalScript('" + fDir + "inc.qfl'); [r, n, p, scriptFilePath()]"),
              "[200, 2, \"" + fDir + "inc.qfl\", \"\"]");
    EXPECT_TRUE(takeScriptErrors().empty());

    EXPECT_EQ(misuse("a = eval('1 +* ;'); [a, 1]", "[undefined, 1]"), Lines{"cannot evaluate string"});
    EXPECT_EQ(misuse("a = evalScript('" + fDir + "none.qfl'); [a, 2]", "[undefined, 2]"),
              Lines{"evalScript: script file does not exist"});
    EXPECT_EQ(misuse("a = eval(); b = evalScript({}); [a, b, 3]", "[undefined, undefined, 3]"),
              (Lines{"insufficient arguments", "insufficient arguments"}));
    // Scripts for another coordinator, and sending data to one, need the pipes.
    QfnTest::LogCapture capture(1);
    EXPECT_EQ(valueOf("eval('1', 'qfn:////x')"), "null");
    EXPECT_EQ(valueOf("sendData('id', 1)"), valueOf("noSuchFunction(1)"));
    EXPECT_TRUE(capture.hasLineEndingWith("function not found: eval"));
    EXPECT_TRUE(capture.hasLineEndingWith("function not found: sendData"));
}

TEST_F(Builtins, ParseScriptRunsStatementByStatementInAScopeOfItsOwn)
{
    EXPECT_EQ(valueOf("c = 0; r = parseScript('a = 2; c = a * 21;\\nfor (i = 0; i < 3; ++i) { c = c + 1; "
                      "}'); [r, c, typeof a]"),
              "[true, 45, \"error\"]");
    EXPECT_EQ(misuse("r = parseScript(); [r, 1]", "[undefined, 1]"), Lines{"insufficient arguments"});
    EXPECT_EQ(misuse("r = parseScript('1', 'sideways'); [r, 2]", "[undefined, 2]"),
              Lines{"unexpected parseScript option"});
    // A run that does not end in time gives false.
    int64_t start = Clock::nowNanoseconds();
    EXPECT_EQ(valueOf("parseScript('while (true) { }', 'timeOut', 30000)"), "false");
    EXPECT_GE(Clock::nowNanoseconds() - start, 30000000);
    // Without waiting: true at once, the callback has the outcome later.
    QfnTest::ScriptResult result =
        runScript("done = 'no'; parseScript('y = 1', 'noWait', function(ok) { done = ok; })");
    EXPECT_EQ(result.text(), "true");
    for (int round = 0; round < 1000 && result.variable("done")->getType() != OMType::Bool; ++round) {
        int64_t budget = 10000;
        Task::runActiveTasks(budget);
    }
    EXPECT_EQ(result.variable("done")->toString(), "true");
}

TEST_F(Builtins, SysInfoAndCallBacks)
{
    QfnTest::ScopedDataHome dataHome;
    QfnTest::ScriptResult info = runScript(
        "s = sysInfo(); [s.isLinux, s.isWindows, s.isMac, s.platform, s.pathSeparator,"
        " s.version, s.buildNumber, s.pid, s.prompt, s.defaultTimeoutMicroseconds]");
    EXPECT_EQ(info.text(), "[true, false, false, \"linux\", \"/\", \"0.1.1\", 1, " +
                               std::to_string(::getpid()) + ", \"\\\"> \\\"\", 10000000]");
    auto sysInfo = info.variable("s");
    ASSERT_TRUE(sysInfo);
    EXPECT_EQ(sysInfo->getSize(), 51u);
    EXPECT_EQ(sysInfo->getOMNode("maxCallDepth")->getInt(), 100000);
    EXPECT_EQ(sysInfo->getOMNode("gatewayPort")->getString(), "9888");
    EXPECT_EQ(sysInfo->getOMNode("USERDATA_DIR")->getString(), dataHome.path());
    EXPECT_EQ(sysInfo->getOMNode("sessionDataPath")->getString(),
              dataHome.path() + "net.quillfern/SessionData/" + InternalCoordinator::getName() + ".json");
    EXPECT_EQ(valueOf("setDataRequestCallBack('net.x.id', function(d) { return d; })"), "true");
    const InternalCoordinator::DataRequestCallBack* callBack =
        InternalCoordinator::getDataRequestCallBack("net.x.id");
    ASSERT_NE(callBack, nullptr);
    EXPECT_EQ(callBack->fCallBackFunction->getType(), OMType::Function);
    EXPECT_TRUE(takeScriptErrors().empty());
    EXPECT_EQ(misuse("f = function() {}; [setDataRequestCallBack('', f), setDataRequestCallBack(5, f),"
                     " setDataRequestCallBack('id'), 1]",
                     "[undefined, undefined, undefined, 1]"),
              (Lines{"empty callBack ID", "invalid callBack ID", "insufficient arguments"}));
}

TEST_F(Builtins, YieldSuspendsOnlyItsOwnTask)
{
    auto script = OMStored::undefinedFactory();
    ASSERT_TRUE(ParseTask::call(script, "before = 1; yield(50); after = 1"));
    auto scope = InternalCoordinator::scopeFactory();
    auto yielding = EvalTask::factory(script, scope, HandleReturnValue::UNWRAP);
    auto counting = OMStored::undefinedFactory();
    ASSERT_TRUE(ParseTask::call(counting, "n = 0; while (n < 100000000) { ++n }"));
    auto countScope = InternalCoordinator::scopeFactory();
    auto counter = EvalTask::factory(counting, countScope, HandleReturnValue::UNWRAP);
    ASSERT_TRUE(yielding && counter);
    ASSERT_TRUE(Task::startTask(yielding));
    ASSERT_TRUE(Task::startTask(counter));
    int64_t start = Clock::nowNanoseconds();
    int64_t countWhileYielding = -1;
    for (int round = 0; round < 100000 && !yielding->getIsTaskCompleted(); ++round) {
        int64_t budget = 2000;
        Task::runActiveTasks(budget);
        std::shared_ptr<IOMNode> before, after, n;
        if (scope->readMember("before", before) && !scope->readMember("after", after) &&
            countScope->readMember("n", n))
            countWhileYielding = n->getInt();
    }
    ASSERT_TRUE(yielding->getIsTaskCompleted());
    EXPECT_GE(Clock::nowNanoseconds() - start, 50000000);
    EXPECT_GT(countWhileYielding, 0) << "the other task made no progress meanwhile";
    std::shared_ptr<IOMNode> after;
    EXPECT_TRUE(scope->readMember("after", after));
}

TEST_F(Builtins, ExitEndsTheScriptWhereItStands)
{
    auto script = OMStored::undefinedFactory();
    ASSERT_TRUE(ParseTask::call(script, "a = 1; if (a) { exit(); } a = 2"));
    auto scope = InternalCoordinator::scopeFactory();
    auto task = EvalTask::factory(script, scope, HandleReturnValue::UNWRAP);
    ASSERT_TRUE(task && task->runToCompletion());
    EXPECT_TRUE(task->getIsTaskCompleted());
    std::shared_ptr<IOMNode> a;
    ASSERT_TRUE(scope->readMember("a", a));
    EXPECT_EQ(a->getInt(), 1);
}

TEST_F(Builtins, OutputAndStdInUseTheScriptsStream)
{
    auto input = InputStreamString::factory(
        "line = stdIn()\nhello world\noutput('got ', line, '!')\nline2 = stdIn()\n");
    auto output = OutputStreamString::factory();
    auto stream = IOStreamPrompted::factory(input, output);
    stream->setPrompt(OMStored::factory(""));
    stream->setPromptContinuation(OMStored::factory(""));
    auto scope = InternalCoordinator::scopeFactory();
    auto task = ParseAndEvalStreamTask::factory(OMStored::undefinedFactory(), scope, stream);
    ASSERT_TRUE(task);
    for (int slice = 0; slice < 1000 && !task->getIsTaskCompleted(); ++slice) {
        if (input->getPos() >= 64 && !input->atEOF()) input->setEOF();
        task->runTimeslice(100000);
    }
    ASSERT_TRUE(task->getIsTaskCompleted());
    std::string written = output->getAndClearBuffer();
    EXPECT_NE(written.find("got hello world!"), std::string::npos) << written;
    std::shared_ptr<IOMNode> line2;
    ASSERT_TRUE(scope->readMember("line2", line2));
    EXPECT_EQ(line2->getType(), OMType::Undefined) << line2->toString();
}
