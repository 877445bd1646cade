#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "QfnUtils/Pipes.h"
#include "QfnUtils/pipes/PipeMarkerFile.h"
#include "QfnUtils/pipes/PipeSocket.h"
#include "QfnUtils/pipes/PipeTestSupport.h"
#include "support/LogCapture.h"
#include "support/ScopedPipeFolder.h"

extern char** environ;

using namespace Qfn;
using QfnTest::pumpUntil;
using Status = Pipes::WriteStatus;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds kDeadline{10};

class WritePipeTest : public testing::Test {
protected:
    void TearDown() override { Pipes::setTimes(1000000, 1000, 5000000); }

    // A marker naming a socket that listens (and never accepts), or none at all.
    int fakeReader(const std::string& marker, bool isListening)
    {
        const std::string raw = Pipes::getRawNamedPipePath(marker);
        int error = 0;
        const int handle = isListening ? PipeSocket::listen(raw, error) : NO_RAW_PIPE_HANDLE;
        EXPECT_TRUE(PipeMarkerFile::write(marker, raw));
        return handle;
    }

    QfnTest::ScopedPipeFolder folder;
    const std::string marker = folder.markerPath("net.quillfern.coordinator.target");
    const unsigned long ownPid = static_cast<unsigned long>(::getpid());
};

// A process that runs until it is killed, ended by its pid when the test leaves.
class SleepingChild {
public:
    SleepingChild()
    {
        char path[] = "/bin/sleep";
        char seconds[] = "30";
        char* argv[] = {path, seconds, nullptr};
        if (::posix_spawn(&fPid, path, nullptr, nullptr, argv, environ) != 0) fPid = -1;
    }
    ~SleepingChild() { stop(); }
    void stop()
    {
        if (fPid <= 0) return;
        ::kill(fPid, SIGKILL);
        ::waitpid(fPid, nullptr, 0);
        fPid = -1;
    }
    pid_t pid() const { return fPid; }

private:
    pid_t fPid = -1;
};

}  // namespace

TEST_F(WritePipeTest, StringsArriveUnchangedAndTheQueueEmpties)
{
    const int reader = Pipes::openReadNamedPipe(marker);
    const int writer = Pipes::openWriteNamedPipe(marker, ownPid, "");
    ASSERT_NE(reader, 0);
    ASSERT_NE(writer, 0);
    const std::vector<std::string> sent = {"", "x", QfnTest::patternString(4064),
                                           QfnTest::patternString(4065)};
    for (const std::string& text : sent)
        ASSERT_TRUE(Pipes::writeToNamedPipe(writer, text));
    // What the socket takes goes out with the write itself; the rest waits for the time slices.
    const Status afterWrites = Pipes::getWritePipeStatus(writer);
    EXPECT_TRUE(afterWrites == Status::Open || afterWrites == Status::Empty);

    std::vector<std::string> received;
    std::vector<unsigned long> senders;
    ASSERT_TRUE(pumpUntil(
        [&] {
            for (const std::string& text : QfnTest::readAll(reader, &senders))
                received.push_back(text);
            return received.size() >= sent.size();
        },
        kDeadline));
    EXPECT_EQ(received, sent);
    EXPECT_EQ(senders, std::vector<unsigned long>(sent.size(), ownPid));
    EXPECT_EQ(Pipes::getWritePipeStatus(writer), Status::Empty);
    EXPECT_TRUE(Pipes::isAllWritePipesIdle());
    EXPECT_TRUE(Pipes::isAllReadPipesIdle());

    // A close right after a write loses nothing: what is queued goes out first.
    ASSERT_TRUE(Pipes::writeToNamedPipe(writer, "last words"));
    EXPECT_TRUE(Pipes::closeNamedPipe(writer));
    std::vector<std::string> last;
    ASSERT_TRUE(pumpUntil(
        [&] {
            for (const std::string& text : QfnTest::readAll(reader))
                last.push_back(text);
            return Pipes::getWritePipeStatus(writer) == Status::None && !last.empty();
        },
        kDeadline));
    EXPECT_EQ(last, std::vector<std::string>{"last words"});
}

TEST_F(WritePipeTest, ConnectAttemptsWaitSleepWaitForPipeUntilTheReaderListens)
{
    Pipes::setTimes(50000, 1000, 5000000);
    fakeReader(marker, false);
    const int writer = Pipes::openWriteNamedPipe(marker, 0, "");
    ASSERT_NE(writer, 0);
    ASSERT_TRUE(Pipes::writeToNamedPipe(writer, "early"));
    {
        QfnTest::LogCapture capture(3);
        const auto start = Clock::now();
        pumpUntil([&] { return Clock::now() - start >= std::chrono::milliseconds(300); }, kDeadline);
        const size_t attempts =
            capture.countContaining("did not open - waiting for sleepWaitForPipe interval");
        EXPECT_GE(attempts, 3u);
        EXPECT_LE(attempts, 7u) << "one attempt at once, then one each 50 ms";
        EXPECT_TRUE(
            capture.hasLineEndingWith("failed to CreateFile - waiting for sleepWaitForPipe interval"));
    }
    EXPECT_EQ(Pipes::getWritePipeStatus(writer), Status::Open);

    const int reader = Pipes::openReadNamedPipe(marker);
    std::vector<std::string> received;
    ASSERT_TRUE(pumpUntil(
        [&] {
            received = QfnTest::readAll(reader);
            return !received.empty();
        },
        kDeadline));
    EXPECT_EQ(received, std::vector<std::string>{"early"});
}

TEST_F(WritePipeTest, StalledPipeRetriesEachStallIntervalAndGivesUpAfterTheKillTime)
{
    Pipes::setTimes(1000000, 1000, 200000);
    const int listener = fakeReader(marker, true);
    ASSERT_NE(listener, NO_RAW_PIPE_HANDLE);
    const int writer = Pipes::openWriteNamedPipe(marker, ownPid, "");
    ASSERT_TRUE(Pipes::writeToNamedPipe(writer, std::string(8 << 20, 's')));

    QfnTest::LogCapture capture(4);
    const auto start = Clock::now();
    ASSERT_TRUE(pumpUntil([&] { return Pipes::getWritePipeStatus(writer) == Status::Error; }, kDeadline));
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(200));
    EXPECT_LT(elapsed, std::chrono::seconds(3));
    const size_t stalls =
        capture.countContaining("pipe stalling - waiting for stalledPipe interval packetSize = 4096");
    EXPECT_GE(stalls, 2u);
    EXPECT_LE(stalls,
              static_cast<size_t>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()) + 2)
        << "at most one attempt a millisecond";
    EXPECT_TRUE(
        capture.hasLineEndingWith("pipe stalled for longer than killStalledPipeMicroseconds - giving up"));

    Pipes::timeslice();
    EXPECT_TRUE(capture.hasLineEndingWith("WritePipeState::Error, writePipe goes into to close pipes"));
    EXPECT_EQ(Pipes::getWritePipeStatus(writer), Status::None);
    PipeSocket::close(listener);
}

TEST_F(WritePipeTest, TargetThatStopsOrLosesItsPipeSendsThePipeToErrorThenClosed)
{
    SleepingChild child;
    ASSERT_GT(child.pid(), 0);
    const int reader = Pipes::openReadNamedPipe(marker);
    ASSERT_NE(reader, 0);
    const int writer = Pipes::openWriteNamedPipe(marker, static_cast<unsigned long>(child.pid()), "");
    Pipes::timeslice();
    EXPECT_EQ(Pipes::getWritePipeStatus(writer), Status::Empty);

    QfnTest::LogCapture capture(3);
    const pid_t childPid = child.pid();
    child.stop();
    ASSERT_TRUE(pumpUntil([&] { return Pipes::getWritePipeStatus(writer) == Status::Error; }, kDeadline));
    EXPECT_EQ(capture.countContaining("process has stopped " + std::to_string(childPid)), 1u);
    Pipes::timeslice();
    EXPECT_EQ(Pipes::getWritePipeStatus(writer), Status::None);

    // The target runs, but its pipe has gone.
    const int second = Pipes::openWriteNamedPipe(marker, ownPid, "");
    Pipes::timeslice();
    EXPECT_EQ(Pipes::getWritePipeStatus(second), Status::Empty);
    ASSERT_TRUE(Pipes::deleteNamedPipe(marker));
    ASSERT_TRUE(pumpUntil([&] { return Pipes::getWritePipeStatus(second) == Status::Error; }, kDeadline));
    EXPECT_EQ(capture.countContaining("pipe is dead stopped " + std::to_string(ownPid)), 1u);
    Pipes::timeslice();
    EXPECT_EQ(Pipes::getWritePipeStatus(second), Status::None);
}
