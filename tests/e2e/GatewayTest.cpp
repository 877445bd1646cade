// The gateway end to end: the built binary serves TCP clients on a port of the test's own.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <thread>

#include "QfnData/Data_abstract.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnUtils/Utils.h"
#include "support/GatewayClient.h"
#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using Qfn::OMAccessor;
using Qfn::OpCode;
using QfnTest::GatewayClient;
using QfnTest::ProcessRunner;

namespace {

// A coordinator serving as main on a port of its own, with settings of the test.
class Gateway {
public:
    explicit Gateway(const std::string& moreConfig = "", int port = GatewayClient::freePort())
        : fPort(port), fProcess({QFN_BINARY_PATH, "-s"})
    {
        const std::string configFolder = fProcess.dataDirectory() + "/net.quillfern/SysConfig";
        std::filesystem::create_directories(configFolder);
        std::ofstream(configFolder + "/config.ini")
            << "[config]\ngatewayPort = " << fPort << "\n"
            << (moreConfig.find("logLevel") == std::string::npos ? "logLevel = 2\n" : "") << moreConfig;
        fProcess.addEnvironment("XDG_RUNTIME_DIR=" + fProcess.directory());
    }
    bool start() { return fProcess.start(); }
    // Asks the process to stop and waits for its end.
    bool stop(std::chrono::milliseconds within = 5000ms)
    {
        return fProcess.sendSignal(SIGINT) && fProcess.waitForExit(within);
    }
    // At log level 3 the notes are there to read; warnings are not looked for then.
    void expectCleanEnd(bool isVerbose = false)
    {
        EXPECT_TRUE(fProcess.exitedNormally());
        EXPECT_EQ(fProcess.exitStatus(), 0);
        const std::string errors = fProcess.standardError();
        EXPECT_EQ(errors.find("ERROR"), std::string::npos) << errors;
        EXPECT_EQ(errors.find("Object::getObjectCount() == 0"), std::string::npos) << errors;
        if (!isVerbose) {
            EXPECT_EQ(errors.find("WARN"), std::string::npos) << errors;
        }
    }
    int port() const { return fPort; }
    ProcessRunner& process() { return fProcess; }

private:
    int fPort;
    ProcessRunner fProcess;
};

std::string quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

OMAccessor payloadOf(const std::shared_ptr<Qfn::IMessage>& message)
{
    return OMAccessor(message ? message->getAsOMNode() : nullptr);
}

}  // namespace

TEST(Gateway, AnswersPingEvalAndSessionsOnTheConnectionOfTheRequest)
{
    Gateway gateway;
    ASSERT_TRUE(gateway.start());
    GatewayClient client;
    ASSERT_TRUE(client.connect(gateway.port(), 10000ms));

    ASSERT_TRUE(client.send(OpCode::PING, "net.quillfern.service.ping", "{n: 1}"));
    auto pong = client.receive(10000ms);
    ASSERT_TRUE(pong) << gateway.process().standardError();
    EXPECT_EQ(pong->getOpCode(), OpCode::PING_REPLY);
    EXPECT_EQ(pong->getPayloadStr(), "{n: 1}");

    const std::string clientSession = quoted("0123456789abcdef0123456789abcdef");
    ASSERT_TRUE(
        client.send(OpCode::EVAL, "default",
                    "{script: \"1 + 2\", clientSequenceNr: 5, clientSessionId: " + clientSession + "}"));
    OMAccessor answer = payloadOf(client.receive(10000ms));
    EXPECT_TRUE(answer.getBool("success"));
    EXPECT_EQ(answer.getInt("result"), 3);
    EXPECT_EQ(answer.getInt("clientSequenceNr"), 5);
    EXPECT_EQ(answer.getType("clientSessionId"), Qfn::OMType::String);

    ASSERT_TRUE(client.send(OpCode::OPEN_SESSION, "default", "{clientSessionId: " + clientSession + "}"));
    OMAccessor opened = payloadOf(client.receive(10000ms));
    ASSERT_TRUE(opened.getBool("success"));
    const std::string session = ", serviceSessionId: " + quoted(opened.getString("serviceSessionId"));
    ASSERT_TRUE(client.send(OpCode::EVAL, "default", "{script: \"v = 20\"" + session + "}"));
    ASSERT_TRUE(client.send(OpCode::EVAL, "default", "{script: \"v + 1\"" + session + "}"));
    EXPECT_TRUE(payloadOf(client.receive(10000ms)).getBool("success"));
    EXPECT_EQ(payloadOf(client.receive(10000ms)).getInt("result"), 21);
    ASSERT_TRUE(
        client.send(OpCode::CLOSE_SESSION, "default", "{clientSessionId: " + clientSession + session + "}"));
    EXPECT_TRUE(payloadOf(client.receive(10000ms)).getBool("success"));
    ASSERT_TRUE(client.send(OpCode::EVAL, "default", "{script: \"1 +* (\"}"));
    EXPECT_FALSE(payloadOf(client.receive(10000ms)).getBool("success"));

    ASSERT_TRUE(gateway.stop());
    // The script that does not parse is told on the gateway's log; nothing else is.
    const std::string errors = gateway.process().standardError();
    EXPECT_EQ(errors.find("Object::getObjectCount() == 0"), std::string::npos) << errors;
    EXPECT_EQ(gateway.process().exitStatus(), 0);
}

TEST(Gateway, ManyClientsAtOnceEachGetTheirOwnAnswers)
{
    Gateway gateway;
    ASSERT_TRUE(gateway.start());
    constexpr int kClients = 200;
    constexpr int kRequests = 50;
    // Messages are made and read on this thread; the clients' threads only move their bytes.
    std::vector<std::unique_ptr<GatewayClient>> clients;
    std::vector<std::string> requests(kClients);
    std::vector<std::vector<std::string>> replies(kClients);
    for (int c = 0; c < kClients; ++c) {
        clients.push_back(std::make_unique<GatewayClient>());
        for (int r = 0; r < kRequests; ++r) {
            const std::string number = std::to_string(c * 1000 + r);
            requests[c] +=
                clients[c]->wireText(OpCode::EVAL, "default",
                                     "{script: \"" + number + " * 2\", clientSequenceNr: " + number + "}") +
                "\r";
        }
    }
    std::vector<std::thread> threads;
    for (int c = 0; c < kClients; ++c) {
        threads.emplace_back([&, c] {
            if (!clients[c]->connect(gateway.port(), 20000ms) || !clients[c]->sendRaw(requests[c])) return;
            for (int r = 0; r < kRequests; ++r) {
                std::string line = clients[c]->receiveLine(60000ms);
                if (line.empty()) break;
                replies[c].push_back(std::move(line));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    int answered = 0;
    for (int c = 0; c < kClients; ++c) {
        std::map<int64_t, int> seen;
        for (const std::string& line : replies[c]) {
            auto message =
                std::dynamic_pointer_cast<Qfn::IMessage>(Qfn::Data_abstract::deserializeFromStr(line));
            OMAccessor answer = payloadOf(message);
            const int64_t number = answer.getInt("clientSequenceNr");
            EXPECT_EQ(number / 1000, c) << "an answer on the connection of another client";
            EXPECT_EQ(answer.getInt("result"), number * 2);
            EXPECT_EQ(seen[number]++, 0) << "answered twice: " << number;
            ++answered;
        }
    }
    EXPECT_EQ(answered, kClients * kRequests);
    ASSERT_TRUE(gateway.stop());
    gateway.expectCleanEnd();
}

TEST(Gateway, MalformedLinesAreDroppedAndGoodOnesAnswered)
{
    Gateway gateway;
    ASSERT_TRUE(gateway.start());
    GatewayClient client;
    ASSERT_TRUE(client.connect(gateway.port(), 10000ms));
    const std::string good = client.wireText(OpCode::EVAL, "default", "{script: \"7\"}");
    std::mt19937 random(1234);
    std::vector<std::string> bad = {
        "no message at all",
        good.substr(0, good.size() / 2),
        "InternalCoordinator",
        "ServiceOM",
        Qfn::Utils::escapeIPC(std::string(1000000, 'x')),
        "Message",
        "[" + std::string(100000, '['),
    };
    // The opcode record (a line of its own before escaping) made non-numeric.
    std::string notNumeric = Qfn::Utils::unescapeIPC(good);
    const size_t opCodeAt = notNumeric.find("\n12\n");
    ASSERT_NE(opCodeAt, std::string::npos);
    notNumeric.replace(opCodeAt, 4, "\nxy");
    bad.push_back(Qfn::Utils::escapeIPC(notNumeric));
    // A class that is no data value where an address stands: not built from the wire.
    std::string notData = Qfn::Utils::unescapeIPC(good);
    const size_t senderAt = notData.find("\nLocalResolvedAddress\n");
    ASSERT_NE(senderAt, std::string::npos);
    notData.replace(senderAt + 1, std::string("LocalResolvedAddress").size(), "InternalCoordinator");
    bad.push_back(Qfn::Utils::escapeIPC(notData));
    std::string deep = client.wireText(
        OpCode::EVAL, "default", "{script: \"" + std::string(100000, '[') + std::string(100000, ']') + "\"}");
    bad.push_back(deep);
    int goodSent = 0;
    for (int n = 0; n < 1000; ++n) {
        std::string line;
        if (n < static_cast<int>(bad.size())) {
            line = bad[n];
        } else {
            line.resize(1 + random() % 200);
            for (char& c : line)
                c = static_cast<char>(random() % 256);
        }
        ASSERT_TRUE(client.sendRaw(line + "\r"));
        if (n % 10 == 0) {
            ASSERT_TRUE(client.sendRaw(good + "\r"));
            ++goodSent;
        }
    }
    int goodAnswered = 0;
    for (auto message = client.receive(30000ms); message;
         message = client.receive(goodAnswered >= goodSent ? 500ms : 30000ms)) {
        if (payloadOf(message).getInt("result") == 7) ++goodAnswered;
    }
    EXPECT_EQ(goodAnswered, goodSent);
    ASSERT_TRUE(gateway.stop()) << gateway.process().standardError().substr(0, 3000);
    const std::string errors = gateway.process().standardError();
    EXPECT_EQ(errors.find("Object::getObjectCount() == 0"), std::string::npos) << errors.substr(0, 2000);
    EXPECT_EQ(gateway.process().exitStatus(), 0);
}

TEST(Gateway, AStalledConnectionIsSweptWhileOthersAreServed)
{
    Gateway gateway("gatewayIdleMicroseconds = 500000\nlogLevel = 3\n");
    ASSERT_TRUE(gateway.start());
    GatewayClient stalled;
    ASSERT_TRUE(stalled.connect(gateway.port(), 10000ms));
    ASSERT_TRUE(
        stalled.sendRaw(stalled.wireText(OpCode::PING, "net.quillfern.service.ping", "{}").substr(0, 20)));
    {
        GatewayClient closing;
        ASSERT_TRUE(closing.connect(gateway.port(), 10000ms));
        ASSERT_TRUE(closing.sendRaw("Message\n"));
    }
    // A connection in use for longer than the idle time stays: each request is traffic.
    GatewayClient busy;
    ASSERT_TRUE(busy.connect(gateway.port(), 10000ms));
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < 1500ms) {
        ASSERT_TRUE(busy.send(OpCode::PING, "net.quillfern.service.ping", "{k: 2}"));
        auto answer = busy.receive(5000ms);
        ASSERT_TRUE(answer) << gateway.process().standardError();
        EXPECT_EQ(answer->getPayloadStr(), "{k: 2}");
    }
    // The stalled connection was swept: the gateway closed it.
    EXPECT_FALSE(stalled.receive(3000ms));
    ASSERT_TRUE(gateway.stop());
    const std::string errors = gateway.process().standardError();
    EXPECT_NE(errors.find("sweeping connection 127.0.0.1:"), std::string::npos);
    EXPECT_EQ(errors.find("ERROR"), std::string::npos) << errors.substr(0, 2000);
}

TEST(Gateway, ATakenPortLeavesTheProcessRunningWithoutAListener)
{
    Gateway first;
    ASSERT_TRUE(first.start());
    GatewayClient client;
    ASSERT_TRUE(client.connect(first.port(), 10000ms));
    Gateway second("logLevel = 3\n", first.port());
    ASSERT_TRUE(second.start());
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] { return second.process().standardError().find("bindResult == -1") != std::string::npos; },
        10000ms));
    // The first still answers; the second runs on until asked to stop.
    ASSERT_TRUE(client.send(OpCode::PING, "net.quillfern.service.ping", "{}"));
    EXPECT_TRUE(client.receive(10000ms));
    EXPECT_FALSE(second.process().waitForExit(200ms));
    ASSERT_TRUE(second.stop());
    second.expectCleanEnd(true);
    ASSERT_TRUE(first.stop());
    first.expectCleanEnd();
}

TEST(Gateway, AnInterruptWhileClientsSendEndsTheProcessCleanlyAndSoon)
{
    Gateway gateway;
    ASSERT_TRUE(gateway.start());
    std::atomic<bool> stop{false};
    std::atomic<int> connected{0};
    std::vector<std::unique_ptr<GatewayClient>> clients;
    for (int c = 0; c < 50; ++c)
        clients.push_back(std::make_unique<GatewayClient>());
    const std::string request = clients[0]->wireText(OpCode::EVAL, "default", "{script: \"1 + 2\"}") + "\r";
    std::vector<std::thread> threads;
    for (int c = 0; c < 50; ++c) {
        threads.emplace_back([&, c] {
            if (!clients[c]->connect(gateway.port(), 10000ms)) return;
            ++connected;
            while (!stop && clients[c]->sendRaw(request))
                clients[c]->receiveLine(100ms);
        });
    }
    ASSERT_TRUE(ProcessRunner::waitFor([&] { return connected == 50; }, 20000ms));
    const auto interrupted = std::chrono::steady_clock::now();
    ASSERT_TRUE(gateway.process().sendSignal(SIGINT));
    EXPECT_TRUE(gateway.process().waitForExit(5000ms));
    EXPECT_LT(std::chrono::steady_clock::now() - interrupted, 2500ms);
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    gateway.expectCleanEnd();
}

TEST(Gateway, APortHeldByAnotherProgramIsSkipped)
{
    const int port = GatewayClient::freePort();
    const int holder = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    ASSERT_EQ(::bind(holder, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(holder, 1), 0);
    Gateway gateway("logLevel = 3\n", port);
    ASSERT_TRUE(gateway.start());
    ASSERT_TRUE(ProcessRunner::waitFor(
        [&] { return gateway.process().standardError().find("bindResult == -1") != std::string::npos; },
        10000ms));
    EXPECT_FALSE(gateway.process().waitForExit(200ms)) << "it runs on";
    ASSERT_TRUE(gateway.stop());
    ::close(holder);
    gateway.expectCleanEnd(true);
}
