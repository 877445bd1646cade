#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "QfnData/DataNull.h"
#include "QfnEvent/EventListener.h"
#include "QfnEvent/EventSource.h"
#include "QfnEvent/IEvent.h"
#include "QfnObject/ClassSupport.h"
#include "QfnService/Service_abstract.h"
#include "support/ObjectClasses.h"

namespace QfnTest {

// A test class made as the program's classes are: by ClassSupport, with an ID.
template <class T>
std::shared_ptr<T> makeObject()
{
    return std::dynamic_pointer_cast<T>(Qfn::ClassSupport::makeEmpty<T>());
}

// Counts its calls and keeps what it saw; calls the base listener and succeeds unless told not to,
// and runs fDuring, when set, inside the call.
class RecordingListener : public Qfn::EventListener {
public:
    static inline const std::string TYPENAME = "RecordingListener";
    const std::string& typeName() const override { return TYPENAME; }
    static std::shared_ptr<RecordingListener> make() { return makeObject<RecordingListener>(); }

    bool handleEvent(const std::string& eventName, std::shared_ptr<Qfn::IObject> eventObj) override
    {
        ++fCalls;
        fLastName = eventName;
        auto event = std::dynamic_pointer_cast<Qfn::IEvent>(eventObj);
        fSourceSeen = event ? event->getEventSource() : nullptr;
        fPayloadSeen = event ? event->getPayloadObj() : nullptr;
        if (fDuring) fDuring();
        const bool isBaseOK = !fCallsBase || EventListener::handleEvent(eventName, eventObj);
        return isBaseOK && fSucceeds;
    }

    int fCalls = 0;
    std::string fLastName;
    Qfn::IEventSource* fSourceSeen = nullptr;
    std::shared_ptr<const Qfn::IObject> fPayloadSeen;
    bool fCallsBase = true;
    bool fSucceeds = true;
    std::function<void()> fDuring;

private:
    friend struct Qfn::ClassSupport;
    RecordingListener() = default;
    ~RecordingListener() override = default;
};

class TestEventSource : public Qfn::EventSource {
public:
    static inline const std::string TYPENAME = "TestEventSource";
    const std::string& typeName() const override { return TYPENAME; }
    static std::shared_ptr<TestEventSource> make() { return makeObject<TestEventSource>(); }

private:
    friend struct Qfn::ClassSupport;
    TestEventSource() = default;
    ~TestEventSource() override = default;
};

// A service of the name it is made with, busy while fIsBusy is set.
class TestService : public Qfn::Service_abstract {
public:
    static inline const std::string TYPENAME = "TestService";
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return fServiceName; }
    bool isIdle() const override { return !fIsBusy && Service_abstract::isIdle(); }

    static std::shared_ptr<TestService> make(const std::string& serviceName)
    {
        auto service = makeObject<TestService>();
        if (service) service->fServiceName = serviceName;
        return service;
    }

    bool fIsBusy = false;

private:
    friend struct Qfn::ClassSupport;
    TestService() = default;
    ~TestService() override = default;

    std::string fServiceName;
};

// Classes registered and the missing value made before the count is taken; every object a test
// makes is gone when it ends.
class ObjectCountFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(registerObjectClassesOnce());
        ASSERT_TRUE(Qfn::DataNull::factory());
        fObjectCount = Qfn::Object::getObjectCount();
    }
    void TearDown() override
    {
        EXPECT_EQ(Qfn::Object::getObjectCount(), fObjectCount) << "objects left behind";
    }

private:
    uint64_t fObjectCount = 0;
};

}  // namespace QfnTest
