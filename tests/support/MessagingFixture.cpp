#include "support/MessagingFixture.h"

#include <chrono>

#include "QfnAddress/Address_abstract.h"
#include "QfnCoordinator/MainTaskTimesliceTask.h"
#include "QfnCoordinator/SiblingCoordinator.h"
#include "QfnMessage/Message.h"
#include "QfnObject/ClassSupport.h"
#include "support/ObjectClasses.h"

namespace QfnTest {

const std::string RecordingService::TYPENAME = "RecordingService";
const std::string RecordingService::SERVICE_NAME = "net.quillfern.test.recording";

std::shared_ptr<RecordingService> RecordingService::factory()
{
    return std::dynamic_pointer_cast<RecordingService>(
        Qfn::Object::adopt(new RecordingService(), &Qfn::ClassSupport::deleter<RecordingService>));
}

bool RecordingService::receiveMessage(std::shared_ptr<const Qfn::IObject> messageObj)
{
    if (!Service_abstract::receiveMessage(messageObj)) return false;
    auto message = std::dynamic_pointer_cast<const Qfn::IMessage>(messageObj);
    if (!message) return false;
    fReceived.push_back(message);
    return true;
}

std::shared_ptr<Qfn::InternalCoordinator> MessagingFixture::coordinator()
{
    return std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory());
}

void MessagingFixture::SetUp()
{
    ASSERT_TRUE(registerObjectClassesOnce());
    ASSERT_TRUE(coordinator());
    ASSERT_TRUE(coordinator()->publishMyPid());
    fObjectCountAtStart = Qfn::Object::getObjectCount();
    fClient = RecordingService::factory();
    ASSERT_TRUE(fClient);
    ASSERT_TRUE(coordinator()->attachChildObj(fClient));
    fMainTask = Qfn::MainTaskTimesliceTask::factory();
    ASSERT_TRUE(fMainTask);
}

void MessagingFixture::TearDown()
{
    EXPECT_TRUE(runUntilQuiet());
    EXPECT_EQ(coordinator()->getMessageQueueSize(), 0u);
    for (const char* name : {"net.quillfern.coordinator.main", "net.quillfern.coordinator.gateway",
                             "net.quillfern.coordinator.other", "net.quillfern.coordinator.third"}) {
        if (auto sibling = std::dynamic_pointer_cast<Qfn::SiblingCoordinator>(
                Qfn::SiblingCoordinator::getSiblingCoordinator(name)))
            EXPECT_TRUE(sibling->deregisterObject());
    }
    EXPECT_TRUE(fClient->deregisterObject());
    fClient.reset();
    fMainTask.reset();
    Qfn::InternalCoordinator::clearHostNamesAndAliases();
    EXPECT_EQ(Qfn::Object::getObjectCount(), fObjectCountAtStart);
}

bool MessagingFixture::send(const std::string& url, Qfn::OpCode opCode, const std::string& payload)
{
    std::string tail;
    std::shared_ptr<Qfn::IObject> receiver = Qfn::Address_abstract::factoryFromURL(url, tail);
    if (!receiver) return false;
    auto message =
        Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(fClient, receiver, opCode, payload);
    return message && coordinator()->queueMessage(message);
}

bool MessagingFixture::runUntil(const std::function<bool()>& test, int64_t deadlineMilliseconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(deadlineMilliseconds);
    while (!test()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        if (!fMainTask->runTimeslice(200000)) return false;
        int64_t available = 200000;
        if (!Qfn::Task::runActiveTasks(available)) return false;
    }
    return true;
}

bool MessagingFixture::runUntilQuiet()
{
    return runUntil(
        [] { return coordinator()->getMessageQueueSize() == 0 && Qfn::Task::getActiveTasks().empty(); });
}

std::vector<std::shared_ptr<Qfn::OMStored>> MessagingFixture::payloadsOf(Qfn::OpCode opCode) const
{
    std::vector<std::shared_ptr<Qfn::OMStored>> payloads;
    for (const auto& message : fClient->fReceived) {
        if (message->getOpCode() == opCode) payloads.push_back(message->getAsOMNode());
    }
    return payloads;
}

size_t MessagingFixture::countOf(Qfn::OpCode opCode) const
{
    size_t count = 0;
    for (const auto& message : fClient->fReceived)
        count += message->getOpCode() == opCode;
    return count;
}

}  // namespace QfnTest
