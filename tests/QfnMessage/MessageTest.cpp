// The message: its wire form, what its factories take for sender and receiver, its payload as a
// value of the language, its opcodes, and its dump in the IPC log.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/IAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnData/DataNull.h"
#include "QfnData/DataString.h"
#include "QfnLogger/Log.h"
#include "QfnMessage/Message.h"
#include "QfnMessage/OpCode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnService/ServiceNull.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

const std::string kGUID1 = "0123456789abcdef0011223344556677";
const std::string kGUID2 = "fedcba98765432108899aabbccddeeff";

class MessageTest : public QfnTest::AddressFixture {
protected:
    void SetUp() override
    {
        AddressFixture::SetUp();
        ASSERT_TRUE(DataNull::factory());
        fObjectCount = Object::getObjectCount();
    }
    void TearDown() override
    {
        EXPECT_EQ(Object::getObjectCount(), fObjectCount) << "objects left behind";
        AddressFixture::TearDown();
    }

    static std::shared_ptr<IObject> address(const std::string& addressed, const std::string& upstream)
    {
        return LocalResolvedAddress::factoryFromGUIDs(GUIDClass::factory(addressed),
                                                      GUIDClass::factory(upstream));
    }
    static std::shared_ptr<IMessage> message(std::shared_ptr<const IObject> sender,
                                             std::shared_ptr<const IObject> receiver, OpCode opCode,
                                             const std::string& payload)
    {
        return std::dynamic_pointer_cast<IMessage>(
            Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
                std::move(sender), std::move(receiver), opCode, payload));
    }
    static std::shared_ptr<IMessage> internal(const std::string& payload)
    {
        return message(InternalAddress::factory(), InternalAddress::factory(), OpCode::EVAL, payload);
    }
    static std::string urlOf(const std::shared_ptr<const IObject>& addressObj)
    {
        auto address = std::dynamic_pointer_cast<const IAddress>(addressObj);
        return address ? address->getAsURL() : "(no address)";
    }

private:
    uint64_t fObjectCount = 0;
};

}  // namespace

TEST_F(MessageTest, SerializesAsSenderReceiverOpCodeAndPayload)
{
    auto original = message(InternalAddress::factoryFromIndices("a.b/1"), address(kGUID1, kGUID2),
                            OpCode::EVAL, "{a: 1, b: \"x\"}");
    ASSERT_TRUE(original);
    const std::string text = Data_abstract::serializeToStr(original);
    EXPECT_EQ(
        text,
        "Message\n"
        "InternalAddress\na.b/1\n"
        "LocalResolvedAddress\n01234567-89AB-CDEF-0011-223344556677\nFEDCBA98-7654-3210-8899-AABBCCDDEEFF\n"
        "12\n"
        "{a: 1, b: \\\"x\\\"}\n");
    auto again = std::dynamic_pointer_cast<IMessage>(Data_abstract::deserializeFromStr(text));
    ASSERT_TRUE(again);
    EXPECT_EQ(urlOf(again->getSenderAddressObj()), "qfn:////a.b/1");
    EXPECT_EQ(urlOf(again->getReceiverAddressObj()), urlOf(original->getReceiverAddressObj()));
    EXPECT_EQ(again->getOpCode(), OpCode::EVAL);
    EXPECT_EQ(again->getPayloadStr(), "{a: 1, b: \"x\"}");
}

TEST_F(MessageTest, ARecordOfTheWrongKindIsRefused)
{
    const std::string sender = Data_abstract::serializeToStr(address(kGUID2, kGUID1));
    const std::string receiver = Data_abstract::serializeToStr(address(kGUID1, kGUID2));
    // A ping with an empty payload, which travels too.
    auto ping = std::dynamic_pointer_cast<IMessage>(
        Data_abstract::deserializeFromStr("Message\n" + sender + receiver + "2\n\n"));
    ASSERT_TRUE(ping);
    EXPECT_EQ(ping->getOpCode(), OpCode::PING);
    EXPECT_EQ(ping->getPayloadStr(), "");

    const std::string notNumeric = "SANITY_CHECK failed: 'Utils::isNumeric(opCodeStr)' evaluates to false";
    const std::pair<std::string, std::string> cases[] = {
        {"Message\n" + sender + receiver + "ping\n\n", notNumeric},
        {"Message\n" + sender + receiver + "-2\n\n", notNumeric},
        {"Message\n" + sender + receiver + "\n\n", notNumeric},
        {"Message\n" + sender + receiver + "2147483648\n\n",
         "SANITY_CHECK failed: 'opCodeValue >= INT32_MIN && opCodeValue <= INT32_MAX' evaluates to false"},
        // Values that are no addresses, and an address record that reads as the missing value.
        {"Message\nDataString\nx\n" + receiver + "2\n\n", "cannot deserialize"},
        {"Message\n" + sender + "DataNull\n2\n\n", "cannot deserialize"},
        {"Message\n" + sender + "LocalResolvedAddress\n\n\n2\n\n", "cannot deserialize"},
    };
    for (const auto& [text, line] : cases) {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(std::dynamic_pointer_cast<IMessage>(Data_abstract::deserializeFromStr(text))) << text;
        EXPECT_TRUE(capture.hasLineEndingWith(line)) << text;
        EXPECT_TRUE(capture.hasLineEndingWith("cannot deserialize")) << text;
    }
}

TEST_F(MessageTest, PayloadReadsAsAValueOfTheLanguage)
{
    auto parsed = OMStored::undefinedFactory();
    ASSERT_TRUE(ParseTask::call(parsed, "{a: 1, b: \"x\"}"));
    auto fromNode =
        std::dynamic_pointer_cast<IMessage>(Message::factoryFromSenderDestinationAddressOpCodeOMNode(
            InternalAddress::factory(), InternalAddress::factory(), OpCode::DATA_REPLY, parsed));
    ASSERT_TRUE(fromNode);
    for (const std::string& text : {std::string("{a: 1, b: \"x\"}"), fromNode->getPayloadStr()}) {
        auto node = internal(text)->getAsOMNode();
        ASSERT_TRUE(node && node->getType() == OMType::Map) << text;
        const auto& members = *node->getMap();
        ASSERT_TRUE(members.size() == 2 && members.count("a") && members.count("b")) << text;
        EXPECT_EQ(members.at("a")->getType(), OMType::Int);
        EXPECT_EQ(members.at("a")->getInt(), 1);
        EXPECT_EQ(members.at("b")->getType(), OMType::String);
        EXPECT_EQ(members.at("b")->getString(), "x");
    }

    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(internal("")->getAsOMNode());
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: '! fPayload.empty()' evaluates to false"));
    EXPECT_FALSE(internal("{a: ")->getAsOMNode());
    EXPECT_TRUE(capture.hasLineEndingWith("'ParseTask::call(retVal, fPayload)' evaluates to false"));
    EXPECT_FALSE(Message::factoryFromSenderDestinationAddressOpCodeOMNode(
        InternalAddress::factory(), InternalAddress::factory(), OpCode::EVAL, nullptr));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'messageNode' evaluates to false"));
}

TEST_F(MessageTest, SenderAndReceiverAreAddressesOrWhatHasOne)
{
    auto service = ServiceNull::factory();
    auto serviceAddress = std::dynamic_pointer_cast<IAddressable>(service)->getAddressObj();
    auto receiver = address(kGUID1, kGUID2);
    auto fromService = message(service, receiver, OpCode::PING, "");
    ASSERT_TRUE(fromService && serviceAddress && fromService->getSenderAddressObj());
    EXPECT_TRUE(*fromService->getSenderAddressObj() == *serviceAddress);
    EXPECT_EQ(fromService->getReceiverAddressObj().get(), receiver.get());

    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(message(DataString::factoryFromString("x"), receiver, OpCode::PING, ""));
    EXPECT_TRUE(capture.hasLineEndingWith("ASSIGN failed: 'senderAddressObj = addressOf(senderObj);'"));
    EXPECT_FALSE(message(service, nullptr, OpCode::PING, ""));
    EXPECT_TRUE(
        capture.hasLineEndingWith("ASSIGN failed: 'receiverAddressObj = addressOf(destinationObj);'"));
}

TEST_F(MessageTest, OpCodeNamesAndWhichOnesLaunchASibling)
{
    EXPECT_EQ(Object::opCodeToString(OpCode::NONE), "none");
    EXPECT_EQ(Object::opCodeToString(OpCode::DATA_REPLY), "dataReply");
    for (int32_t value : {17, -1}) {
        QfnTest::LogCapture capture(1);
        EXPECT_EQ(Object::opCodeToString(static_cast<OpCode>(value)), "");
        EXPECT_TRUE(capture.hasLineEndingWith("unknown opCode")) << value;
    }
    for (int32_t value = 0; value <= 16; ++value) {
        const auto opCode = static_cast<OpCode>(value);
        const bool launches = opCode == OpCode::PING || opCode == OpCode::EVAL ||
                              opCode == OpCode::EVAL_FILE || opCode == OpCode::DATA_REQUEST;
        EXPECT_EQ(Message::needsToLaunchForOpCode(opCode), launches) << Object::opCodeToString(opCode);
    }
}

namespace {

// The lines of text that begin with prefix.
size_t countLines(const std::string& text, const std::string& prefix)
{
    size_t count = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        count += line.rfind(prefix, 0) == 0 ? 1 : 0;
    return count;
}

}  // namespace

TEST_F(MessageTest, TheIPCDumpWritesAnAddressInFullOnceThenByNumber)
{
    auto receiver = address(kGUID1, kGUID2);
    auto first = message(address(kGUID2, kGUID1), receiver, OpCode::EVAL, "1 + 1");
    // Another object with the same GUIDs: the same address.
    auto second = message(InternalAddress::factoryFromIndices("a/2"), address(kGUID1, kGUID2),
                          OpCode::EVAL_RESULT, "2");
    ASSERT_TRUE(first && second);
    const std::string path = testing::TempDir() + "qfn_ipc_" + std::to_string(::getpid()) + ".log";
    std::remove(path.c_str());
    Message::clearDumpTable();
    Message::setIPCLogFile(path);
    auto readLog = [&path] {
        std::ifstream file(path);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };

    Message::logIPCMessage(first);
    EXPECT_EQ(readLog(), "") << "written with logIPC off";
    Log::setIsLogIPC(true);
    Message::logIPCMessage(first);
    Message::logIPCMessage(second);
    Log::setIsLogIPC(false);
    Message::setIPCLogFile("");
    Message::clearDumpTable();
    const std::string text = readLog();
    std::remove(path.c_str());

    // The first dump numbers its sender #1 and its receiver #2; the second names the receiver by
    // its number only, and its own sender in full.
    EXPECT_EQ(countLines(text, "    #2 = " + urlOf(receiver)), 1u) << text;
    EXPECT_EQ(countLines(text, "    #3 = qfn:////a/2"), 1u) << text;
    EXPECT_EQ(countLines(text, "    #"), 3u) << text;
    EXPECT_EQ(countLines(text, "  receiver = #2"), 2u) << text;
    EXPECT_EQ(countLines(text, "  sender = #3"), 1u) << text;
    EXPECT_EQ(countLines(text, "  opcode = 14 evalResult"), 1u) << text;
    EXPECT_EQ(countLines(text, "  payload = \"1 + 1\""), 1u) << text;
}
