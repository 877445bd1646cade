#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "QfnData/Ini.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/pipes/PipeSocket.h"
#include "QfnUtils/pipes/PipeTestSupport.h"
#include "QfnUtils/pipes/ReadPipe.h"
#include "support/LogCapture.h"
#include "support/ScopedPipeFolder.h"

using namespace Qfn;
using QfnTest::cutString;
using QfnTest::patternString;

namespace {

constexpr std::chrono::seconds kDeadline{10};

class ReadPipeTest : public testing::Test {
protected:
    void feed(const std::vector<PipePacket>& packets, size_t from = 0, size_t to = SIZE_MAX)
    {
        for (size_t i = from; i < packets.size() && i < to; ++i)
            EXPECT_TRUE(pipe->processPacket(packets[i])) << "packet " << i;
    }

    std::vector<std::string> read(std::vector<unsigned long>* senders = nullptr)
    {
        return QfnTest::readAll(pipe->getPipeExternalHandle(), senders);
    }

    QfnTest::ScopedPipeFolder folder;
    const std::string marker = folder.markerPath("net.quillfern.coordinator.reader");
    std::shared_ptr<ReadPipe> pipe = ReadPipe::factory(marker);
};

}  // namespace

TEST_F(ReadPipeTest, StringsOfEverySizeComeOutWholeOnTheirLastPacket)
{
    ASSERT_TRUE(pipe);
    for (const size_t size : {0, 1, 4064, 4065, 8136, 8137, 1 << 20}) {
        const std::string text = patternString(size);
        const std::vector<PipePacket> packets = cutString(text, size, 4321);
        feed(packets, 0, packets.size() - 1);
        EXPECT_TRUE(read().empty()) << "nothing before the last packet of " << size;
        EXPECT_EQ(pipe->isIdle(), packets.size() == 1);
        feed(packets, packets.size() - 1);
        std::vector<unsigned long> senders;
        EXPECT_EQ(read(&senders), std::vector<std::string>{text}) << "string of " << size;
        EXPECT_EQ(senders, std::vector<unsigned long>{4321});
    }
    EXPECT_TRUE(pipe->isIdle());
}

TEST_F(ReadPipeTest, SendersInterleavingBuildTheirOwnStrings)
{
    const std::string first = patternString(9000), second(8500, 'b');
    const std::vector<PipePacket> fromA = cutString(first, 1, 100), fromB = cutString(second, 1, 200);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(pipe->processPacket(fromB[i]));
        EXPECT_TRUE(pipe->processPacket(fromA[i]));
    }
    std::vector<unsigned long> senders;
    EXPECT_EQ(read(&senders), (std::vector<std::string>{second, first}));
    EXPECT_EQ(senders, (std::vector<unsigned long>{200, 100}));
}

TEST_F(ReadPipeTest, PacketsThatDoNotFitTheirStringAreReportedAndDropped)
{
    const std::vector<PipePacket> three = cutString(patternString(8137), 7, 300);
    QfnTest::LogCapture capture(3);

    PipePacket noLength;
    noLength.setHeader(1, 0, 300, 7);
    noLength.setPacketSize(PipePacket::kHeaderSize + 7);
    EXPECT_FALSE(pipe->processPacket(noLength));
    EXPECT_TRUE(capture.hasLineEndingWith("No room for string length in packet"));

    feed(three, 0, 1);
    EXPECT_FALSE(pipe->processPacket(three[2]));
    EXPECT_TRUE(capture.hasLineEndingWith("packet sequence error"));

    feed(three, 0, 1);
    EXPECT_FALSE(pipe->processPacket(cutString(patternString(8137), 8, 300)[1]));
    EXPECT_TRUE(capture.hasLineEndingWith("string sequence error"));

    std::vector<PipePacket> overshoot = cutString("0123456789", 9, 300);
    overshoot[0].getBytes()[PipePacket::kHeaderSize] = 5;
    EXPECT_FALSE(pipe->processPacket(overshoot[0]));
    EXPECT_TRUE(capture.hasLineEndingWith("More data received than expected"));

    // None of them left a partial string behind, and the sender's next string arrives.
    EXPECT_TRUE(read().empty());
    feed(cutString("after", 10, 300));
    EXPECT_EQ(read(), std::vector<std::string>{"after"});
    EXPECT_EQ(pipe->getState(), ReadPipeState::Open);

    // A string's middle without its start puts the pipe in error; the next time slice closes it.
    EXPECT_FALSE(pipe->processPacket(three[1]));
    EXPECT_TRUE(capture.hasLineEndingWith("was expecting a packet #0 at start of buffer"));
    EXPECT_EQ(pipe->getState(), ReadPipeState::Unknown);
    Pipes::timeslice();
    EXPECT_TRUE(capture.hasLineEndingWith("error pipe goes into to close pipes"));
    EXPECT_FALSE(Pipes::namedPipeExists(marker));
    EXPECT_FALSE(ReadPipe::findPipe(pipe->getPipeExternalHandle()));
}

TEST_F(ReadPipeTest, SenderThatDiedMidStringStartsOverWithItsNextPacketZero)
{
    const std::vector<PipePacket> cutOff = cutString(patternString(9000), 3, 555);
    feed(cutOff, 0, 2);
    EXPECT_FALSE(pipe->isIdle()) << "a string is half way";
    // The process ID comes back (a new process, or the same one after a restart): its string #1.
    feed(cutString("hello", 1, 555));
    EXPECT_EQ(read(), std::vector<std::string>{"hello"});
    EXPECT_TRUE(pipe->isIdle());
}

TEST_F(ReadPipeTest, ConnectionClosedMidStringLeavesNothingBehind)
{
    // A process ID above the kernel's limit has no process: the sender has died.
    for (const uint32_t sender : {4194305u, static_cast<uint32_t>(::getpid())}) {
        int writer = NO_RAW_PIPE_HANDLE, error = 0;
        ASSERT_EQ(PipeSocket::connect(pipe->getRawNamedPipePath(), writer, error), PipeSocket::Result::Done);
        const PipePacket first = cutString(patternString(5000), 1, sender)[0];
        ASSERT_EQ(PipeSocket::send(writer, first.getBytes(), first.getPacketSize(), error),
                  PipeSocket::Result::Done);
        ASSERT_TRUE(QfnTest::pumpUntil([&] { return !pipe->isIdle(); }, kDeadline)) << "half a string came";
        QfnTest::LogCapture capture(3);
        PipeSocket::close(writer);
        ASSERT_TRUE(QfnTest::pumpUntil([&] { return pipe->isIdle(); }, kDeadline));
        EXPECT_EQ(capture.countContaining("flushing data from dead process"), sender == 4194305u ? 1u : 0u);
        EXPECT_EQ(capture.countContaining("dropping the unfinished string of process"),
                  sender == 4194305u ? 0u : 1u);
        EXPECT_TRUE(read().empty());
    }
}

TEST_F(ReadPipeTest, MarkerIsAnIniNamingTheSocketAndCloseRemovesBoth)
{
    const std::shared_ptr<Ini> ini = Dirs::readIni(marker);
    ASSERT_TRUE(ini);
    EXPECT_EQ(ini->getEntry("config", "namedPipeProxyPath"), Pipes::getRawNamedPipePath(marker));
    EXPECT_TRUE(Dirs::exists(pipe->getRawNamedPipePath()));
    EXPECT_TRUE(::fcntl(pipe->getListenHandle(), F_GETFD) & FD_CLOEXEC);

    // A second open counts; the pipe goes with the last close.
    EXPECT_EQ(Pipes::openReadNamedPipe(marker), pipe->getPipeExternalHandle());
    EXPECT_TRUE(Pipes::closeNamedPipe(pipe->getPipeExternalHandle()));
    EXPECT_TRUE(Pipes::namedPipeExists(marker));
    EXPECT_TRUE(Pipes::closeNamedPipe(pipe->getPipeExternalHandle()));
    EXPECT_FALSE(Dirs::exists(marker));
    EXPECT_FALSE(Dirs::exists(pipe->getRawNamedPipePath()));

    // A socket file left by a process that died is no obstacle.
    int error = 0;
    const int stale = PipeSocket::listen(pipe->getRawNamedPipePath(), error);
    ASSERT_NE(stale, NO_RAW_PIPE_HANDLE);
    PipeSocket::close(stale);
    const int handle = Pipes::openReadNamedPipe(marker);
    EXPECT_NE(handle, 0);
    EXPECT_TRUE(Pipes::namedPipeIsActive(marker));
}

TEST_F(ReadPipeTest, PoolKeepsOneFreeSlotAndAFewDisconnectedOnes)
{
    QfnTest::LogCapture capture(3);
    Pipes::timeslice();
    EXPECT_EQ(pipe->getPoolSize(), 1u);
    std::vector<int> writers(3, NO_RAW_PIPE_HANDLE);
    int error = 0;
    for (int& writer : writers)
        ASSERT_EQ(PipeSocket::connect(pipe->getRawNamedPipePath(), writer, error), PipeSocket::Result::Done);
    ASSERT_TRUE(QfnTest::pumpUntil([&] { return pipe->getPoolSize() == 4; }, kDeadline))
        << "three connections and a free slot";
    EXPECT_EQ(capture.countContaining("to the pool"), 3u);

    for (const int writer : writers)
        PipeSocket::close(writer);
    ASSERT_TRUE(QfnTest::pumpUntil([&] { return pipe->getPoolSize() == 1; }, kDeadline));
    EXPECT_EQ(capture.countContaining("to the list of disconnects"), 3u);
    EXPECT_EQ(capture.countContaining("discarding a disconnected pipe"), 1u);
    EXPECT_EQ(pipe->getDisconnectedCount(), 2u);

    int next = NO_RAW_PIPE_HANDLE;
    ASSERT_EQ(PipeSocket::connect(pipe->getRawNamedPipePath(), next, error), PipeSocket::Result::Done);
    ASSERT_TRUE(QfnTest::pumpUntil([&] { return pipe->getPoolSize() == 2; }, kDeadline));
    EXPECT_EQ(capture.countContaining("reusing a disconnected pipe"), 1u);
    PipeSocket::close(next);
}
