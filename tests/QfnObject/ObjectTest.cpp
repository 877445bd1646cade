#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "QfnMessage/OpCode.h"
#include "QfnObject/GUIDClass.h"
#include "QfnObject/Object.h"
#include "support/LogCapture.h"

using Qfn::IObject;
using Qfn::Object;

namespace {

class TestObject : public virtual Qfn::Object {
public:
    static inline const std::string TYPENAME = "TestObject";
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factory()
    {
        return Qfn::Object::adopt(new TestObject(), &TestObject::deleter);
    }
    static void deleter(TestObject* object)
    {
        Qfn::Object::deleter(object);
        delete object;
    }
    static std::shared_ptr<IObject> makesNothing() { return nullptr; }
    static std::shared_ptr<IObject> echoSerializer(const std::shared_ptr<IObject>& serializerObj)
    {
        return serializerObj;
    }
    static std::shared_ptr<IObject> echoParent(std::shared_ptr<IObject> parentObj, const std::string&)
    {
        return parentObj;
    }

    TestObject() = default;  // public only so that a test can make one without a shared pointer
};

}  // namespace

TEST(ObjectIdentity, IDsIncreaseAndAreNeverReused)
{
    uint64_t countBefore = Object::getObjectCount();
    auto first = TestObject::factory();
    auto second = TestObject::factory();
    ASSERT_TRUE(first && second);
    EXPECT_GT(first->getID(), 0u);
    EXPECT_EQ(second->getID(), first->getID() + 1);
    EXPECT_TRUE(second->isObjectIDRegistered());
    EXPECT_EQ(Object::getObjectCount(), countBefore + 2);

    uint64_t secondID = second->getID();
    second.reset();
    EXPECT_EQ(Object::getObjectCount(), countBefore + 1);
    auto third = TestObject::factory();
    EXPECT_EQ(third->getID(), secondID + 1);
    EXPECT_EQ(Object::getObjectFromID(first->getID()), first);
}

TEST(ObjectIdentity, RegisteringAnIDTwiceKeepsTheFirst)
{
    auto object = TestObject::factory();
    uint64_t id = object->getID();
    uint64_t count = Object::getObjectCount();
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(Object::registerObjectID(object));
    EXPECT_TRUE(capture.hasLineEndingWith(" already registered"));
    EXPECT_EQ(object->getID(), id);
    EXPECT_EQ(Object::getObjectCount(), count);
}

TEST(ObjectIdentity, ComparisonIsIdentityAndHashIsTheAddress)
{
    auto a = TestObject::factory();
    auto b = TestObject::factory();
    EXPECT_TRUE(*a == *a);
    EXPECT_FALSE(*a == *b);
    EXPECT_TRUE(*a != *b);
    EXPECT_FALSE(*a != *a);
    EXPECT_EQ(a->hash(), reinterpret_cast<uintptr_t>(std::dynamic_pointer_cast<Object>(a).get()));
    EXPECT_NE(a->hash(), b->hash());
}

TEST(ObjectGUID, MadeOnDemandOnceAndFoundByPointer)
{
    auto object = TestObject::factory();
    EXPECT_EQ(object->getGUID(), nullptr);
    EXPECT_FALSE(object->isObjectGUIDRegistered());
    EXPECT_EQ(object->toString(), "TestObject");
    EXPECT_EQ(object->getGUID(), nullptr);

    Qfn::GUIDClass* guid = object->createGUID();
    ASSERT_NE(guid, nullptr);
    EXPECT_EQ(object->createGUID(), guid);
    EXPECT_TRUE(object->registerObjectGUID());
    EXPECT_EQ(object->getGUID(), guid);
    EXPECT_TRUE(object->isObjectGUIDRegistered());
    EXPECT_EQ(Object::getRegisteredObject(guid).get(), object.get());

    std::string text = object->toString();
    const std::string hex4 = "[0-9A-F]{4}";
    ASSERT_THAT(text, ::testing::MatchesRegex(R"(TestObject\[)" + hex4 + hex4 + "-" + hex4 + "-" + hex4 +
                                              "-" + hex4 + "-" + hex4 + hex4 + hex4 + R"(\]\))"));
    EXPECT_EQ(Qfn::GUIDClass::factory(text.substr(11, 36)), guid);
}

TEST(ObjectLifecycle, ADestroyedObjectIsFoundNeitherByIDNorByGUID)
{
    auto object = TestObject::factory();
    uint64_t id = object->getID();
    Qfn::GUIDClass* guid = object->createGUID();
    uint64_t count = Object::getObjectCount();
    QfnTest::LogCapture capture(4);
    object.reset();
    EXPECT_EQ(Object::getObjectCount(), count - 1);
    EXPECT_EQ(Object::getObjectFromID(id), nullptr);
    EXPECT_EQ(Object::getRegisteredObject(guid), nullptr);
    EXPECT_TRUE(capture.lines().empty());

    EXPECT_EQ(Object::getRegisteredObject(nullptr), nullptr);
    EXPECT_TRUE(capture.hasLineEndingWith(" no guid"));
    Object::deleter(nullptr);
    EXPECT_TRUE(capture.hasLineEndingWith(" SANITY_CHECK failed: 'object' evaluates to false"));
}

TEST(ObjectLifecycle, ExplicitDeregistrationCountsOnceAndBlocksLaterGUIDs)
{
    auto object = TestObject::factory();
    uint64_t id = object->getID();
    uint64_t count = Object::getObjectCount();
    ASSERT_TRUE(object->deregisterObject());
    EXPECT_EQ(object->getID(), 0u);
    EXPECT_EQ(Object::getObjectFromID(id), nullptr);
    EXPECT_EQ(Object::getObjectCount(), count - 1);

    // Without an ID the object cannot be narrowed to a non-const pointer any more.
    QfnTest::LogCapture capture(1);
    object->createGUID();
    EXPECT_TRUE(capture.hasLineEndingWith(
        " ASSIGN_TYPED failed: 'IObject nonConstObjPtr = Qfn::Object::getObjectFromID(objPtr->getID());'"));
    EXPECT_TRUE(capture.hasLineEndingWith(" failed to register"));
    capture.clear();
    object.reset();
    EXPECT_EQ(Object::getObjectCount(), count - 1);
}

TEST(ObjectLifecycle, AGUIDNeedsAnOwningSharedPointer)
{
    QfnTest::LogCapture capture(1);
    TestObject loose;
    loose.createGUID();
    EXPECT_EQ(capture.countContaining(" throws "), 1u);
    EXPECT_TRUE(capture.hasLineEndingWith(" failed to register"));
}

TEST(ObjectFactories, OneNameInAllThreeMapsAndDuplicatesKeepTheFirst)
{
    const std::string name = "ObjectTest.Everywhere";
    QfnTest::LogCapture capture(1);
    ASSERT_TRUE(Object::registerFactory(name, TestObject::factory));
    ASSERT_TRUE(Object::registerDeserializationFactory(name, TestObject::echoSerializer));
    ASSERT_TRUE(Object::registerByNameFactory(name, TestObject::echoParent));
    EXPECT_FALSE(Object::registerFactory(name, TestObject::makesNothing));
    EXPECT_EQ(capture.countContaining(" duplicate typeName"), 1u);

    auto made = Object::getFactory(name).call();
    ASSERT_TRUE(made);
    EXPECT_EQ(made->typeName(), "TestObject");
    EXPECT_EQ(Object::getDeserializationFactory(name).call(made), made);
    EXPECT_EQ(Object::getByNameFactory(name).call(made, "child"), made);
    EXPECT_EQ(capture.countContaining(" no object"), 0u);
    EXPECT_EQ(Object::getByNameFactory(name).call(nullptr, "child"), nullptr);
    EXPECT_EQ(capture.countContaining(" no object"), 1u);

    EXPECT_TRUE(Object::deregisterFactory(name));
    EXPECT_TRUE(Object::getDeserializationFactory(name).isFound());
    EXPECT_TRUE(Object::deregisterDeserializationFactory(name));
    EXPECT_TRUE(Object::deregisterByNameFactory(name));
    EXPECT_FALSE(Object::deregisterByNameFactory(name));
    EXPECT_TRUE(capture.hasLineEndingWith(" unregistered typeName " + name));
}

TEST(ObjectFactories, UnknownNameGivesAnEmptyWrapper)
{
    QfnTest::LogCapture capture(1);
    Qfn::FactoryWrapperClass wrapper = Object::getFactory("ObjectTest.Unknown");
    EXPECT_FALSE(wrapper.isFound());
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(wrapper.call(), nullptr);
    EXPECT_TRUE(capture.hasLineEndingWith(" no object"));
    EXPECT_FALSE(Object::getDeserializationFactory("ObjectTest.Unknown").isFound());
}

TEST(ObjectOpCodes, NamesInValueOrder)
{
    const std::vector<std::string> names = {
        "none",       "terminate", "ping",       "ping_reply",  "logTrace",    "logNote",
        "logWarning", "logError",  "stdOut",     "stdErr",      "openSession", "closeSession",
        "eval",       "evalFile",  "evalResult", "dataRequest", "dataReply"};
    for (size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(Object::opCodeToString(static_cast<Qfn::OpCode>(i)), names[i]);
    EXPECT_EQ(Object::opCodeToString(Qfn::OpCode::DATA_REPLY), "dataReply");

    QfnTest::LogCapture capture(1);
    EXPECT_EQ(Object::opCodeToString(static_cast<Qfn::OpCode>(names.size())), "");
    EXPECT_EQ(Object::opCodeToString(static_cast<Qfn::OpCode>(-1)), "");
    EXPECT_EQ(capture.countContaining(" unknown opCode"), 2u);
}
