// The interactive prompt at a terminal, driven through a pseudo-terminal as a person types: line
// editing over UTF-8 text, the history and its file, Ctrl-C and Ctrl-D, and the terminal's modes
// given back however the process ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <termios.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using QfnTest::ProcessRunner;

namespace {

// Keys as an xterm sends them.
const std::string kLeft = "\x1b[D";
const std::string kRight = "\x1b[C";
const std::string kUp = "\x1b[A";
const std::string kDown = "\x1b[B";
const std::string kHome = "\x1b[H";
const std::string kEnd = "\x1b[F";
const std::string kDelete = "\x1b[3~";
const std::string kBackspace = "\x7f";
const std::string kCtrlC = "\x03";
const std::string kCtrlD = "\x04";

std::string repeat(const std::string& key, int times)
{
    std::string keys;
    for (int i = 0; i < times; ++i)
        keys += key;
    return keys;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// One run of `quillferngw -i` on a terminal; the screen is read on from where the last expected
// text was found.
class Prompt {
public:
    // An empty stateHome leaves XDG_STATE_HOME unset, so the history goes below HOME.
    explicit Prompt(const std::string& stateHome) : fProcess({QFN_BINARY_PATH, "-i"})
    {
        fProcess.addEnvironment("TERM=xterm");
        if (!stateHome.empty()) fProcess.addEnvironment("XDG_STATE_HOME=" + stateHome);
    }

    ::testing::AssertionResult start()
    {
        if (!fProcess.startInTerminal()) return ::testing::AssertionFailure() << "no terminal";
        return shows("> ");
    }
    bool type(const std::string& keys) { return fProcess.typeKeys(keys); }
    // Waits until the screen shows the text, then reads on after it.
    ::testing::AssertionResult shows(const std::string& text)
    {
        if (!fProcess.waitForTerminal(text, 5000ms, fMark))
            return ::testing::AssertionFailure()
                   << "no \"" << text << "\" after " << fMark << " in: " << fProcess.terminalOutput();
        fMark = fProcess.terminalOutput().find(text, fMark) + text.size();
        return ::testing::AssertionSuccess();
    }
    // The line typed, then Enter; its result follows on the screen.
    ::testing::AssertionResult evaluates(const std::string& keys, const std::string& result)
    {
        if (!type(keys + "\r")) return ::testing::AssertionFailure() << "cannot type";
        return shows("\r\n" + result + "\r\n> ");
    }
    ::testing::AssertionResult endsWithStatus(int status)
    {
        if (!fProcess.waitForExit(5000ms)) return ::testing::AssertionFailure() << "still running";
        const std::string errors = fProcess.standardError();
        if (fProcess.exitStatus() != status || errors.find("ERROR") != std::string::npos)
            return ::testing::AssertionFailure() << "status " << fProcess.exitStatus() << "\n" << errors;
        return ::testing::AssertionSuccess();
    }
    ProcessRunner& process() { return fProcess; }

private:
    ProcessRunner fProcess;
    size_t fMark = 0;
};

bool sameModes(const struct termios& a, const struct termios& b)
{
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag &&
           a.c_lflag == b.c_lflag && std::equal(a.c_cc, a.c_cc + NCCS, b.c_cc);
}

class LineEditor : public ::testing::Test {
protected:
    void SetUp() override
    {
#if !QFN_HAVE_LIBEDIT
        GTEST_SKIP() << "built without libedit: the plain reader serves the prompt";
#endif
        std::string pattern = std::filesystem::temp_directory_path().string() + "/qfn-state-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        fFolder = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        if (!fFolder.empty()) std::filesystem::remove_all(fFolder, ignored);
    }
    // Not there yet: the editor makes it.
    std::string stateHome() const
    {
        return fFolder + "/state";
    }
    std::string historyFile() const
    {
        return stateHome() + "/quillferngw/history";
    }

    std::string fFolder;
};

}  // namespace

TEST_F(LineEditor, KeysEditTheLineOverUtf8TextAndTheArrowsRecallEarlierLines)
{
    Prompt prompt(stateHome());
    ASSERT_TRUE(prompt.start());
    // Three steps left cross 'z', then 'é' as one character: 'b' lands before it, not inside it.
    EXPECT_TRUE(prompt.evaluates("'a\xc3\xa9z'" + repeat(kLeft, 3) + "b", "\"ab\\xC3\\xA9z\""));
    // Delete takes the 'é' after the cursor, backspace the one before it.
    EXPECT_TRUE(prompt.evaluates(
        "'x\xc3\xa9y\xc3\xa9'" + kHome + repeat(kRight, 2) + kDelete + kEnd + kLeft + kBackspace, "\"xy\""));
    EXPECT_TRUE(prompt.evaluates("6 * 7", "42"));
    EXPECT_TRUE(prompt.evaluates("2 + 3", "5"));
    EXPECT_TRUE(prompt.evaluates("2 + 3", "5"));
    EXPECT_TRUE(prompt.evaluates(kUp + kUp, "42")) << "a line typed again at once is kept once";
    EXPECT_TRUE(prompt.evaluates(kUp + kUp + kUp + kDown, "5"));
    // Keys typed while a line runs wait for the next line.
    ASSERT_TRUE(prompt.type("10 + 1\r10 + 2\r"));
    EXPECT_TRUE(prompt.shows("\r\n11\r\n> "));
    EXPECT_TRUE(prompt.shows("\r\n12\r\n> "));
    // A statement not finished at the end of the line asks for more with the continuation prompt.
    ASSERT_TRUE(prompt.type("[1,\r"));
    EXPECT_TRUE(prompt.shows("\r\n>> "));
    EXPECT_TRUE(prompt.evaluates("2]", "[1, 2]"));
    ASSERT_TRUE(prompt.type("quit()\r"));
    EXPECT_TRUE(prompt.endsWithStatus(0));
}

TEST_F(LineEditor, TheHistoryIsKeptBetweenRunsAndHoldsAThousandLines)
{
    {
        Prompt first(stateHome());
        ASSERT_TRUE(first.start());
        EXPECT_TRUE(first.evaluates("20 + 22", "42"));
        ASSERT_TRUE(first.type("quit()\r"));
        ASSERT_TRUE(first.endsWithStatus(0));
    }
    ASSERT_TRUE(std::filesystem::exists(historyFile())) << "the folder is made when missing";
    struct stat info {};
    ASSERT_EQ(stat(historyFile().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << "typed lines may hold secrets";

    Prompt second(stateHome());
    ASSERT_TRUE(second.start());
    // The last line of the first run was quit(); the one before it comes back.
    EXPECT_TRUE(second.evaluates(kUp + kUp, "42"));
    ASSERT_TRUE(second.type(kCtrlD));
    ASSERT_TRUE(second.endsWithStatus(0));

    // A longer file keeps its latest lines only.
    std::ofstream history(historyFile(), std::ios::binary | std::ios::trunc);
    history << "_HiStOrY_V2_\n";
    for (int i = 0; i < 1005; ++i)
        history << "old" << i << "\n";
    history.close();
    Prompt third(stateHome());
    ASSERT_TRUE(third.start());
    EXPECT_TRUE(third.evaluates("'new'", "\"new\""));
    ASSERT_TRUE(third.type(kCtrlD));
    ASSERT_TRUE(third.endsWithStatus(0));
    const std::string kept = readFile(historyFile());
    EXPECT_EQ(std::count(kept.begin(), kept.end(), '\n'), 1 + 1000);
    EXPECT_EQ(kept.find("\nold5\n"), std::string::npos);
    EXPECT_NE(kept.find("\nold6\n"), std::string::npos);
    EXPECT_TRUE(kept.ends_with("old1004\n'new'\n")) << kept.substr(kept.size() - 40);

    // Without XDG_STATE_HOME the history lives below the home folder.
    Prompt atHome("");
    ASSERT_TRUE(atHome.start());
    EXPECT_TRUE(atHome.evaluates("'at home'", "\"at home\""));
    ASSERT_TRUE(atHome.type(kCtrlD));
    ASSERT_TRUE(atHome.endsWithStatus(0));
    EXPECT_NE(readFile(atHome.process().homeDirectory() + "/.local/state/quillferngw/history").find("home"),
              std::string::npos);
}

TEST_F(LineEditor, CtrlCDropsTheLineBeingTypedAndStopsARunningStatement)
{
    Prompt prompt(stateHome());
    ASSERT_TRUE(prompt.start());
    ASSERT_TRUE(prompt.type("11+1"));
    ASSERT_TRUE(prompt.shows("11+1"));
    ASSERT_TRUE(prompt.type(kCtrlC));
    ASSERT_TRUE(prompt.shows("^C\r\n> "));
    EXPECT_TRUE(prompt.evaluates("40+2", "42")) << "not 11+140+2";
    const std::string history = readFile(historyFile());
    EXPECT_NE(history.find("40+2"), std::string::npos);
    EXPECT_EQ(history.find("11+1"), std::string::npos) << "a dropped line is not kept";
    // While a statement runs, Ctrl-C stops the coordinator, as it does without the editor.
    ASSERT_TRUE(prompt.type("output('run' + 'ning'); while (true) {}\r"));
    ASSERT_TRUE(prompt.shows("running"));
    ASSERT_TRUE(prompt.type(kCtrlC));
    EXPECT_TRUE(prompt.endsWithStatus(0));
}

TEST_F(LineEditor, CtrlDEndsTheInputOnlyOnAnEmptyLine)
{
    Prompt prompt(stateHome());
    ASSERT_TRUE(prompt.start());
    ASSERT_TRUE(prompt.type("1 + 2" + kCtrlD));
    EXPECT_TRUE(prompt.evaluates("", "3")) << "Ctrl-D at the end of a line changes nothing";
    EXPECT_FALSE(prompt.process().waitForExit(0ms));
    ASSERT_TRUE(prompt.type(kCtrlD));
    EXPECT_TRUE(prompt.endsWithStatus(0));
}

TEST_F(LineEditor, TheTerminalGetsItsModesBackHoweverTheProcessEnds)
{
    struct Ending {
        const char* name;
        std::function<bool(Prompt&)> end;
    };
    // The half line is dropped first where the ending needs a line of its own.
    auto dropLine = [](Prompt& p) { return p.type(kCtrlC) && p.shows("^C\r\n> "); };
    const std::vector<Ending> endings = {
        {"quit()", [&](Prompt& p) { return dropLine(p) && p.type("quit()\r"); }},
        {"Ctrl-D", [&](Prompt& p) { return dropLine(p) && p.type(kCtrlD); }},
        {"SIGTERM", [](Prompt& p) { return p.process().sendSignal(SIGTERM); }},
        {"SIGINT while a statement runs",
         [&](Prompt& p) {
             return dropLine(p) && p.type("output('bu' + 'sy'); while (true) {}\r") && p.shows("busy") &&
                    p.process().sendSignal(SIGINT);
         }},
        {"SIGHUP", [](Prompt& p) { return p.process().sendSignal(SIGHUP); }},
        {"SIGSEGV", [](Prompt& p) { return p.process().sendSignal(SIGSEGV); }},
    };
    for (const Ending& ending : endings) {
        SCOPED_TRACE(ending.name);
        Prompt prompt(stateHome());
        ASSERT_TRUE(prompt.start());
        // Half a line typed: the editor has the terminal in its own modes.
        ASSERT_TRUE(prompt.type("1 +"));
        ASSERT_TRUE(prompt.shows("1 +"));
        struct termios modes {};
        ASSERT_TRUE(prompt.process().terminalModes(modes));
        ASSERT_FALSE(sameModes(modes, prompt.process().terminalModesAtStart()));
        ASSERT_TRUE(ending.end(prompt));
        ASSERT_TRUE(prompt.process().waitForExit(5000ms)) << prompt.process().terminalOutput();
        ASSERT_TRUE(prompt.process().terminalModes(modes));
        EXPECT_TRUE(sameModes(modes, prompt.process().terminalModesAtStart()));
    }
}

TEST(LineEditorFallback, WithoutATerminalThePlainReaderServes)
{
    ProcessRunner process({QFN_BINARY_PATH, "-i"});
    process.setStandardInput("6 * 7\n");
    ASSERT_TRUE(process.start());
    ASSERT_TRUE(process.waitForExit(10000ms)) << process.standardError();
    EXPECT_EQ(process.exitStatus(), 0);
    EXPECT_NE(process.standardOutput().find("> 6 * 7\n42\n> "), std::string::npos)
        << process.standardOutput();
    EXPECT_FALSE(std::filesystem::exists(process.homeDirectory() + "/.local/state")) << "no history";
}
