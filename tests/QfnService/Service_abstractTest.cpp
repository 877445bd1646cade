// The service tree: attaching and detaching children, their indices among children of one name,
// registration by GUID, idleness, messages as events, and the slice.
#include <gtest/gtest.h>

#include "QfnAddress/InternalAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnEvent/Event.h"
#include "QfnMessage/Message.h"
#include "QfnMessage/OpCode.h"
#include "QfnTask/CallYieldingTask.h"
#include "support/EventObjects.h"
#include "support/LogCapture.h"

using namespace Qfn;
using QfnTest::RecordingListener;
using QfnTest::TestService;

namespace {

class ServiceTest : public QfnTest::ObjectCountFixture {
protected:
    void SetUp() override
    {
        // The coordinator and its services exist before the count is taken.
        ASSERT_TRUE(InternalCoordinator::factory());
        ObjectCountFixture::SetUp();
    }
};

bool listen(TestService& service, const std::string& eventName, std::shared_ptr<RecordingListener> listener)
{
    return service.attachDetachEventHandler(AttachDetach::ATTACH, eventName, "test", std::move(listener));
}

// One whole slice of the service, run by a task of its own.
bool runSlice(TestService& service)
{
    bool completed = false;
    const bool ran = CallYieldingTask::run(
        "slice", [&](const std::shared_ptr<Task>& task) { service.timeslice_yielding(task, completed); });
    return ran && completed;
}

const IObject* raw(const std::shared_ptr<IObject>& object)
{
    return object.get();
}

}  // namespace

TEST_F(ServiceTest, AChildIsAttachedOnceToOneParentAndNeverTheCoordinator)
{
    auto parent = TestService::make("test.parent");
    auto otherParent = TestService::make("test.parent");
    auto child = TestService::make("test.child");
    ASSERT_TRUE(parent && otherParent && child);
    ASSERT_TRUE(parent->attachChildObj(child));
    EXPECT_EQ(raw(child->getParentObj()), static_cast<IObject*>(parent.get()));
    {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(parent->attachChildObj(child));
        EXPECT_TRUE(capture.hasLineEndingWith("child already attached"));
        EXPECT_FALSE(otherParent->attachChildObj(child));
        EXPECT_FALSE(otherParent->detachChildObj(child));
        EXPECT_EQ(capture.countContaining("child of different parent"), 2u);
        EXPECT_FALSE(parent->attachChildObj(InternalCoordinator::factory()));
        EXPECT_TRUE(capture.hasLineEndingWith("cannot attach coordinator"));
    }
    EXPECT_EQ(parent->getChildCount(), 1u);
    EXPECT_EQ(otherParent->getChildCount(), 0u);
    ASSERT_TRUE(child->detachFromParent());
    EXPECT_FALSE(parent->ownsChild(child));
    EXPECT_TRUE(otherParent->attachChildObj(child));
}

TEST_F(ServiceTest, ChildrenOfOneNameAreNumberedInTheOrderTheyWereMade)
{
    auto parent = TestService::make("test.parent");
    auto first = TestService::make("test.child");
    auto second = TestService::make("test.child");
    auto third = TestService::make("test.child");
    auto other = TestService::make("test.other");
    ASSERT_TRUE(parent && first && second && third && other);
    // Attached out of order: the index follows the making.
    for (const auto& child : {second, other, first})
        ASSERT_TRUE(parent->attachChildObj(child));
    EXPECT_EQ(parent->getChildIndexInNameMap(first), 0u);
    EXPECT_EQ(second->getIndexInNameMap(), 1u);
    EXPECT_EQ(other->getIndexInNameMap(), 0u);
    EXPECT_EQ(raw(parent->getChildByNameIndex("test.child", 1)), static_cast<IObject*>(second.get()));
    EXPECT_EQ(raw(parent->getChildByNameIndex("test.other", 0)), static_cast<IObject*>(other.get()));
    EXPECT_FALSE(parent->getChildByNameIndex("test.child", 2));

    // Registering moves a child to the other map and keeps every index.
    ASSERT_TRUE(parent->isUnregisteredChild(second));
    ASSERT_TRUE(second->createGUID());
    EXPECT_TRUE(parent->isRegisteredChild(second));
    EXPECT_FALSE(parent->isUnregisteredChild(second));
    EXPECT_EQ(parent->getChildCount(), 3u);
    EXPECT_EQ(parent->getChildIndexInNameMap(first), 0u);
    EXPECT_EQ(parent->getChildIndexInNameMap(second), 1u);

    // The ones after a detached child move up.
    ASSERT_TRUE(parent->attachChildObj(third));
    ASSERT_TRUE(parent->detachChildObj(first));
    EXPECT_EQ(second->getIndexInNameMap(), 0u);
    EXPECT_EQ(third->getIndexInNameMap(), 1u);
    EXPECT_EQ(raw(parent->getChildByNameIndex("test.child", 0)), static_cast<IObject*>(second.get()));
    ASSERT_TRUE(parent->detachChildObj(second));
    EXPECT_EQ(third->getIndexInNameMap(), 0u);
    QfnTest::LogCapture capture(1);
    EXPECT_EQ(first->getIndexInNameMap(), ~uint64_t(0));
    EXPECT_TRUE(capture.hasLineEndingWith("no parent"));
}

TEST_F(ServiceTest, AServiceIsIdleWhenEveryServiceBelowItIs)
{
    auto parent = TestService::make("test.parent");
    auto child = TestService::make("test.child");
    auto grandChild = TestService::make("test.child");
    ASSERT_TRUE(parent && child && grandChild);
    EXPECT_TRUE(parent->isIdle());
    ASSERT_TRUE(parent->attachChildObj(child));
    ASSERT_TRUE(child->attachChildObj(grandChild));
    EXPECT_TRUE(parent->isIdle());
    grandChild->fIsBusy = true;
    EXPECT_FALSE(parent->isIdle());
    ASSERT_TRUE(grandChild->createGUID());
    EXPECT_FALSE(parent->isIdle()) << "a registered child counts as well";
    grandChild->fIsBusy = false;
    EXPECT_TRUE(parent->isIdle());
}

TEST_F(ServiceTest, DeregisteringDetachesEveryChildAndLeavesTheParent)
{
    auto grandParent = TestService::make("test.grandParent");
    auto parent = TestService::make("test.parent");
    auto registered = TestService::make("test.child");
    auto unregistered = TestService::make("test.child");
    ASSERT_TRUE(grandParent && parent && registered && unregistered);
    ASSERT_TRUE(grandParent->attachChildObj(parent));
    ASSERT_TRUE(parent->attachChildObj(registered));
    ASSERT_TRUE(parent->attachChildObj(unregistered));
    ASSERT_TRUE(registered->createGUID());

    ASSERT_TRUE(parent->deregisterObject());
    EXPECT_EQ(parent->getChildCount(), 0u);
    EXPECT_FALSE(registered->getParentObj());
    EXPECT_FALSE(unregistered->getParentObj());
    EXPECT_EQ(grandParent->getChildCount(), 0u);
    EXPECT_TRUE(grandParent->attachChildObj(registered));
    EXPECT_TRUE(grandParent->attachChildObj(unregistered));
}

TEST_F(ServiceTest, AReceivedMessageIsFiredAsAnEvent)
{
    auto service = TestService::make("test.receiver");
    auto listener = RecordingListener::make();
    auto message = Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
        InternalAddress::factory(), InternalAddress::factory(), OpCode::PING, "");
    ASSERT_TRUE(service && listener && message);
    ASSERT_TRUE(listen(*service, "messageReceived", listener));
    EXPECT_TRUE(service->receiveMessage(message));
    EXPECT_EQ(listener->fCalls, 1);
    EXPECT_EQ(listener->fLastName, "messageReceived");
    EXPECT_EQ(listener->fPayloadSeen.get(), message.get());
}

TEST_F(ServiceTest, ASliceFiresTheQueuedEventsAndRunsTheChildrenPresentAtItsStart)
{
    auto parent = TestService::make("test.parent");
    auto child = TestService::make("test.child");
    auto lateChild = TestService::make("test.child");
    auto parentTicks = RecordingListener::make();
    auto childTicks = RecordingListener::make();
    auto lateTicks = RecordingListener::make();
    ASSERT_TRUE(parent && child && lateChild && parentTicks && childTicks && lateTicks);
    ASSERT_TRUE(parent->attachChildObj(child));
    // A slice of a service shows as the "tick" it fires; the parent's listener queues the next one.
    for (const auto& [service, listener] :
         {std::pair{parent, parentTicks}, std::pair{child, childTicks}, std::pair{lateChild, lateTicks}}) {
        ASSERT_TRUE(listen(*service, "tick", listener));
        ASSERT_TRUE(service->queueEvent(Event::factoryFromNamePayload("tick", nullptr)));
    }
    parentTicks->fDuring = [&parent = *parent] {
        EXPECT_TRUE(parent.queueEvent(Event::factoryFromNamePayload("tick", nullptr)));
    };
    // The child's tick attaches another child to the parent, during the parent's walk.
    childTicks->fDuring = [&parent = *parent, lateRef = std::weak_ptr(lateChild)] {
        EXPECT_TRUE(parent.attachChildObj(lateRef.lock()));
    };

    ASSERT_TRUE(runSlice(*parent));
    EXPECT_EQ(parentTicks->fCalls, 1) << "an event queued while firing did not wait for the next slice";
    EXPECT_EQ(childTicks->fCalls, 1);
    EXPECT_EQ(lateTicks->fCalls, 0) << "a child attached during the walk ran in the same slice";
    ASSERT_TRUE(runSlice(*parent));
    EXPECT_EQ(parentTicks->fCalls, 2);
    EXPECT_EQ(lateTicks->fCalls, 1);

    // A failing event makes the slice report it.
    parentTicks->fCallsBase = false;
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(runSlice(*parent));
    EXPECT_EQ(parentTicks->fCalls, 3);
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'success' evaluates to false"));
}
