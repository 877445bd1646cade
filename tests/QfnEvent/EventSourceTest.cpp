// Handlers attached by name and called when an event of theirs is fired: who is called, how often,
// and what the event shows before, during and after.
#include <gtest/gtest.h>

#include "QfnData/DataString.h"
#include "QfnEvent/Event.h"
#include "support/EventObjects.h"
#include "support/LogCapture.h"

using namespace Qfn;
using QfnTest::RecordingListener;
using QfnTest::TestEventSource;

namespace {

using EventSourceTest = QfnTest::ObjectCountFixture;

std::shared_ptr<IEvent> event(const std::string& name, std::shared_ptr<const IObject> payload = nullptr)
{
    return std::dynamic_pointer_cast<IEvent>(Event::factoryFromNamePayload(name, std::move(payload)));
}
bool attach(IEventSource& source, const std::string& handler, std::shared_ptr<IEventListener> listener,
            const std::string& eventName = "DUMMY")
{
    return source.attachDetachEventHandler(AttachDetach::ATTACH, eventName, handler, std::move(listener));
}
bool detach(IEventSource& source, const std::string& handler, const std::string& eventName = "DUMMY")
{
    return source.attachDetachEventHandler(AttachDetach::DETACH, eventName, handler, nullptr);
}

}  // namespace

TEST_F(EventSourceTest, AnEventReachesTheListenersOfItsNameOnceWithItsSourceSetOnlyMeanwhile)
{
    auto source = TestEventSource::make();
    auto listener = RecordingListener::make();
    auto other = RecordingListener::make();
    auto payload = DataString::factoryFromString("p");
    ASSERT_TRUE(source && listener && other && payload);
    ASSERT_TRUE(attach(*source, "h", other, "OTHER"));
    auto unheard = event("DUMMY");
    EXPECT_TRUE(source->fireEvent(unheard));
    EXPECT_EQ(unheard->getEventSource(), nullptr);
    EXPECT_FALSE(unheard->wasRootListenerCalled());
    EXPECT_EQ(other->fCalls, 0);

    ASSERT_TRUE(attach(*source, "h", listener));
    auto dummy = event("DUMMY", payload);
    ASSERT_TRUE(source->fireEvent(dummy));
    EXPECT_EQ(listener->fCalls, 1);
    EXPECT_EQ(listener->fLastName, "DUMMY");
    EXPECT_EQ(listener->fSourceSeen, static_cast<IEventSource*>(source.get()));
    EXPECT_EQ(listener->fPayloadSeen.get(), payload.get());
    EXPECT_TRUE(dummy->wasRootListenerCalled());
    EXPECT_EQ(dummy->getEventSource(), nullptr);
    EXPECT_EQ(other->fCalls, 0);
}

TEST_F(EventSourceTest, AHandlerNameIsTakenOnceAndOnlyAttachedOnesDetach)
{
    auto source = TestEventSource::make();
    auto first = RecordingListener::make();
    auto second = RecordingListener::make();
    ASSERT_TRUE(source && first && second);
    ASSERT_TRUE(attach(*source, "h", first));
    {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(attach(*source, "h", second));
        EXPECT_TRUE(capture.hasLineEndingWith(
            "SANITY_CHECK failed: 'eventListenerIter == eventListenerMap->end()' evaluates to false"));
        EXPECT_FALSE(detach(*source, "unknown"));
        EXPECT_TRUE(capture.hasLineEndingWith(
            "SANITY_CHECK failed: 'eventHandlerEntryIter != eventListenerMap->end()' evaluates to false"));
        EXPECT_FALSE(detach(*source, "h", "NO_SUCH_EVENT"));
        EXPECT_TRUE(capture.hasLineEndingWith(
            "SANITY_CHECK failed: 'eventNameIter != fEventNameMap->end()' evaluates to false"));
    }
    ASSERT_TRUE(source->fireEvent(event("DUMMY")));
    EXPECT_EQ(first->fCalls, 1);
    EXPECT_EQ(second->fCalls, 0);
    ASSERT_TRUE(detach(*source, "h"));
    ASSERT_TRUE(source->fireEvent(event("DUMMY")));
    EXPECT_EQ(first->fCalls, 1);
}

TEST_F(EventSourceTest, AFailingListenerIsLoggedAndTheWalkGoesOn)
{
    auto source = TestEventSource::make();
    auto first = RecordingListener::make();
    auto second = RecordingListener::make();
    ASSERT_TRUE(source && first && second);
    // Both fail, so whichever comes first, the other is called after a failure.
    first->fSucceeds = second->fSucceeds = false;
    ASSERT_TRUE(attach(*source, "a", first));
    ASSERT_TRUE(attach(*source, "b", second));
    QfnTest::LogCapture capture(1);
    source->fireEvent(event("DUMMY"));
    EXPECT_EQ(first->fCalls, 1);
    EXPECT_EQ(second->fCalls, 1);
    EXPECT_EQ(capture.countContaining("handleEvent failed"), 2u);
}

// A firing that failed keeps its source on the event, which tells where it failed.
TEST_F(EventSourceTest, AFiringFailsWhenNoListenerReachedTheBaseOrOneIsGone)
{
    auto source = TestEventSource::make();
    auto listener = RecordingListener::make();
    ASSERT_TRUE(source && listener);
    listener->fCallsBase = false;
    ASSERT_TRUE(attach(*source, "h", listener));
    QfnTest::LogCapture capture(1);
    auto dummy = event("DUMMY");
    EXPECT_FALSE(source->fireEvent(dummy));
    EXPECT_TRUE(capture.hasLineEndingWith(
        "SANITY_CHECK failed: 'event->wasRootListenerCalled()' evaluates to false"));
    EXPECT_EQ(dummy->getEventSource(), static_cast<Qfn::IEventSource*>(source.get()));

    // Listeners are held weakly: one that died makes the firing fail.
    std::weak_ptr<RecordingListener> watched = listener;
    listener.reset();
    EXPECT_TRUE(watched.expired()) << "the source kept its listener alive";
    EXPECT_FALSE(source->fireEvent(dummy));
    EXPECT_TRUE(capture.hasLineEndingWith(
        "ASSIGN_TYPED failed: 'IEventListener eventListener = eventListenerIter->second.lock();'"));
    EXPECT_EQ(dummy->getEventSource(), static_cast<Qfn::IEventSource*>(source.get()));
}

TEST_F(EventSourceTest, HandlersAttachedOrDetachedDuringAFiringCountFromTheNextOne)
{
    auto source = TestEventSource::make();
    auto changer = RecordingListener::make();
    auto leaving = RecordingListener::make();
    auto joining = RecordingListener::make();
    ASSERT_TRUE(source && changer && leaving && joining);
    ASSERT_TRUE(attach(*source, "changer", changer));
    ASSERT_TRUE(attach(*source, "leaving", leaving));
    // Not owning: a listener must not keep alive what it changes.
    changer->fDuring = [&source = *source, &changer = *changer, joiningRef = std::weak_ptr(joining)] {
        if (changer.fCalls != 1) return;
        EXPECT_TRUE(attach(source, "joining", joiningRef.lock()));
        EXPECT_TRUE(detach(source, "leaving"));
    };
    ASSERT_TRUE(source->fireEvent(event("DUMMY")));
    EXPECT_EQ(leaving->fCalls, 1);
    EXPECT_EQ(joining->fCalls, 0);
    ASSERT_TRUE(source->fireEvent(event("DUMMY")));
    EXPECT_EQ(changer->fCalls, 2);
    EXPECT_EQ(leaving->fCalls, 1);
    EXPECT_EQ(joining->fCalls, 1);

    // The last handlers of a name detached during its firing, the handler itself among them.
    changer->fDuring = [&source = *source] {
        EXPECT_TRUE(detach(source, "changer") && detach(source, "joining"));
    };
    ASSERT_TRUE(source->fireEvent(event("DUMMY")));
    EXPECT_EQ(joining->fCalls, 2);
    ASSERT_TRUE(source->fireEvent(event("DUMMY")));
    EXPECT_EQ(changer->fCalls, 3);
}
