// The program as people run it: scripts from a file or standard input, the interactive prompt on a
// terminal, a startup script, and the files by which a coordinator claims its name.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using QfnTest::ProcessRunner;

namespace {

std::string writeScript(const ProcessRunner& process, const std::string& name, const std::string& text)
{
    std::string path = process.directory() + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

// Ended by itself, with status 0, no ERROR line and no leaked objects.
void expectCleanEnd(ProcessRunner& process)
{
    ASSERT_TRUE(process.waitForExit(10000ms)) << process.standardError();
    EXPECT_TRUE(process.exitedNormally());
    EXPECT_EQ(process.exitStatus(), 0);
    std::string errors = process.standardError();
    EXPECT_EQ(errors.find("ERROR"), std::string::npos) << errors;
    EXPECT_EQ(errors.find("getObjectCount"), std::string::npos) << errors;
}

std::string sessionFolder(const ProcessRunner& process)
{
    return process.dataDirectory() + "/net.quillfern/SessionData/";
}

}  // namespace

TEST(RunModes, ScriptFilePrintsExactlyWhatItOutputs)
{
    ProcessRunner process({QFN_BINARY_PATH, "-f", "script.qfl"});
    writeScript(process, "script.qfl",
                "x = 1 + 2\noutput('x=', x, '\\n');\nfunction f(n) { return n * 2 }\noutput(f(21));\n"
                "output(scriptFilePath().pathSegmentFromRight(0))");
    // A relative path is taken from the working directory: run the binary from the process folder.
    ProcessRunner inFolder({"/bin/sh", "-c", std::string("cd \"$0\" && exec \"$1\" -f script.qfl"),
                            process.directory(), QFN_BINARY_PATH});
    ASSERT_TRUE(inFolder.start());
    expectCleanEnd(inFolder);
    EXPECT_EQ(inFolder.standardOutput(), "x=3\n42script.qfl");
}

TEST(RunModes, ABadStatementIsReportedAndTheScriptGoesOn)
{
    ProcessRunner process({QFN_BINARY_PATH, "-f", "placeholder"});
    std::string path = writeScript(process, "bad.qfl", "output('a');\nb = 1 + * 2\noutput('c');\n");
    ProcessRunner run({QFN_BINARY_PATH, "-f", path});
    ASSERT_TRUE(run.start());
    ASSERT_TRUE(run.waitForExit(10000ms));
    EXPECT_EQ(run.standardOutput(), "ac");
    EXPECT_NE(run.standardError().find("parsing failed"), std::string::npos) << run.standardError();
    // For people: where, what, the line and a caret under the place.
    EXPECT_NE(run.standardError().find(path + ":2:9: unexpected character\nb = 1 + * 2\n        ^\n"),
              std::string::npos)
        << run.standardError();
    ProcessRunner typed({QFN_BINARY_PATH, "-I"});
    typed.setStandardInput("a = 1\n\nif (a { 2 }\n");
    ASSERT_TRUE(typed.start());
    ASSERT_TRUE(typed.waitForExit(10000ms));
    EXPECT_NE(typed.standardError().find("<stdin>:3:7: expected closing ')'\nif (a { 2 }\n      ^\n"),
              std::string::npos)
        << typed.standardError();
}

TEST(RunModes, StandardInputAsAScript)
{
    {
        ProcessRunner process({QFN_BINARY_PATH, "-f", "-"});
        process.setStandardInput("a = 20\noutput(a + 22);\n");
        ASSERT_TRUE(process.start());
        expectCleanEnd(process);
        EXPECT_EQ(process.standardOutput(), "42");
    }
    {
        // -I prints each statement's result as well.
        ProcessRunner process({QFN_BINARY_PATH, "-I"});
        process.setStandardInput("a = 20\noutput('out');\n[a, a + 1]\n");
        ASSERT_TRUE(process.start());
        expectCleanEnd(process);
        EXPECT_EQ(process.standardOutput(), "20\noutundefined\n[20, 21]\n");
    }
}

TEST(RunModes, InteractivePromptOnATerminal)
{
    ProcessRunner process({QFN_BINARY_PATH, "-i", "-p", "qf> ", "-P", "..> "});
    ASSERT_TRUE(process.startInTerminal());
    ASSERT_TRUE(process.waitForTerminal("qf> ", 10000ms)) << process.terminalOutput();
    size_t mark = process.terminalOutput().size();
    // Typed keys are echoed; a backspace erases the 9.
    ASSERT_TRUE(
        process.typeKeys("x = 49\x7f"
                         "2\r"));
    ASSERT_TRUE(process.waitForTerminal("42", 5000ms, mark)) << process.terminalOutput();
    EXPECT_NE(process.terminalOutput().find("x = 4", mark), std::string::npos);
    mark = process.terminalOutput().size();
    // Inside brackets the continuation prompt shows.
    ASSERT_TRUE(process.typeKeys("y = [x,\r"));
    ASSERT_TRUE(process.waitForTerminal("..> ", 5000ms, mark)) << process.terminalOutput();
    ASSERT_TRUE(process.typeKeys("1]\r"));
    ASSERT_TRUE(process.waitForTerminal("[42, 1]", 5000ms, mark)) << process.terminalOutput();
    ASSERT_TRUE(process.typeKeys("quit()\r"));
    expectCleanEnd(process);
}

TEST(RunModes, InteractivePromptEndsAtEndOfInput)
{
    ProcessRunner process({QFN_BINARY_PATH, "-i"});
    ASSERT_TRUE(process.startInTerminal());
    ASSERT_TRUE(process.waitForTerminal("> ", 10000ms)) << process.terminalOutput();
    ASSERT_TRUE(process.typeKeys("1 + 1\r"));
    ASSERT_TRUE(process.waitForTerminal("2", 5000ms));
    ASSERT_TRUE(process.typeKeys("\x04"));
    expectCleanEnd(process);
}

TEST(RunModes, AScriptFileThenThePromptWithI)
{
    ProcessRunner process({QFN_BINARY_PATH, "-f", "placeholder", "-i"});
    std::string path = writeScript(process, "first.qfl", "a = 41\n");
    ProcessRunner interactive({QFN_BINARY_PATH, "-f", path, "-i"});
    ASSERT_TRUE(interactive.startInTerminal());
    ASSERT_TRUE(interactive.waitForTerminal("41", 10000ms)) << interactive.terminalOutput();
    size_t mark = interactive.terminalOutput().size();
    // What is typed waits in the terminal until the prompt reads it.
    ASSERT_TRUE(interactive.typeKeys("a + 1\r"));
    ASSERT_TRUE(interactive.waitForTerminal("42", 5000ms, mark)) << interactive.terminalOutput();
    ASSERT_TRUE(interactive.typeKeys("quit()\r"));
    expectCleanEnd(interactive);
}

TEST(RunModes, StartupScriptRunsBeforeServing)
{
    ProcessRunner process({QFN_BINARY_PATH, "-F", "placeholder"});
    std::string path =
        writeScript(process, "startup.qfl", "output('started ' + scriptFilePath().length + '\\n');");
    ProcessRunner serving({QFN_BINARY_PATH, "-F", path});
    ASSERT_TRUE(serving.start());
    ASSERT_TRUE(ProcessRunner::waitFor([&] { return serving.catchesSignal(SIGTERM); }, 10000ms));
    EXPECT_EQ(serving.standardOutput(), "started " + std::to_string(path.size()) + "\n");
    EXPECT_FALSE(serving.waitForExit(0ms)) << "without -f it serves on";
    ASSERT_TRUE(serving.sendSignal(SIGTERM));
    expectCleanEnd(serving);
}

TEST(RunModes, SwitchesThatSetValues)
{
    ProcessRunner process({QFN_BINARY_PATH, "-e", "7", "-o", "250", "-t", "x", "-f", "-"});
    process.setStandardInput("s = sysInfo(); output(s.consoleEcho, ' ', s.remoteTimeoutMicroseconds);");
    ASSERT_TRUE(process.start());
    expectCleanEnd(process);
    EXPECT_EQ(process.standardOutput(), "0 250000");
    EXPECT_EQ(process.standardError().find("startup tests"), std::string::npos);
}

TEST(SessionData, ASecondProcessOfTheSameNameRefusesToStart)
{
    ProcessRunner first({QFN_BINARY_PATH, "-n", "net.quillfern.coordinator.e2etwin"});
    ASSERT_TRUE(first.start());
    std::string pidFile = sessionFolder(first) + "net.quillfern.coordinator.e2etwin.pid";
    ASSERT_TRUE(ProcessRunner::waitFor([&] { return std::filesystem::exists(pidFile); }, 10000ms));
    ProcessRunner second({QFN_BINARY_PATH, "-n", "net.quillfern.coordinator.e2etwin"});
    second.addEnvironment("HOME=" + first.homeDirectory());
    second.addEnvironment("XDG_DATA_HOME=" + first.dataDirectory());
    ASSERT_TRUE(second.start());
    ASSERT_TRUE(second.waitForExit(10000ms));
    EXPECT_NE(
        second.standardError().find("processId == 0 || ! Process::isRunning(processId, fCoordinatorName)"),
        std::string::npos)
        << second.standardError();
    EXPECT_FALSE(first.waitForExit(0ms)) << "the first one serves on";
    ASSERT_TRUE(first.sendSignal(SIGTERM));
    expectCleanEnd(first);
}

TEST(SessionData, TheMainCoordinatorEndsWhenItsPidFileIsTaken)
{
    ProcessRunner process({QFN_BINARY_PATH});
    ASSERT_TRUE(process.start());
    std::string pidFile = sessionFolder(process) + "net.quillfern.coordinator.main.pid";
    ASSERT_TRUE(ProcessRunner::waitFor([&] { return std::filesystem::exists(pidFile); }, 10000ms));
    std::remove(pidFile.c_str());
    ASSERT_TRUE(process.waitForExit(10000ms));
    EXPECT_NE(
        process.standardError().find("published pid has changed; another coordinator node has taken over. "
                                     "Terminating"),
        std::string::npos)
        << process.standardError();
}

TEST(SessionData, SessionDataFileHoldsTheSysInfoMap)
{
    ProcessRunner process({QFN_BINARY_PATH, "-d", "-f", "-"});
    process.setStandardInput("s = sysInfo(); output(readFile(s.sessionDataPath) == stringify(s));");
    ASSERT_TRUE(process.start());
    expectCleanEnd(process);
    EXPECT_EQ(process.standardOutput(), "true");

    ProcessRunner without({QFN_BINARY_PATH, "-f", "-"});
    without.setStandardInput("output(fileExists(sysInfo().sessionDataPath));");
    ASSERT_TRUE(without.start());
    expectCleanEnd(without);
    EXPECT_EQ(without.standardOutput(), "false");
}

TEST(Configuration, ConfigIniAndTheCFileWithSectionsAndPlaceholders)
{
    ProcessRunner process({QFN_BINARY_PATH, "-c", "extra.ini", "-f", "-"});
    std::string sysConfig = process.dataDirectory() + "/net.quillfern/SysConfig";
    std::filesystem::create_directories(sysConfig);
    std::ofstream(sysConfig + "/config.ini") << "[config]\nremoteTimeoutMicroseconds=1000\nlogLevel=1\n"
                                                "[config.*]\nremoteTimeoutMicroseconds=2000\n"
                                                "defaultTimeoutMicroseconds=5000\n"
                                                "[config.net.quillfern.coordinator.main]\n"
                                                "remoteTimeoutMicroseconds=3000\n"
                                                "[config.net.quillfern.coordinator.other]\nconsoleEcho=3\n";
    std::ofstream(process.directory() + "/extra.ini") << "[config.net.quillfern.coordinator.*]\n"
                                                         "defaultTimeoutMicroseconds=7000\n"
                                                         "[config]\nprompt=\"${HOME_DIR}>\"\n";
    process.setStandardInput(
        "s = sysInfo(); output(s.remoteTimeoutMicroseconds, ' ', s.defaultTimeoutMicroseconds, ' ',"
        " s.consoleEcho, ' ', s.prompt, ' ', s.ini.length);");
    // The -c file is found from the working directory.
    ProcessRunner inFolder({"/bin/sh", "-c", "cd \"$0\" && exec \"$@\"", process.directory(), QFN_BINARY_PATH,
                            "-c", "extra.ini", "-f", "-"});
    inFolder.addEnvironment("HOME=" + process.homeDirectory());
    inFolder.addEnvironment("XDG_DATA_HOME=" + process.dataDirectory());
    inFolder.setStandardInput(
        "s = sysInfo(); output(s.remoteTimeoutMicroseconds, ' ', s.defaultTimeoutMicroseconds, ' ',"
        " s.consoleEcho, ' ', s.prompt, ' ', s.ini.length);");
    ASSERT_TRUE(inFolder.start());
    expectCleanEnd(inFolder);
    EXPECT_EQ(inFolder.standardOutput(), "3000 7000 1 \"" + process.homeDirectory() + "/>\" 2");
}

TEST(Examples, EveryExampleRunsToACleanEnd)
{
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(std::string(QFN_SOURCE_DIR) + "/examples")) {
        if (file.path().extension() != ".qfl") continue;
        ++count;
        ProcessRunner process({QFN_BINARY_PATH, "-f", file.path().string()});
        ASSERT_TRUE(process.start());
        expectCleanEnd(process);
        EXPECT_FALSE(process.standardOutput().empty()) << file.path();
        EXPECT_EQ(process.standardOutput().find("error"), std::string::npos) << process.standardOutput();
    }
    EXPECT_GE(count, 4u);
}

TEST(RunModes, SlicesShorterThanAnyStatementChangeNothing)
{
    // A budget of one microsecond ends a slice inside every statement: completions, child tasks and
    // parseScript's own tasks then meet at every possible point.
    ProcessRunner process({QFN_BINARY_PATH, "-c", "tiny.ini", "-f", "script.qfl"});
    std::string ini =
        writeScript(process, "tiny.ini", "[config]\ninternalCoordinatorTimesliceMicroseconds=1\n");
    std::string script = writeScript(process, "script.qfl",
                                     "for (i = 0; i < 3; ++i) { output(i) }\n"
                                     "for (k = 0; k < 3; ++k) { parseScript('a = k; output(a)') }\n"
                                     "n = 0; for (;;) { if (++n > 4) { break } }; output(n)\n"
                                     "function s(n) { return n == 0 ? 0 : 1 + s(n - 1) }\noutput(s(50))\n");
    ProcessRunner run({QFN_BINARY_PATH, "-c", ini, "-f", script});
    ASSERT_TRUE(run.start());
    expectCleanEnd(run);
    EXPECT_EQ(run.standardOutput(), "012012550");
}

TEST(RunModes, CommandLineMistakesAndExitStatus)
{
    struct Run {
        int status;
        std::string output;
        std::string errors;
    };
    ProcessRunner folder({QFN_BINARY_PATH});
    auto run = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), QFN_BINARY_PATH);
        ProcessRunner process(arguments);
        Run result{-1, "", ""};
        if (!process.start() || !process.waitForExit(10000ms)) return result;
        result = {process.exitStatus(), process.standardOutput(), process.standardError()};
        return result;
    };
    for (const char* help : {"-h", "--help"}) {
        Run shown = run({help});
        EXPECT_EQ(shown.status, 0) << help;
        EXPECT_EQ(shown.output.rfind("usage: quillferngw", 0), 0u) << shown.output;
        EXPECT_NE(shown.output.find("-f FILE"), std::string::npos);
        EXPECT_EQ(shown.errors, "");
    }
    // A command line that cannot be run: status 2, the reason and the usage, nothing runs.
    std::string script = writeScript(folder, "out.qfl", "output('ran')");
    Run noValue = run({"-f"});
    EXPECT_EQ(noValue.status, 2);
    EXPECT_NE(noValue.errors.find("-f needs a value"), std::string::npos) << noValue.errors;
    EXPECT_NE(noValue.errors.find("usage: quillferngw"), std::string::npos);
    Run notNumber = run({"-e", "abc", "-f", script});
    EXPECT_EQ(notNumber.status, 2);
    EXPECT_NE(notNumber.errors.find("-e needs a number"), std::string::npos) << notNumber.errors;
    EXPECT_EQ(notNumber.output, "");
    Run noConfig = run({"-c", folder.directory() + "/missing.ini", "-f", script});
    EXPECT_EQ(noConfig.status, 2);
    EXPECT_NE(noConfig.errors.find("cannot read the configuration file " + folder.directory() +
                                   "/missing.ini: No such file or directory"),
              std::string::npos)
        << noConfig.errors;
    EXPECT_EQ(noConfig.output, "");
    // A script run: 1 when a statement did not parse or the script cannot be read, else 0.
    Run bad = run({"-f", writeScript(folder, "bad.qfl", "output('a');\nb = 1 + * 2\noutput('c')\n")});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.output, "ac");
    Run missing = run({"-f", folder.directory() + "/none.qfl"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.errors.find("none.qfl: No such file or directory"), std::string::npos)
        << missing.errors;
    // A byte order mark opens a script and an ini file without a word.
    std::string ini = writeScript(folder, "bom.ini", "\xEF\xBB\xBF[config]\nprompt=\"p> \"\n");
    Run marked = run({"-c", ini, "-f",
                      writeScript(folder, "bom.qfl", "\xEF\xBB\xBFoutput(sysInfo().version, ' ', 1 + 1)")});
    EXPECT_EQ(marked.status, 0) << marked.errors;
    // A configuration value of the wrong kind is named in a warning; the default stays.
    Run wrongKinds = run({"-c", writeScript(folder, "kinds.ini", "[config]\nlogLevel=abc\nisServer=maybe\n"),
                          "-f", writeScript(folder, "level.qfl", "output(sysInfo().logLevel)")});
    EXPECT_EQ(wrongKinds.status, 0);
    EXPECT_EQ(wrongKinds.output, "2");
    EXPECT_NE(wrongKinds.errors.find("configuration key logLevel: \"abc\" is not a number; 2 is kept"),
              std::string::npos)
        << wrongKinds.errors;
    EXPECT_NE(wrongKinds.errors.find("configuration key isServer: \"maybe\" is not true or false; 0 is kept"),
              std::string::npos);
    EXPECT_EQ(wrongKinds.errors.find("throws"), std::string::npos) << wrongKinds.errors;
    // A line of an ini file that is nothing the format knows is a warning with its place.
    Run malformed = run({"-c", writeScript(folder, "lines.ini", "[config]\n\nnot an entry\n"), "-f", script});
    EXPECT_EQ(malformed.status, 0);
    EXPECT_EQ(malformed.output, "ran");
    EXPECT_NE(malformed.errors.find(
                  "lines.ini:3: neither a [section], a key=value entry nor a # comment: not an entry"),
              std::string::npos)
        << malformed.errors;
    Run version = run({"-v"});
    EXPECT_EQ(version.status, 0);
    // -v prints the version with its build number; sysInfo gives the same version.
    EXPECT_EQ(version.output.substr(0, version.output.find('b')) + " 2", marked.output);
}

TEST(RunModes, StdInOfAScriptFileReadsTheProcesssStandardInput)
{
    ProcessRunner process({QFN_BINARY_PATH, "-f", "placeholder"});
    std::string script = writeScript(process, "read.qfl",
                                     "a = stdIn(); output('1:', a, ';'); b = stdIn(); output('2:', b, ';')\n"
                                     "c = stdIn(); output('3:', typeof(c))\n");
    ProcessRunner run({QFN_BINARY_PATH, "-f", script});
    run.setStandardInput("first line\nsecond\n");
    ASSERT_TRUE(run.start());
    expectCleanEnd(run);
    // Not the rest of the script: the lines given on standard input, then nothing.
    EXPECT_EQ(run.standardOutput(), "1:first line;2:second;3:undefined");
}
