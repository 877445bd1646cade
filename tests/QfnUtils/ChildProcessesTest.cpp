#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <string>
#include <vector>

#include "QfnUtils/ChildProcesses.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"
#include "support/ProcessRunner.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

std::string procPath(pid_t pid, const std::string& entry)
{
    return "/proc/" + std::to_string(pid) + "/" + entry;
}

// The value after "Name:" in /proc/<pid>/status.
std::string statusField(pid_t pid, const std::string& name)
{
    for (const std::string& line : Utils::lineStrSplit(Dirs::slurpFile(procPath(pid, "status"))))
        if (line.starts_with(name + ":")) return Utils::trim(line.substr(name.size() + 1));
    return std::string();
}

}  // namespace

TEST(ChildProcessesSpawn, ChildStartsCleanInItsOwnSessionAndIsCollected)
{
    // What the child must not take along: an open descriptor and an ignored signal.
    int pipeEnds[2] = {-1, -1};
    ASSERT_EQ(::pipe(pipeEnds), 0);
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    struct sigaction saved {};
    ASSERT_EQ(::sigaction(SIGUSR1, &ignore, &saved), 0);

    const size_t before = ChildProcesses::countRunning();
    const pid_t pid = ChildProcesses::spawnDetached({"/bin/sleep", "30"});
    ::sigaction(SIGUSR1, &saved, nullptr);
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
    ASSERT_GT(pid, 0);
    EXPECT_EQ(ChildProcesses::countRunning(), before + 1);

    // The program may briefly hold a file of its own while it starts (the locale archive, say);
    // a descriptor taken along from here would stay.
    std::vector<std::string> descriptors;
    EXPECT_TRUE(QfnTest::ProcessRunner::waitFor(
        [&descriptors, pid] {
            descriptors = Dirs::scanDir(procPath(pid, "fd"));
            std::sort(descriptors.begin(), descriptors.end());
            return descriptors == std::vector<std::string>{"0", "1", "2"};
        },
        std::chrono::seconds(5)));
    EXPECT_EQ(descriptors, (std::vector<std::string>{"0", "1", "2"}));
    for (const char* descriptor : {"0", "1", "2"}) {
        char target[PATH_MAX] = {};
        const std::string link = procPath(pid, std::string("fd/") + descriptor);
        ASSERT_GT(::readlink(link.c_str(), target, sizeof target - 1), 0);
        EXPECT_STREQ(target, "/dev/null");
    }
    EXPECT_EQ(::getsid(pid), pid) << "leads a session of its own";
    // The C library keeps its own signals from 32 up out of reach; the classic ones are clean.
    EXPECT_EQ(std::stoull(statusField(pid, "SigIgn"), nullptr, 16) & 0x7fffffffULL, 0u);
    EXPECT_EQ(std::stoull(statusField(pid, "SigBlk"), nullptr, 16) & 0x7fffffffULL, 0u);

    ASSERT_EQ(::kill(pid, SIGKILL), 0);
    std::vector<pid_t> collected;
    EXPECT_TRUE(QfnTest::ProcessRunner::waitFor(
        [&collected] {
            for (pid_t reaped : ChildProcesses::reap())
                collected.push_back(reaped);
            return !collected.empty();
        },
        std::chrono::seconds(10)));
    EXPECT_EQ(collected, std::vector<pid_t>{pid});
    EXPECT_FALSE(Dirs::exists(procPath(pid, "stat")));
    EXPECT_EQ(ChildProcesses::countRunning(), before);

    EXPECT_TRUE(QfnTest::logsError("spawnResult == 0", [] {
        EXPECT_EQ(ChildProcesses::spawnDetached({"/no/such/program"}), 0);
    }));
}
