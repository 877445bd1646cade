#include <gtest/gtest.h>

#include <fstream>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "QfnUtils/Dirs.h"
#include "QfnUtils/Process.h"
#include "support/LogCapture.h"
#include "support/ProcessRunner.h"
#include "support/ScopedDataHome.h"

extern char** environ;

using namespace Qfn;
using QfnTest::ProcessRunner;

namespace {

constexpr std::chrono::seconds kDeadline{10};

// A pid that no process has: above the kernel's limit.
constexpr unsigned long kMissingPid = 4194305;

// The state letter of /proc/<pid>/stat; 0 when the process is gone altogether.
char procState(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string stat;
    std::getline(file, stat);
    const size_t nameEnd = stat.rfind(')');
    return nameEnd == std::string::npos || nameEnd + 2 >= stat.size() ? 0 : stat[nameEnd + 2];
}

// Ends a launched process and waits until the launches have collected it.
void stopLaunched(unsigned long pid)
{
    ASSERT_EQ(::kill(static_cast<pid_t>(pid), SIGKILL), 0);
    EXPECT_TRUE(ProcessRunner::waitFor(
        [pid] {
            Process::reapChildren();
            return procState(static_cast<pid_t>(pid)) == 0;
        },
        kDeadline));
}

}  // namespace

TEST(ProcessIsRunning, OwnProcessRunsMissingAndZombieProcessesDoNot)
{
    QfnTest::LogCapture capture(3);
    EXPECT_TRUE(Process::isRunning(static_cast<unsigned long>(::getpid()), ""));
    EXPECT_TRUE(capture.lines().empty());

    EXPECT_FALSE(Process::isRunning(kMissingPid, ""));
    EXPECT_TRUE(capture.hasLineEndingWith("not running any more processId = 4194305"));
    EXPECT_FALSE(Process::isRunning(kMissingPid, "net.quillfern.coordinator.gone"));
    EXPECT_TRUE(capture.hasLineEndingWith(
        "not running any more processId = 4194305, coordinatorName = net.quillfern.coordinator.gone"));
    // 0 would address our own process group.
    EXPECT_FALSE(Process::isRunning(0, ""));

    // A child of ours that has ended but is not collected yet.
    pid_t zombie = 0;
    char truePath[] = "/bin/true";
    char* argv[] = {truePath, nullptr};
    ASSERT_EQ(::posix_spawn(&zombie, truePath, nullptr, nullptr, argv, environ), 0);
    ASSERT_TRUE(ProcessRunner::waitFor([zombie] { return procState(zombie) == 'Z'; }, kDeadline));
    EXPECT_FALSE(Process::isRunning(static_cast<unsigned long>(zombie), ""));
    EXPECT_EQ(::waitpid(zombie, nullptr, 0), zombie) << "children not launched here are left alone";
}

TEST(ProcessIsRunning, StalePidFileOfTheCoordinatorGoesAway)
{
    QfnTest::ScopedDataHome dataHome;
    const std::string name = "net.quillfern.coordinator.stale";
    const std::string pidFilePath = Process::getPidFilePath(name);
    EXPECT_EQ(pidFilePath, dataHome.path() + "net.quillfern/SessionData/" + name + ".pid");
    ASSERT_TRUE(Dirs::mkDir(Dirs::getParentPath(pidFilePath), DirRecurse::RECURSE));

    ASSERT_TRUE(Dirs::writeFile(pidFilePath, std::to_string(kMissingPid)));
    EXPECT_FALSE(Process::isRunning(kMissingPid, name));
    EXPECT_FALSE(Dirs::exists(pidFilePath));

    // A file naming a live process belongs to whoever took the name over: it stays.
    ASSERT_TRUE(Dirs::writeFile(pidFilePath, std::to_string(::getpid())));
    EXPECT_FALSE(Process::isRunning(kMissingPid, name));
    EXPECT_TRUE(Dirs::fileExists(pidFilePath));
    EXPECT_TRUE(Process::isRunning(static_cast<unsigned long>(::getpid()), name));
    EXPECT_TRUE(Dirs::fileExists(pidFilePath));
}

TEST(ProcessLaunch, SameArgumentsStartOneProcessWhileItRuns)
{
    // A copy of sleep under a name no other process on the machine has.
    QfnTest::ScopedDataHome dataHome;
    const std::string programName = "qfnsleep" + std::to_string(::getpid());
    const std::string programPath = dataHome.path() + programName;
    ASSERT_TRUE(Dirs::writeFile(programPath, Dirs::slurpFile("/bin/sleep")));
    ASSERT_EQ(::chmod(programPath.c_str(), 0755), 0);

    const std::vector<std::string> args = {programPath, "30"};
    QfnTest::LogCapture capture(3);
    const unsigned long first = Process::launchProcess(args, "");
    ASSERT_NE(first, 0u);
    EXPECT_TRUE(capture.hasLineEndingWith("launched " + programPath +
                                          " 30, processId = " + std::to_string(first) + "l"));
    EXPECT_TRUE(Process::isRunning(first, ""));
    EXPECT_EQ(Process::launchProcess(args, ""), first);
    EXPECT_EQ(capture.countContaining("launched "), 1u);
    EXPECT_EQ(Process::getProcessId(args), first);
    EXPECT_EQ(Process::getProcessId(std::vector<std::string>{programPath, "31"}), 0u);
    // Found by its executable's file name as well.
    EXPECT_EQ(Process::getProcessId(programName), first);

    stopLaunched(first);
    EXPECT_EQ(Process::getProcessId(args), 0u);
    EXPECT_EQ(Process::getProcessId(programName), 0u);
    const unsigned long second = Process::launchProcess(args, "");
    EXPECT_NE(second, 0u);
    EXPECT_NE(second, first);
    if (second != 0) stopLaunched(second);
}

TEST(ProcessLaunch, EndedChildrenAreCollected)
{
    const unsigned long pid = Process::launchProcess({"/bin/sh", "-c", "exit 3"}, "");
    ASSERT_NE(pid, 0u);
    // No zombie stays behind: the process disappears from /proc once collected.
    ASSERT_TRUE(ProcessRunner::waitFor(
        [pid] {
            Process::reapChildren();
            return procState(static_cast<pid_t>(pid)) == 0;
        },
        kDeadline));
    errno = 0;
    EXPECT_EQ(::waitpid(static_cast<pid_t>(pid), nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    EXPECT_FALSE(Process::isRunning(pid, ""));
}

TEST(ProcessLaunch, ArgumentsFormOneKeyAndBadLaunchesFail)
{
    EXPECT_EQ(Process::launchProcessMapKey({"/bin/prog", "-n", "main"}), "/bin/prog -n main");
    EXPECT_EQ(Process::launchProcessMapKey({"/bin/prog", "a b", "", "q\"\\"}),
              "/bin/prog \"a b\" \"\" \"q\\\"\\\\\"");
    // Two arguments are not one argument holding a blank.
    EXPECT_NE(Process::launchProcessMapKey({"a", "b"}), Process::launchProcessMapKey({"a b"}));

    QfnTest::LogCapture capture;
    EXPECT_EQ(Process::launchProcess({}, ""), 0u);
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: '! launchArgs.empty()' evaluates to false"));
    EXPECT_EQ(Process::launchProcess({"/no/such/program"}, ""), 0u);
    EXPECT_TRUE(
        capture.hasLineEndingWith("SANITY_CHECK failed: 'Dirs::fileExists(processPath)' evaluates to false"));
    // A file that exists but cannot be executed.
    QfnTest::ScopedDataHome dataHome;
    const std::string notProgram = dataHome.path() + "plain.txt";
    ASSERT_TRUE(Dirs::writeFile(notProgram, "text"));
    EXPECT_EQ(Process::launchProcess({notProgram}, ""), 0u);
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'createProcessResult' evaluates to false"));
    EXPECT_EQ(Process::getProcessId(std::vector<std::string>{}), 0u);
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'launchArgs.size() > 0' evaluates to false"));
}

TEST(ProcessInit, AProgramOfItsOwnKeepsEndedChildrenForCollection)
{
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    struct sigaction saved {};
    ASSERT_EQ(::sigaction(SIGCHLD, &ignore, &saved), 0);
    struct sigaction current {};

    // Embedded, the host's signal set-up is left alone.
    EXPECT_TRUE(Process::init(true));
    ASSERT_EQ(::sigaction(SIGCHLD, nullptr, &current), 0);
    EXPECT_EQ(current.sa_handler, SIG_IGN);

    EXPECT_TRUE(Process::init(false));
    ASSERT_EQ(::sigaction(SIGCHLD, nullptr, &current), 0);
    EXPECT_EQ(current.sa_handler, SIG_DFL);
    ASSERT_EQ(::sigaction(SIGCHLD, &saved, nullptr), 0);
}
