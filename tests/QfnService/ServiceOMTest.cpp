// Requests queued in the process and routed by the real main round to the real services.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <set>

#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnService/ServiceOM.h"
#include "support/LogCapture.h"
#include "support/MessagingFixture.h"

using Qfn::OMAccessor;
using Qfn::OMType;
using Qfn::OpCode;

namespace {

const char* const kDefault = "qfn:////default";

class ServiceOMRequests : public QfnTest::MessagingFixture {
protected:
    // Sends one request and runs until its answer is in; the answer's map.
    OMAccessor ask(OpCode opCode, const std::string& payload)
    {
        const size_t before = countOf(OpCode::EVAL_RESULT);
        EXPECT_TRUE(send(kDefault, opCode, payload));
        EXPECT_TRUE(runUntil([&] { return countOf(OpCode::EVAL_RESULT) > before; }));
        auto answers = payloadsOf(OpCode::EVAL_RESULT);
        return OMAccessor(answers.empty() ? nullptr : answers.back());
    }
    OMAccessor eval(const std::string& script, const std::string& more = "")
    {
        return ask(OpCode::EVAL, "{script: " + enquote(script) + more + "}");
    }
    static std::string enquote(const std::string& text) { return OMAccessor::stringify(*stringNode(text)); }
    static std::shared_ptr<Qfn::OMStored> stringNode(const std::string& text)
    {
        auto node = Qfn::OMStored::undefinedFactory();
        OMAccessor(node).set(text);
        return node;
    }
};

}  // namespace

TEST_F(ServiceOMRequests, PingIsAnsweredWithTheSamePayload)
{
    ASSERT_TRUE(send("qfn:////net.quillfern.service.ping/0", OpCode::PING, "{n: 42, s: \"x\"}"));
    ASSERT_TRUE(runUntil([&] { return countOf(OpCode::PING_REPLY) == 1; }));
    const auto& reply = fClient->fReceived.back();
    EXPECT_EQ(reply->getPayloadStr(), "{n: 42, s: \"x\"}");
    EXPECT_TRUE(runUntilQuiet());
    EXPECT_EQ(fClient->fReceived.size(), 1u) << "one answer, nothing else";
}

TEST_F(ServiceOMRequests, EvalAnswersWithItsResultAndEchoesTheRequestIds)
{
    const std::string clientSession = Qfn::GUIDClass::randomFactory()->toString();
    OMAccessor answer =
        eval("x = 1 + 2; x * 10", ", clientSequenceNr: 7, clientSessionId: " + enquote(clientSession));
    EXPECT_TRUE(answer.getBool("success"));
    EXPECT_EQ(answer.getInt("result"), 30);
    EXPECT_EQ(answer.getInt("clientSequenceNr"), 7);
    EXPECT_EQ(answer.getString("clientSessionId"), clientSession);
    EXPECT_EQ(answer.getType("serviceSessionId"), OMType::Undefined) << "no session was named";

    // Without a session each script has a fresh scope: x is gone, and the service's scope has none.
    OMAccessor second = eval("typeof(x)");
    EXPECT_EQ(second.getString("result"), "error") << "an unknown name";
    auto service =
        std::dynamic_pointer_cast<Qfn::ServiceOM>(coordinator()->getChildByNameIndex("default", 0));
    ASSERT_TRUE(service);
    EXPECT_EQ(OMAccessor(service->getScope()).getType("x"), OMType::Undefined);
}

TEST_F(ServiceOMRequests, ASessionKeepsVariablesUntilItIsClosed)
{
    const std::string clientSession =
        "{clientSessionId: " + enquote(Qfn::GUIDClass::randomFactory()->toString());
    OMAccessor opened = ask(OpCode::OPEN_SESSION, clientSession + ", clientSequenceNr: 1}");
    ASSERT_TRUE(opened.getBool("success"));
    ASSERT_EQ(opened.getType("serviceSessionId"), OMType::String);
    EXPECT_EQ(opened.getInt("clientSequenceNr"), 1);
    const std::string session = ", serviceSessionId: " + enquote(opened.getString("serviceSessionId"));

    EXPECT_TRUE(eval("y = 5", session).getBool("success"));
    OMAccessor shared = eval("y * 2", session);
    EXPECT_EQ(shared.getInt("result"), 10);
    EXPECT_EQ(shared.getString("serviceSessionId"), opened.getString("serviceSessionId"));

    OMAccessor closed = ask(OpCode::CLOSE_SESSION, clientSession + session + "}");
    EXPECT_TRUE(closed.getBool("success"));
    EXPECT_EQ(closed.getType("clientSessionId"), OMType::String);
    OMAccessor afterClose = eval("y", session);
    EXPECT_FALSE(afterClose.getBool("success"));
    EXPECT_NE(afterClose.getString("result").find("no such session"), std::string::npos);
    EXPECT_EQ(eval("typeof(y)").getString("result"), "error") << "an unknown name";

    OMAccessor closedAgain = ask(OpCode::CLOSE_SESSION, clientSession + session + "}");
    EXPECT_FALSE(closedAgain.getBool("success")) << "an unknown session cannot be closed";
}

TEST_F(ServiceOMRequests, AScriptThatDoesNotParseIsAnsweredWithFailureAndAReason)
{
    QfnTest::LogCapture capture(1);
    OMAccessor answer = eval("1 +* (", ", clientSequenceNr: 3");
    EXPECT_FALSE(answer.getBool("success"));
    EXPECT_EQ(answer.getInt("clientSequenceNr"), 3);
    EXPECT_EQ(answer.getType("result"), OMType::String);
    EXPECT_FALSE(answer.getString("result").empty());
}

TEST_F(ServiceOMRequests, EvalFileRunsAnExistingFileAndRefusesAMissingOne)
{
    const std::string path = ::testing::TempDir() + "request-" + std::to_string(::getpid()) + ".qfl";
    FILE* file = std::fopen(path.c_str(), "w");
    ASSERT_TRUE(file);
    std::fputs("a = 6;\na * 7\n", file);
    std::fclose(file);
    OMAccessor answer = ask(OpCode::EVAL_FILE, "{script: " + enquote(path) + "}");
    EXPECT_TRUE(answer.getBool("success"));
    EXPECT_EQ(answer.getInt("result"), 42);
    std::remove(path.c_str());

    OMAccessor missing = ask(OpCode::EVAL_FILE, "{script: " + enquote(path) + ", clientSequenceNr: 9}");
    EXPECT_FALSE(missing.getBool("success"));
    EXPECT_EQ(missing.getInt("clientSequenceNr"), 9);
    EXPECT_NE(missing.getString("result").find(path), std::string::npos);
}

TEST_F(ServiceOMRequests, AScriptThatYieldsDoesNotHoldUpOthers)
{
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(send(kDefault, OpCode::EVAL, "{script: \"yield(100); 'slow'\", clientSequenceNr: 1}"));
    ASSERT_TRUE(send(kDefault, OpCode::EVAL, "{script: \"'quick'\", clientSequenceNr: 2}"));
    ASSERT_TRUE(runUntil([&] { return countOf(OpCode::EVAL_RESULT) == 1; }));
    EXPECT_EQ(OMAccessor(payloadsOf(OpCode::EVAL_RESULT)[0]).getString("result"), "quick");
    ASSERT_TRUE(runUntil([&] { return countOf(OpCode::EVAL_RESULT) == 2; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_EQ(OMAccessor(payloadsOf(OpCode::EVAL_RESULT)[1]).getString("result"), "slow");
}

TEST_F(ServiceOMRequests, AThousandQueuedEvalsAreAllAnsweredEachWithItsOwnNumber)
{
    for (int n = 0; n < 1000; ++n) {
        ASSERT_TRUE(
            send(kDefault, OpCode::EVAL,
                 "{script: \"" + std::to_string(n) + " * 2\", clientSequenceNr: " + std::to_string(n) + "}"));
    }
    ASSERT_TRUE(runUntil([&] { return countOf(OpCode::EVAL_RESULT) == 1000; }, 60000));
    std::set<int64_t> numbers;
    for (const auto& payload : payloadsOf(OpCode::EVAL_RESULT)) {
        OMAccessor answer(payload);
        EXPECT_EQ(answer.getInt("result"), answer.getInt("clientSequenceNr") * 2);
        numbers.insert(answer.getInt("clientSequenceNr"));
    }
    EXPECT_EQ(numbers.size(), 1000u);
    EXPECT_EQ(*numbers.begin(), 0);
    EXPECT_EQ(*numbers.rbegin(), 999);
}

TEST_F(ServiceOMRequests, StdOutOfARequestGoesToTheRequester)
{
    OMAccessor answer = eval("stdOut(\"x\"); stdErr(\"y\"); 1");
    EXPECT_TRUE(answer.getBool("success"));
    ASSERT_EQ(countOf(OpCode::STD_OUT), 1u);
    ASSERT_EQ(countOf(OpCode::STD_ERR), 1u);
    EXPECT_EQ(OMAccessor(payloadsOf(OpCode::STD_OUT)[0]).getString(), "x");
    EXPECT_EQ(OMAccessor(payloadsOf(OpCode::STD_ERR)[0]).getString(), "y");
    // The text arrives before the answer, in the order the script wrote it.
    EXPECT_EQ(fClient->fReceived[0]->getOpCode(), OpCode::STD_OUT);
    EXPECT_EQ(fClient->fReceived[1]->getOpCode(), OpCode::STD_ERR);
    EXPECT_EQ(fClient->fReceived[2]->getOpCode(), OpCode::EVAL_RESULT);
}

TEST_F(ServiceOMRequests, RequestsThatCannotBeServedAreDroppedWithANote)
{
    QfnTest::LogCapture capture(3);
    const struct {
        OpCode opCode;
        const char* payload;
        const char* note;
    } requests[] = {
        {OpCode::EVAL, "[1, 2]", "its payload is not a map"},
        {OpCode::OPEN_SESSION, "{clientSequenceNr: 1}", "no clientSessionId"},
        {OpCode::EVAL, "{script: \"\"}", "no script"},
        {OpCode::DATA_REQUEST, "{data: 1}", "no callBackID"},
        {OpCode::DATA_REQUEST, "{callBackID: \"nobody\", data: 1}", "no function is registered for it"},
    };
    for (const auto& request : requests) {
        capture.clear();
        ASSERT_TRUE(send(kDefault, request.opCode, request.payload));
        ASSERT_TRUE(runUntilQuiet());
        EXPECT_EQ(capture.countContaining(request.note), 1u) << request.payload;
        EXPECT_EQ(capture.countContaining("ERROR"), 0u) << request.payload;
    }
    EXPECT_TRUE(fClient->fReceived.empty());
}
