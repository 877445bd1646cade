// Coordinators of one host end to end: the built binary run as main and as siblings, sharing the
// folders of one simulated host, with the test as one more coordinator speaking the pipe protocol.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "QfnParser/model/OMStored.h"
#include "QfnUtils/Pipes.h"
#include "QfnParser/query/OMAccessor.h"
#include "support/GatewayClient.h"
#include "support/PipeClient.h"
#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using Qfn::OMAccessor;
using Qfn::OpCode;
using QfnTest::GatewayClient;
using QfnTest::PipeClient;
using QfnTest::ProcessRunner;

namespace {

const std::string kPrefix = "net.quillfern.coordinator.";
const std::string kMain = kPrefix + "main";

std::string readFile(const std::string& path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

size_t countOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

// One host: the folders its coordinators share, its configuration, and the coordinators the test
// started (by short name). Processes main launched on its own are ended by the PIDs they publish.
// QFN_SIBLINGS_LOG_LEVEL=3 in the environment shows every coordinator's notes in a failure's output.
class Host {
public:
    explicit Host(const std::string& moreConfig = "")
        : fDirectory(makeDirectory()), fPort(GatewayClient::freePort())
    {
        std::filesystem::create_directories(dataDirectory() + "/net.quillfern/SysConfig");
        std::filesystem::create_directories(runtimeDirectory());
        std::filesystem::create_directories(fDirectory + "/home");
        std::filesystem::permissions(runtimeDirectory(), std::filesystem::perms::owner_all);
        std::ofstream(dataDirectory() + "/net.quillfern/SysConfig/config.ini")
            << "[config]\ngatewayPort = " << fPort << "\nlogLevel = " << (getenv("QFN_SIBLINGS_LOG_LEVEL") ? getenv("QFN_SIBLINGS_LOG_LEVEL") : "2") << "\n"
            << "[config.net.quillfern.coordinator.main]\nlogIPC = 1\n"
            << moreConfig;
        // The test's own pipes live under this host's runtime folder too.
        ::setenv("XDG_RUNTIME_DIR", runtimeDirectory().c_str(), 1);
    }
    ~Host()
    {
        for (auto& [name, process] : fProcesses)
            if (process->pid() > 0 && process->exitStatus() == -1) process->sendSignal(SIGKILL);
        fProcesses.clear();
        for (pid_t pid : fLaunched) {
            ::kill(pid, SIGKILL);
        }
        std::error_code ignored;
        std::filesystem::remove_all(fDirectory, ignored);
    }
    std::string dataDirectory() const { return fDirectory + "/data"; }
    std::string runtimeDirectory() const { return fDirectory + "/run"; }
    std::string pipeFolder() const { return dataDirectory() + "/net.quillfern/NamedPipes/"; }
    std::string sessionFolder() const { return dataDirectory() + "/net.quillfern/SessionData/"; }
    int port() const { return fPort; }

    // Starts a coordinator serving under the short name and waits for its pipe.
    ProcessRunner& start(const std::string& shortName)
    {
        auto process = std::make_unique<ProcessRunner>(
            std::vector<std::string>{QFN_BINARY_PATH, "-s", "-N", shortName});
        process->addEnvironment("HOME=" + fDirectory + "/home");
        process->addEnvironment("XDG_DATA_HOME=" + dataDirectory());
        process->addEnvironment("XDG_RUNTIME_DIR=" + runtimeDirectory());
        EXPECT_TRUE(process->start());
        ProcessRunner& started = *process;
        fProcesses[shortName] = std::move(process);
        // Its own pid published (a killed predecessor's files are cleared before that), then its pipe.
        const std::string name = kPrefix + shortName;
        EXPECT_TRUE(ProcessRunner::waitFor(
            [&] { return publishedPid(name) == static_cast<unsigned long>(started.pid()) && hasPipe(name); },
            10000ms))
            << started.standardError();
        return started;
    }
    ProcessRunner& process(const std::string& shortName) { return *fProcesses.at(shortName); }
    bool hasPipe(const std::string& name) const { return std::filesystem::exists(pipeFolder() + name); }
    unsigned long publishedPid(const std::string& name) const
    {
        std::ifstream file(sessionFolder() + name + ".pid");
        unsigned long pid = 0;
        return (file >> pid) ? pid : 0;
    }
    // A process the coordinators launched, to be ended with the host.
    void adoptLaunched(pid_t pid) { fLaunched.push_back(pid); }
    // Stops a coordinator the test started and checks that it ended cleanly.
    void stop(const std::string& shortName, int signalNumber = SIGINT)
    {
        ProcessRunner& stopped = process(shortName);
        ASSERT_TRUE(stopped.sendSignal(signalNumber));
        ASSERT_TRUE(stopped.waitForExit(10000ms)) << shortName;
        EXPECT_EQ(stopped.exitStatus(), 0) << shortName;
        const std::string errors = stopped.standardError();
        EXPECT_EQ(errors.find("ERROR"), std::string::npos) << shortName << ": " << errors;
        EXPECT_EQ(errors.find("Object::getObjectCount() == 0"), std::string::npos) << shortName << ": " << errors;
    }

private:
    static std::string makeDirectory()
    {
        std::string pattern = std::filesystem::temp_directory_path().string() + "/qfn-host-XXXXXX";
        return ::mkdtemp(pattern.data()) ? pattern : std::string();
    }

    std::string fDirectory;
    int fPort;
    std::map<std::string, std::unique_ptr<ProcessRunner>> fProcesses;
    std::vector<pid_t> fLaunched;
};

OMAccessor payloadOf(const std::shared_ptr<Qfn::IMessage>& message)
{
    return OMAccessor(message ? message->getAsOMNode() : nullptr);
}

}  // namespace

TEST(Siblings, RequestsToASiblingGoThroughMainAndTheirAnswersComeBack)
{
    Host host;
    host.start("main");
    host.start("x");
    host.start("y");
    PipeClient client(host.dataDirectory(), kPrefix + "testclient");
    ASSERT_TRUE(client.open());

    ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "y", "net.quillfern.service.ping", "{n: 7}"));
    auto pong = client.receive(10000ms);
    ASSERT_TRUE(pong) << host.process("main").standardError();
    EXPECT_EQ(pong->getOpCode(), OpCode::PING_REPLY);
    EXPECT_EQ(pong->getPayloadStr(), "{n: 7}");
    // Main relayed the request and the answer: both are in its message log.
    const std::string mainLog = host.process("main").standardError();
    EXPECT_EQ(countOf(mainLog, "opcode = 2 ping\n"), 1u) << mainLog;
    EXPECT_EQ(countOf(mainLog, "opcode = 3 ping_reply\n"), 1u) << mainLog;

    ASSERT_TRUE(client.send(OpCode::EVAL, kPrefix + "y", "default", "{script: \"6 * 7\", clientSequenceNr: 3}"));
    OMAccessor answer = payloadOf(client.receive(10000ms));
    EXPECT_TRUE(answer.getBool("success"));
    EXPECT_EQ(answer.getInt("result"), 42);
    EXPECT_EQ(answer.getInt("clientSequenceNr"), 3);

    // A script run for a request prints on the requester's console: here, the test's.
    ASSERT_TRUE(client.send(OpCode::EVAL, kPrefix + "y", "default", "{script: \"stdOut('hello')\"}"));
    auto printed = client.receive(10000ms);
    ASSERT_TRUE(printed);
    EXPECT_EQ(printed->getOpCode(), OpCode::STD_OUT);
    EXPECT_NE(printed->getPayloadStr().find("hello"), std::string::npos) << printed->getPayloadStr();
    EXPECT_EQ(client.receive(10000ms)->getOpCode(), OpCode::EVAL_RESULT);

    // A client of the gateway reaches x through main's port, and x's answer comes back to it.
    GatewayClient remote;
    ASSERT_TRUE(remote.connect(host.port(), 10000ms));
    ASSERT_TRUE(remote.sendRaw(remote.wireText(OpCode::PING, "net.quillfern.service.ping", "{r: 1}", kPrefix + "x") +
                               "\r"));
    auto remotePong = remote.receive(10000ms);
    ASSERT_TRUE(remotePong) << host.process("x").standardError();
    EXPECT_EQ(remotePong->getOpCode(), OpCode::PING_REPLY);
    EXPECT_EQ(remotePong->getPayloadStr(), "{r: 1}");
    remote.close();

    client.close();
    host.stop("y");
    host.stop("x");
    host.stop("main");
    // A clean stop leaves no marker and no socket behind.
    EXPECT_TRUE(std::filesystem::is_empty(host.pipeFolder()));
    EXPECT_TRUE(std::filesystem::is_empty(host.runtimeDirectory() + "/qfn-" + std::to_string(::getuid())))
        << "socket files left";
}

TEST(Siblings, MainLaunchesAConfiguredSiblingForARequestButNotForATerminate)
{
    Host host(std::string("logLevel = 3\n[siblings]\nz = \"") + QFN_BINARY_PATH + "\",\"-s\",\"-N\",\"z\"\n");
    ProcessRunner& main = host.start("main");
    PipeClient client(host.dataDirectory(), kPrefix + "testclient");
    ASSERT_TRUE(client.open());

    // A TERMINATE for a coordinator that is not running is erased, and nothing is started for it.
    ASSERT_TRUE(client.send(OpCode::TERMINATE, kPrefix + "z", "", "{}"));
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] { return main.standardError().find("Don't need to launch for opCode") != std::string::npos; },
        10000ms))
        << main.standardError();
    EXPECT_FALSE(host.hasPipe(kPrefix + "z"));
    EXPECT_EQ(host.publishedPid(kPrefix + "z"), 0u);

    // A PING starts it from its launch line, and is answered by it.
    ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "z", "net.quillfern.service.ping", "{n: 2}"));
    auto pong = client.receive(20000ms);
    const unsigned long launched = host.publishedPid(kPrefix + "z");
    if (launched != 0) host.adoptLaunched(static_cast<pid_t>(launched));
    ASSERT_TRUE(pong) << main.standardError();
    EXPECT_EQ(pong->getPayloadStr(), "{n: 2}");
    EXPECT_NE(launched, 0u);

    // Now it runs, a TERMINATE reaches it and it ends, taking its pipe with it.
    ASSERT_TRUE(client.send(OpCode::TERMINATE, kPrefix + "z", "", "{}"));
    EXPECT_TRUE(ProcessRunner::waitFor([&] { return ::kill(static_cast<pid_t>(launched), 0) != 0; }, 10000ms));
    EXPECT_TRUE(ProcessRunner::waitFor([&] { return !host.hasPipe(kPrefix + "z"); }, 10000ms));
    client.close();
    host.stop("main");
}

TEST(Siblings, MessagesForAKilledSiblingWaitForItsRestartAndArriveOnce)
{
    Host host("[config.net.quillfern.coordinator.main]\nlogLevel = 3\n");
    ProcessRunner& main = host.start("main");
    host.start("y");
    PipeClient client(host.dataDirectory(), kPrefix + "testclient");
    ASSERT_TRUE(client.open());
    ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "y", "net.quillfern.service.ping", "{first: 1}"));
    ASSERT_TRUE(client.receive(10000ms));

    // Killed, y leaves its marker and socket behind; main notices that the process has gone.
    ProcessRunner& killed = host.process("y");
    ASSERT_TRUE(killed.sendSignal(SIGKILL));
    ASSERT_TRUE(killed.waitForExit(10000ms));
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] { return main.standardError().find("! isRunning(), named pipe path") != std::string::npos; }, 10000ms))
        << main.standardError();

    constexpr int kEach = 5;
    for (int i = 0; i < kEach; ++i) {
        ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "y", "net.quillfern.service.ping",
                                "{i: " + std::to_string(i) + "}"));
        ASSERT_TRUE(client.send(OpCode::EVAL, kPrefix + "y", "default",
                                "{script: \"1\", clientSequenceNr: " + std::to_string(100 + i) + "}"));
    }
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] {
            return main.standardError().find("INACTIVE_KEEP_MESSAGES because cannot launch") != std::string::npos;
        },
        10000ms))
        << main.standardError();
    EXPECT_EQ(client.receive(300ms), nullptr);

    // Started again under the same name, y clears what its killed predecessor left, and gets the
    // held messages: each answered once.
    host.start("y");
    std::map<std::string, int> answers;
    for (int i = 0; i < 2 * kEach; ++i) {
        auto reply = client.receive(10000ms);
        ASSERT_TRUE(reply) << i << ": " << main.standardError();
        if (reply->getOpCode() == OpCode::PING_REPLY)
            ++answers[reply->getPayloadStr()];
        else
            ++answers["seq " + std::to_string(payloadOf(reply).getInt("clientSequenceNr"))];
    }
    EXPECT_EQ(client.receive(300ms), nullptr);
    for (int i = 0; i < kEach; ++i) {
        EXPECT_EQ(answers["{i: " + std::to_string(i) + "}"], 1) << i;
        EXPECT_EQ(answers["seq " + std::to_string(100 + i)], 1) << i;
    }
    client.close();
    host.stop("y");
    host.stop("main");
}

TEST(Siblings, ALaunchLineThatNeverBringsAPipeIsGivenUpInSteps)
{
    const std::string launches = std::filesystem::temp_directory_path().string() + "/qfn-launches-" +
                                 std::to_string(::getpid()) + ".txt";
    std::filesystem::remove(launches);
    Host host("[config.net.quillfern.coordinator.main]\nlogLevel = 3\n"
              "interCoordinatorPipeWaitTimeMicroseconds = 200000\n"
              "maxWaitMessageDropMicroseconds = 1000000\n"
              "[siblings]\nw = \"/bin/sh\",\"-c\",\"echo launched >> " +
              launches + "\"\n");
    ProcessRunner& main = host.start("main");
    PipeClient client(host.dataDirectory(), kPrefix + "testclient");
    ASSERT_TRUE(client.open());
    ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "w", "net.quillfern.service.ping", "{}"));
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] {
            return main.standardError().find("Switch from SiblingState::INACTIVE_KEEP_MESSAGES to "
                                             "SiblingState::INACTIVE") != std::string::npos;
        },
        20000ms))
        << main.standardError();
    const std::string log = main.standardError();
    EXPECT_NE(log.find("too many tries. Switch to SiblingState::INACTIVE_KEEP_MESSAGES, fLaunchRetries = 4"),
              std::string::npos)
        << log;
    EXPECT_EQ(countOf(readFile(launches), "launched"), 4u);
    std::filesystem::remove(launches);
    client.close();
    host.stop("main");
}

TEST(Siblings, MainStoppedWhileAnsweringSendsWhatItOwesAndEndsClean)
{
    Host host;
    host.start("main");
    host.start("y");
    PipeClient client(host.dataDirectory(), kPrefix + "testclient");
    ASSERT_TRUE(client.open());
    ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "y", "net.quillfern.service.ping", "{n: 1}"));
    ASSERT_TRUE(client.receive(10000ms));
    // A slow answer is owed when the stop comes (main has logged the request): it still arrives.
    ASSERT_TRUE(client.send(OpCode::EVAL, kMain, "default",
                            "{script: \"i = 0; while (i < 100000) { i = i + 1; }; 5\", clientSequenceNr: 1}"));
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] { return host.process("main").standardError().find("opcode = 12 ") != std::string::npos; }, 10000ms));
    ASSERT_TRUE(host.process("main").sendSignal(SIGTERM));
    auto owed = client.receive(10000ms);
    ASSERT_TRUE(owed) << host.process("main").standardError();
    EXPECT_EQ(payloadOf(owed).getInt("result"), 5);
    ASSERT_TRUE(host.process("main").waitForExit(10000ms));
    EXPECT_EQ(host.process("main").exitStatus(), 0);
    const std::string errors = host.process("main").standardError();
    EXPECT_EQ(errors.find("ERROR"), std::string::npos) << errors;
    EXPECT_EQ(errors.find("Object::getObjectCount() == 0"), std::string::npos) << errors;
    EXPECT_FALSE(host.hasPipe(kMain));
    client.close();
    host.stop("y");
}

TEST(Siblings, AKilledCoordinatorsMarkerAndSocketAreClearedByItsNextStart)
{
    Host host;
    ProcessRunner& first = host.start("y");
    const std::string socketPath = Qfn::Pipes::getRawNamedPipePath(host.pipeFolder() + kPrefix + "y");
    ASSERT_TRUE(first.sendSignal(SIGKILL));
    ASSERT_TRUE(first.waitForExit(10000ms));
    ASSERT_TRUE(host.hasPipe(kPrefix + "y"));
    ASSERT_TRUE(std::filesystem::exists(socketPath));

    // The next y starts over them and serves.
    host.start("y");
    host.start("main");
    PipeClient client(host.dataDirectory(), kPrefix + "testclient");
    ASSERT_TRUE(client.open());
    ASSERT_TRUE(client.send(OpCode::PING, kPrefix + "y", "net.quillfern.service.ping", "{again: 1}"));
    auto pong = client.receive(10000ms);
    ASSERT_TRUE(pong) << host.process("main").standardError();
    EXPECT_EQ(pong->getPayloadStr(), "{again: 1}");
    client.close();
    host.stop("y");
    host.stop("main");
    EXPECT_FALSE(host.hasPipe(kPrefix + "y"));
    EXPECT_FALSE(std::filesystem::exists(socketPath));
}
