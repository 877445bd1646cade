#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "QfnUtils/Pipes.h"
#include "QfnUtils/pipes/PipeTestSupport.h"
#include "QfnUtils/pipes/PipeTraffic.h"
#include "support/ScopedPipeFolder.h"

extern char** environ;

using namespace Qfn;

namespace {

constexpr int kWriters = 3;
constexpr uint64_t kStrings = 10000;
constexpr std::chrono::seconds kDeadline{60};

// The writer processes (tests/QfnUtils/pipes/writer), each ended by its pid when the test leaves.
class Writers {
public:
    ~Writers()
    {
        for (const pid_t pid : fPids)
            if (pid > 0 && ::waitpid(pid, nullptr, WNOHANG) == 0) {
                ::kill(pid, SIGKILL);
                ::waitpid(pid, nullptr, 0);
            }
    }

    pid_t start(const std::string& marker, int writer, uint64_t count)
    {
        std::vector<std::string> args = {QFN_PIPE_WRITER_PATH, marker, std::to_string(writer),
                                         std::to_string(count), std::to_string(::getpid())};
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        pid_t pid = -1;
        if (::posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) pid = -1;
        fPids.push_back(pid);
        return pid;
    }

    // The exit status once the process has ended, -1 while it runs (collected on the first call).
    int exitStatus(size_t writer)
    {
        int status = 0;
        if (fStatuses.contains(writer)) return fStatuses[writer];
        if (::waitpid(fPids[writer], &status, WNOHANG) != fPids[writer]) return -1;
        fPids[writer] = -1;
        return fStatuses[writer] = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    std::vector<pid_t> fPids;
    std::map<size_t, int> fStatuses;
};

}  // namespace

TEST(PipesBetweenProcesses, ThreeWritersStringsArriveWholeAndInOrderPerWriter)
{
    QfnTest::ScopedPipeFolder folder;
    const std::string marker = folder.markerPath("net.quillfern.coordinator.main");
    const int reader = Pipes::openReadNamedPipe(marker);
    ASSERT_NE(reader, 0);

    Writers writers;
    std::map<unsigned long, int> writerOfPid;
    std::vector<uint64_t> counts(kWriters, kStrings / kWriters), received(kWriters, 0);
    counts[0] += kStrings % kWriters;
    for (int writer = 0; writer < kWriters; ++writer) {
        const pid_t pid = writers.start(marker, writer, counts[writer]);
        ASSERT_GT(pid, 0);
        writerOfPid[static_cast<unsigned long>(pid)] = writer;
    }

    uint64_t total = 0, wrong = 0;
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    std::string text;
    bool isComplete = false;
    unsigned long sender = 0;
    while (total < kStrings && wrong == 0 && std::chrono::steady_clock::now() < deadline) {
        Pipes::timeslice();
        while (Pipes::readFromNamedPipe(text, reader, isComplete, 10, &sender) && isComplete) {
            ASSERT_TRUE(writerOfPid.contains(sender)) << "a string from process " << sender;
            const int writer = writerOfPid[sender];
            if (text != QfnTest::PipeTraffic::makeString(writer, received[writer])) {
                ADD_FAILURE() << "writer " << writer << ", string " << received[writer] << " of "
                              << text.size() << " bytes is not the one sent";
                ++wrong;
            }
            ++received[writer];
            ++total;
        }
    }
    EXPECT_EQ(received, counts);
    for (int writer = 0; writer < kWriters; ++writer) {
        const auto waitDeadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (writers.exitStatus(writer) < 0 && std::chrono::steady_clock::now() < waitDeadline)
            Pipes::timeslice();
        EXPECT_EQ(writers.exitStatus(writer), 0) << "writer " << writer;
    }
    EXPECT_TRUE(QfnTest::pumpUntil(Pipes::isAllReadPipesIdle, std::chrono::seconds(10)));
}
