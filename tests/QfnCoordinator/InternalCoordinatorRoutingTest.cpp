// The routing decision of the coordinator, and addresses resolved through its service tree.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/IAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnCoordinator/SiblingCoordinator.h"
#include "QfnData/Data_abstract.h"
#include "QfnEvent/EventListener.h"
#include "QfnEvent/IEvent.h"
#include "QfnMessage/Message.h"
#include "QfnObject/ClassSupport.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnService/ServiceNull.h"
#include "QfnService/ServiceOM.h"
#include "QfnService/ServicePing.h"
#include "support/LogCapture.h"
#include "support/MessagingFixture.h"

using Qfn::IObject;
using Qfn::OpCode;

namespace {

const std::string kMain = "net.quillfern.coordinator.main";

// This process bears another coordinator name while it lives.
class ScopedName {
public:
    explicit ScopedName(const std::string& name) : fSaved(Qfn::InternalCoordinator::getName())
    {
        EXPECT_TRUE(Qfn::InternalCoordinator::setName(name));
    }
    ~ScopedName() { Qfn::InternalCoordinator::setName(fSaved); }

private:
    std::string fSaved;
};

// What the gateway's send method was given.
std::vector<std::pair<std::string, std::string>> gatewaySent;
void recordGatewaySend(const std::string& host, const std::string& message)
{
    gatewaySent.emplace_back(host, message);
}

// Counts the events of one name that the coordinator fires.
class CountingListener : public Qfn::EventListener {
public:
    static std::shared_ptr<CountingListener> factory()
    {
        return std::dynamic_pointer_cast<CountingListener>(
            Qfn::Object::adopt(new CountingListener(), &Qfn::ClassSupport::deleter<CountingListener>));
    }
    const std::string& typeName() const override { return kTypeName; }
    bool handleEvent(const std::string& eventName, std::shared_ptr<IObject> eventObj) override
    {
        if (!EventListener::handleEvent(eventName, eventObj)) return false;
        ++fCount;
        return true;
    }
    int fCount = 0;

private:
    inline static const std::string kTypeName = "CountingListener";
};

class CoordinatorRouting : public QfnTest::MessagingFixture {
protected:
    std::shared_ptr<IObject> messageTo(std::shared_ptr<const IObject> receiver, OpCode opCode = OpCode::PING)
    {
        return Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(fClient, std::move(receiver),
                                                                                 opCode, "{}");
    }
    static size_t heldBy(const std::string& siblingName)
    {
        auto sibling = std::dynamic_pointer_cast<Qfn::SiblingCoordinator>(
            Qfn::SiblingCoordinator::getSiblingCoordinator(siblingName));
        return sibling ? sibling->getHeldMessages().size() : 0;
    }
};

}  // namespace

TEST_F(CoordinatorRouting, AnUnresolvableReceiverIsDiscardedWithoutFailing)
{
    QfnTest::LogCapture capture(3);
    auto message = messageTo(Qfn::InternalAddress::factoryFromIndices("net.quillfern.service.none/0"));
    ASSERT_TRUE(message);
    EXPECT_TRUE(coordinator()->relayMessage(message));
    EXPECT_EQ(
        capture.countContaining("discarding message receiverAddress: qfn:////net.quillfern.service.none/0"),
        1u);
    EXPECT_EQ(capture.countContaining("ERROR"), 0u);

    // A GUID address of a coordinator that no one here knows leads nowhere either.
    auto unknown = Qfn::LocalResolvedAddress::factoryFromGUIDs(Qfn::GUIDClass::randomFactory(),
                                                               Qfn::GUIDClass::randomFactory());
    EXPECT_TRUE(coordinator()->relayMessage(messageTo(unknown)));
    EXPECT_EQ(capture.countContaining("ERROR"), 0u);
}

TEST_F(CoordinatorRouting, OnlyMainTalksToSiblingsAndOnlyTheGatewayToOtherHosts)
{
    auto listener = CountingListener::factory();
    ASSERT_TRUE(coordinator()->attachDetachEventHandler(Qfn::AttachDetach::ATTACH, "messageRelayed", "test",
                                                        listener));
    {
        ScopedName name("net.quillfern.coordinator.other");
        QfnTest::LogCapture capture(2);
        // Sibling traffic of a coordinator that is not main goes to main.
        EXPECT_TRUE(coordinator()->relayMessage(
            messageTo(Qfn::LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(
                "net.quillfern.coordinator.third", "default"))));
        EXPECT_EQ(heldBy(kMain), 1u);
        // Remote traffic of a coordinator that is not the gateway goes to the gateway, by way of main.
        EXPECT_TRUE(coordinator()->relayMessage(
            messageTo(Qfn::RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(
                kMain, "default", "far.example"))));
        EXPECT_EQ(heldBy(kMain), 2u);
        EXPECT_EQ(heldBy("net.quillfern.coordinator.gateway"), 0u);
    }
    // Main itself hands remote traffic to the gateway's proxy when it is not the gateway.
    EXPECT_TRUE(coordinator()->relayMessage(
        messageTo(Qfn::RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(kMain, "default",
                                                                                          "far.example"))));
    EXPECT_EQ(heldBy("net.quillfern.coordinator.gateway"), 1u);
    EXPECT_EQ(listener->fCount, 3);
    EXPECT_TRUE(coordinator()->attachDetachEventHandler(Qfn::AttachDetach::DETACH, "messageRelayed", "test",
                                                        nullptr));
}

TEST_F(CoordinatorRouting, TheGatewayDeliversForALocalNameHereAndAnswersOverTheGateway)
{
    gatewaySent.clear();
    ASSERT_TRUE(coordinator()->setGatewaySendMethod(&recordGatewaySend));
    Qfn::GUIDClass* remoteCoordinator = Qfn::GUIDClass::randomFactory();
    Qfn::GUIDClass* remoteClient = Qfn::GUIDClass::randomFactory();
    auto request = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
        Qfn::RemoteResolvedAddress::factoryFromGUIDs(remoteClient, remoteCoordinator),
        Qfn::RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(
            kMain, "net.quillfern.service.ping/0", "gw-alias.example"),
        OpCode::PING, "{n: 1}");
    ASSERT_TRUE(request);
    const std::string wire = Qfn::Data_abstract::serializeToStr(request);
    request.reset();

    ASSERT_TRUE(coordinator()->receiveGatewayMessageStr("198.18.0.2", wire));
    EXPECT_TRUE(Qfn::InternalCoordinator::isLocalHost("GW-ALIAS.example"))
        << "the name the sender used is this host";
    EXPECT_EQ(coordinator()->getHostName(remoteCoordinator), "198.18.0.2");
    ASSERT_TRUE(runUntil([] { return gatewaySent.size() == 1; }));
    EXPECT_EQ(gatewaySent[0].first, "198.18.0.2");
    auto reply = std::dynamic_pointer_cast<Qfn::IMessage>(
        Qfn::Data_abstract::deserializeFromStr(gatewaySent[0].second));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->getOpCode(), OpCode::PING_REPLY);
    EXPECT_EQ(reply->getPayloadStr(), "{n: 1}");
    auto replyReceiver = std::dynamic_pointer_cast<const Qfn::IAddress>(reply->getReceiverAddressObj());
    ASSERT_TRUE(replyReceiver);
    EXPECT_EQ(replyReceiver->getAddressedGUID(), remoteClient);
    EXPECT_EQ(replyReceiver->getUpstreamCoordinatorGUID(), remoteCoordinator);
    reply.reset();
    ASSERT_TRUE(coordinator()->setGatewaySendMethod(nullptr));
}

TEST_F(CoordinatorRouting, HostNamesAreCaseBlindAndTransitive)
{
    EXPECT_TRUE(Qfn::InternalCoordinator::registerHostName("a", "127.0.0.1"));
    EXPECT_TRUE(Qfn::InternalCoordinator::isLocalHost("A"));
    EXPECT_TRUE(Qfn::InternalCoordinator::registerHostName("Alias-Of-A", "a"));
    EXPECT_TRUE(Qfn::InternalCoordinator::isLocalHost("alias-of-a")) << "a name for a local name is local";
    EXPECT_TRUE(Qfn::InternalCoordinator::registerHostName("b.example", "198.18.0.9"));
    EXPECT_FALSE(Qfn::InternalCoordinator::isLocalHost("b.example"));
    EXPECT_EQ(Qfn::InternalCoordinator::getHostAddress("B.EXAMPLE"), "198.18.0.9");
}

TEST_F(CoordinatorRouting, IndexPathsResolveThroughTheServiceTree)
{
    auto serviceNull = Qfn::ServiceNull::factory();
    auto byIndices = std::dynamic_pointer_cast<const Qfn::IAddress>(
        Qfn::InternalAddress::factoryFromIndices("net.quillfern.service.null/0"));
    ASSERT_TRUE(byIndices);
    EXPECT_EQ(byIndices->getAsURL(), "qfn:////net.quillfern.service.null/0");
    auto resolved = std::dynamic_pointer_cast<const Qfn::IAddress>(byIndices->resolved());
    ASSERT_TRUE(resolved);
    EXPECT_EQ(resolved->getUpstreamCoordinatorGUID(), coordinator()->createGUID());
    EXPECT_EQ(resolved->getAddressedGUID(), serviceNull->getGUID());

    std::string tail;
    auto byURL = std::dynamic_pointer_cast<const Qfn::IAddress>(
        Qfn::Address_abstract::factoryFromURL("qfn:////net.quillfern.service.null/0", tail));
    ASSERT_TRUE(byURL);
    auto resolvedByURL = std::dynamic_pointer_cast<const Qfn::IAddress>(byURL->resolved());
    ASSERT_TRUE(resolvedByURL);
    EXPECT_EQ(resolvedByURL->getAddressedGUID(), resolved->getAddressedGUID());
    EXPECT_EQ(resolvedByURL->getUpstreamCoordinatorGUID(), resolved->getUpstreamCoordinatorGUID());

    EXPECT_FALSE(std::dynamic_pointer_cast<const Qfn::IAddress>(
                     Qfn::InternalAddress::factoryFromIndices("net.quillfern.service.null/1"))
                     ->resolved())
        << "there is one null service";

    // The two script services by name, and the sample's values in its scope.
    auto sample = std::dynamic_pointer_cast<const Qfn::ServiceOM>(
        coordinator()->resolveAddress(Qfn::Address_abstract::factoryFromURL("qfn:////sample", tail)));
    ASSERT_TRUE(sample);
    EXPECT_EQ(Qfn::OMAccessor(sample->getScope()).getString("abc"), "sampleValue");
    auto defaultService =
        coordinator()->resolveAddress(Qfn::Address_abstract::factoryFromURL("qfn:////default", tail));
    ASSERT_TRUE(defaultService);
    EXPECT_EQ(defaultService, coordinator()->getChildByNameIndex("default", 0));
    EXPECT_EQ(coordinator()->resolveAddress(Qfn::InternalAddress::factoryFromIndices("")), coordinator());
}

TEST_F(CoordinatorRouting, AMessageToTheSampleServiceSeesItsScope)
{
    ASSERT_TRUE(send("qfn:////sample", OpCode::EVAL, "{script: \"abc + def\"}"));
    ASSERT_TRUE(runUntil([&] { return countOf(OpCode::EVAL_RESULT) == 1; }));
    EXPECT_EQ(Qfn::OMAccessor(payloadsOf(OpCode::EVAL_RESULT)[0]).getString("result"), "sampleValuea");
}

TEST_F(CoordinatorRouting, ASiblingProxyHoldsABoundedNumberOfMessages)
{
    ScopedName name("net.quillfern.coordinator.other");
    QfnTest::LogCapture capture(2);
    auto receiver = Qfn::LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(kMain, "default");
    for (size_t n = 0; n < Qfn::SiblingCoordinator::kMaxHeldMessages + 5; ++n)
        ASSERT_TRUE(coordinator()->relayMessage(messageTo(receiver)));
    EXPECT_EQ(heldBy(kMain), Qfn::SiblingCoordinator::kMaxHeldMessages);
    EXPECT_EQ(capture.countContaining("dropping its oldest held message"), 5u);
}

TEST_F(CoordinatorRouting, APipeMessageSignedWithThisCoordinatorsNameIsRefused)
{
    auto fromSelf = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
        Qfn::LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(Qfn::InternalCoordinator::getName(),
                                                                       "default"),
        Qfn::InternalAddress::factoryFromIndices("net.quillfern.service.ping/0"), OpCode::PING, "{}");
    const std::string wire = Qfn::Data_abstract::serializeToStr(fromSelf);
    fromSelf.reset();
    ASSERT_FALSE(wire.empty());
    EXPECT_TRUE(
        QfnTest::logsError("SANITY_CHECK failed: 'coordinatorNameAddress->getCoordinatorName() != "
                           "fCoordinatorName' evaluates to false",
                           [&] { EXPECT_FALSE(coordinator()->receiveMessageStr(wire)); }));
    EXPECT_EQ(coordinator()->getMessageQueueSize(), 0u);
}
