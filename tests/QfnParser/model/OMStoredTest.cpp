#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/CallYieldingTask.h"
#include "QfnTask/YieldingFrame.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

using Qfn::AccessType;
using Qfn::IOMNode;
using Qfn::NodeList;
using Qfn::OMStored;
using Qfn::OMType;
using Qfn::Task;

namespace {

using NodePtr = std::shared_ptr<IOMNode>;

// Runs a test body and checks that it left no OMStored behind.
void runCounted(const std::function<void()>& body)
{
    const int64_t before = OMStored::getOMStoredCount();
    body();
    EXPECT_EQ(before, OMStored::getOMStoredCount());
}

// One resolved access driven to its end; gives the success flag, node holds the result.
template <class Key>
bool access(const std::shared_ptr<OMStored>& target, AccessType accessType, const Key& key, NodePtr& node,
            const NodeList& arguments = nullptr)
{
    bool success = false;
    EXPECT_TRUE(Qfn::CallYieldingTask::run("test", [&](const std::shared_ptr<Task>& task) {
        target->accessOMNodeResolved_yielding(task, success, nullptr, arguments, accessType, key, node);
    }));
    return success;
}

template <class Key>
NodePtr setFast(const std::shared_ptr<OMStored>& target, const Key& key, const NodePtr& node)
{
    NodePtr stored;
    EXPECT_TRUE(Qfn::CallYieldingTask::run(
        "test", [&](const std::shared_ptr<Task>& task) { target->set_yielding(task, stored, key, node); }));
    return stored;
}

std::shared_ptr<OMStored> intArray(const std::vector<int>& values)
{
    auto array = OMStored::arrayFactory();
    for (int value : values)
        array->push(OMStored::factory(value));
    return array;
}

NodePtr member(const std::shared_ptr<OMStored>& map, const std::string& key)
{
    NodePtr node;
    map->readMember(key, node);
    return node;
}

// An expression that suspends its task once before it answers, so that evaluation has to resume.
class YieldOnceExpression : public Qfn::OMExpression {
public:
    explicit YieldOnceExpression(NodePtr value) : fValue(std::move(value)) {}

    void get_yielding(const std::shared_ptr<Task>& task, NodePtr& retVal, AccessType,
                      const std::shared_ptr<Qfn::OMScope>&, Qfn::ScriptPhase) override
    {
        struct LocalVariableState : virtual Qfn::OMFunctionState {};
        Qfn::YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal.reset();
        LocalVariableState& s = *frame;
        ++entries;
        do {
            if (s.fState == 0) {
                task->setTimesliceCompleted();
                s.fState = 1;
            } else {
                retVal = fValue;
                s.fState = Qfn::kFinished;
            }
        } while (frame.keepGoing());
        frame.release();
    }
    void set_yielding(const std::shared_ptr<Task>&, bool& retVal, NodePtr&,
                      const std::shared_ptr<Qfn::OMScope>&, Qfn::ScriptPhase) override
    {
        retVal = false;
    }
    std::string toString() const override { return "yieldOnce"; }
    uint64_t hash() const override { return 1; }
    bool operator==(const OMExpression& other) const override { return this == &other; }
    bool operator<(const OMExpression&) const override { return false; }
    bool scanForLocalVariables(const std::shared_ptr<Qfn::FunctionSignature>&, bool&) override
    {
        return true;
    }

    int entries = 0;

private:
    NodePtr fValue;
};

}  // namespace

TEST(OMStoredSharing, ScalarsCopyContainersShare)
{
    runCounted([] {
        auto a = OMStored::factory(12);
        auto b = OMStored::factory(*a);
        a->set(int64_t{13});
        EXPECT_EQ(12, b->getInt());

        auto array = intArray({5, 6, 7});
        auto shared = OMStored::undefinedFactory();
        ASSERT_TRUE(shared->setTo(*array, 0));
        EXPECT_EQ(array->getArray(), shared->getArray());
        NodePtr ninetyNine = OMStored::factory(99);
        ASSERT_TRUE(access(array, AccessType::SET, uint64_t{1}, ninetyNine));
        EXPECT_EQ(99, shared->getOMNode(uint64_t{1})->getInt());

        auto map = OMStored::mapFactory();
        setFast(map, std::string("x"), OMStored::factory(1));
        auto mapClone = map->clone(0);
        EXPECT_EQ(map->getMap(), mapClone->getOMStoredPtr()->getMap());
        EXPECT_NE(map->getMap(), map->clone(1)->getOMStoredPtr()->getMap());
    });
}

TEST(OMStoredSharing, CloneLevelsCopyThatManyLevels)
{
    runCounted([] {
        auto outer = OMStored::arrayFactory();
        auto inner = intArray({1, 2});
        outer->push(inner);

        auto levelOne = OMStored::cloneFactory(*outer, 1);
        ASSERT_TRUE(levelOne);
        EXPECT_NE(outer->getArray(), levelOne->getArray());
        auto innerCopy = levelOne->getOMNode(uint64_t{0})->getOMStoredPtr();
        EXPECT_NE(inner.get(), innerCopy.get());
        EXPECT_EQ(inner->getArray(), innerCopy->getArray()) << "level 1 copies one level only";

        auto deep = OMStored::cloneFactory(*outer, Qfn::kCloneAllLevels);
        auto innerDeep = deep->getOMNode(uint64_t{0})->getOMStoredPtr();
        EXPECT_NE(inner->getArray(), innerDeep->getArray());
        inner->getOMNode(uint64_t{1})->set(int64_t{20});
        EXPECT_EQ(2, innerDeep->getOMNode(uint64_t{1})->getInt());
        EXPECT_EQ(20, innerCopy->getOMNode(uint64_t{1})->getInt());
    });
}

TEST(OMStoredSharing, DataStructuresCloneForeignNodes)
{
    runCounted([] {
        auto tree = OMStored::mapFactory();
        ASSERT_TRUE(tree->setIsDataStructure(true));
        auto outside = OMStored::mapFactory();
        setFast(outside, std::string("x"), OMStored::factory(1));

        NodePtr node = outside;
        bool success = false;
        EXPECT_TRUE(Qfn::CallYieldingTask::run("test", [&](const std::shared_ptr<Task>& task) {
            tree->setAndAccess_yielding(task, success, std::string("m"), node);
        }));
        ASSERT_TRUE(success);
        ASSERT_TRUE(node);
        EXPECT_NE(outside.get(), node.get()) << "a foreign node enters as a clone";
        EXPECT_EQ(node, member(tree, "m")) << "setAndAccess hands back what was stored";
        EXPECT_EQ(tree, node->getDataStructureParent());
        EXPECT_EQ("m", node->getDataStructureKey());
        NodePtr x = node->getOMNode("x");
        EXPECT_EQ(node, x->getDataStructureParent());
        EXPECT_EQ("x", x->getDataStructureKey());

        member(outside, "x")->set(int64_t{2});
        EXPECT_EQ(1, x->getInt()) << "changes to the outside value do not reach the tree";

        // Even at level 0 a tree is copied, never shared, and the copy's children are its own.
        auto treeCopy = tree->clone(0)->getOMStoredPtr();
        EXPECT_NE(tree->getMap(), treeCopy->getMap());
        EXPECT_EQ(treeCopy, member(treeCopy, "m")->getDataStructureParent());

        // A member that is already the tree's own is stored as it is.
        NodePtr again = x;
        ASSERT_TRUE(access(node->getOMStoredPtr(), AccessType::SET, std::string("x"), again));
        EXPECT_EQ(x, again);

        // Filling up an array of a tree gives every new slot its parent and key.
        auto list = OMStored::arrayFactory();
        ASSERT_TRUE(list->setIsDataStructure(true));
        NodePtr last = OMStored::factory(true);
        ASSERT_TRUE(access(list, AccessType::SET, uint64_t{2}, last));
        for (uint64_t i = 0; i < 3; ++i) {
            EXPECT_EQ(list, list->getOMNode(i)->getDataStructureParent());
            EXPECT_EQ(std::to_string(i), list->getOMNode(i)->getDataStructureKey());
        }
    });
}

TEST(OMStoredSharing, SetIsDataStructureAdoptsOrClonesChildren)
{
    runCounted([] {
        auto otherTree = OMStored::mapFactory();
        otherTree->setIsDataStructure(true);
        NodePtr owned = OMStored::factory(5);
        ASSERT_TRUE(access(otherTree, AccessType::SET, std::string("o"), owned));

        auto root = OMStored::mapFactory();
        NodePtr orphan = OMStored::factory(1);
        setFast(root, std::string("orphan"), orphan);
        setFast(root, std::string("owned"), owned);

        ASSERT_TRUE(root->setIsDataStructure(true));
        EXPECT_EQ(orphan, member(root, "orphan"));
        EXPECT_EQ(root, orphan->getDataStructureParent());
        NodePtr replaced = member(root, "owned");
        EXPECT_NE(owned, replaced) << "a child of another tree is replaced by a clone";
        EXPECT_EQ(root, replaced->getDataStructureParent());
        EXPECT_EQ(otherTree, owned->getDataStructureParent());

        setFast(root, std::string("foreign"), owned);
        ASSERT_TRUE(root->setIsDataStructure(false));
        EXPECT_FALSE(root->getIsDataStructure());
        EXPECT_FALSE(orphan->getIsDataStructure());
        EXPECT_TRUE(owned->getIsDataStructure()) << "another tree's child is left alone";
    });
}

TEST(OMStoredAccess, ArraysGrowOnWriteOnly)
{
    runCounted([] {
        auto array = OMStored::arrayFactory();
        NodePtr node;
        EXPECT_FALSE(access(array, AccessType::GET, uint64_t{2}, node));
        EXPECT_FALSE(node);
        EXPECT_EQ(0u, array->getSize()) << "reading beyond the end grows nothing";
        EXPECT_EQ(OMType::Undefined, array->getType(uint64_t{2}));

        NodePtr seven = OMStored::factory(7);
        ASSERT_TRUE(access(array, AccessType::SET, uint64_t{5}, seven));
        ASSERT_EQ(6u, array->getSize());
        for (uint64_t i = 0; i < 5; ++i)
            EXPECT_EQ(OMType::Undefined, array->getOMNode(i)->getType());
        EXPECT_EQ(7, array->getOMNode(uint64_t{5})->getInt());

        // A numeric attribute reaches the element; GET_CREATE without a node gives the existing one.
        NodePtr existing;
        ASSERT_TRUE(access(array, AccessType::GET_CREATE, std::string("5"), existing));
        EXPECT_EQ(seven, existing);
        NodePtr named = OMStored::factory(1);
        EXPECT_FALSE(access(array, AccessType::SET, std::string("x"), named));
        EXPECT_FALSE(named);

        auto map = OMStored::mapFactory();
        NodePtr missing = seven;
        EXPECT_FALSE(access(map, AccessType::GET, std::string("new"), missing));
        EXPECT_FALSE(missing);
        EXPECT_EQ(0u, map->getSize());
        NodePtr created;
        ASSERT_TRUE(access(map, AccessType::GET_CREATE, std::string("new"), created));
        EXPECT_EQ(OMType::Undefined, created->getType());
        EXPECT_EQ(created, member(map, "new"));

        // Arguments applied to a value that is no function reach nothing, without failing.
        NodePtr called = seven;
        auto arguments = std::make_shared<std::vector<NodePtr>>(1, OMStored::factory(1));
        EXPECT_TRUE(access(map, AccessType::GET, std::string("new"), called, arguments));
        EXPECT_FALSE(called);
    });
}

TEST(OMStoredAccess, ScalarsHaveNoMembers)
{
    runCounted([] {
        QfnTest::LogCapture capture(1);
        auto a = OMStored::factory(12);
        NodePtr one = OMStored::factory(1);
        EXPECT_FALSE(access(a, AccessType::SET, std::string("x"), one));
        EXPECT_FALSE(one);
        NodePtr read;
        EXPECT_FALSE(access(a, AccessType::GET, std::string("x"), read));
        EXPECT_EQ(OMType::Int, a->getType());
        EXPECT_EQ(12, a->getInt());

        EXPECT_FALSE(setFast(a, std::string("x"), OMStored::factory(1)));
        EXPECT_TRUE(capture.hasLineEndingWith("'fType == OMType::Map' evaluates to false"));
        EXPECT_EQ(OMType::Int, a->getType());
    });
}

TEST(OMStoredAccess, WritesNeedPermission)
{
    runCounted([] {
        QfnTest::LogCapture capture(1);
        auto map = OMStored::mapFactory();
        setFast(map, std::string("ro"), OMStored::factory(1));
        setFast(map, std::string("rw"), OMStored::factory(2));
        EXPECT_EQ(Qfn::PERMISSION_ALL, map->getPermission("ro"));
        map->setPermission("ro", 1);

        NodePtr node = OMStored::factory(9);
        EXPECT_FALSE(access(map, AccessType::SET, std::string("ro"), node));
        EXPECT_FALSE(node);
        EXPECT_TRUE(capture.hasLineEndingWith("not permitted - need PERMISSION_WRITE"));
        EXPECT_FALSE(setFast(map, std::string("ro"), OMStored::factory(9)));
        EXPECT_TRUE(capture.hasLineEndingWith("not permitted -- need PERMISSION_WRITE"));
        EXPECT_EQ(1, member(map, "ro")->getInt());
        NodePtr read;
        EXPECT_TRUE(access(map, AccessType::GET, std::string("ro"), read))
            << "reading needs no write permission";

        // A copy takes the source's table over and then refuses the protected member.
        capture.clear();
        auto copy = OMStored::cloneFactory(*map, 1);
        ASSERT_TRUE(copy);
        EXPECT_FALSE(member(copy, "ro"));
        EXPECT_EQ(2, member(copy, "rw")->getInt());
        EXPECT_TRUE(capture.hasLineEndingWith("not permitted -- need PERMISSION_WRITE"));
    });
}

TEST(OMStoredValues, SettersReplaceContent)
{
    runCounted([] {
        QfnTest::LogCapture capture(1);
        auto map = OMStored::mapFactory();
        setFast(map, std::string("b1"), OMStored::factory(true));
        setFast(map, std::string("b1"), OMStored::factory(false));
        EXPECT_EQ(1u, map->getSize());
        EXPECT_FALSE(member(map, "b1")->getBool());

        auto empty = OMStored::mapFactory();
        EXPECT_EQ(0u, empty->getSize());
        EXPECT_FALSE(empty->getBool());
        EXPECT_TRUE(empty->getAsBool());

        auto value = OMStored::factory(3.0);
        EXPECT_EQ(OMType::Float, value->getType());
        EXPECT_EQ(0, value->getInt());
        EXPECT_EQ(3.0, value->getFloat());
        value->set("text");
        EXPECT_EQ(0.0, value->getFloat());
        value->set(value->getString());
        EXPECT_EQ("text", value->getString());
        value->set(int64_t{4});
        EXPECT_EQ("", value->getString());

        auto shared = std::make_shared<Qfn::OMArray>();
        value->set(shared);
        EXPECT_EQ(shared, value->getArray());
        value->setEmptyArray();
        EXPECT_NE(shared, value->getArray());

        auto guid = OMStored::guidFactory(nullptr);
        ASSERT_TRUE(guid);
        EXPECT_TRUE(guid->getGUID());
        EXPECT_NE(guid->getGUID(), OMStored::guidFactory(nullptr)->getGUID());
        EXPECT_FALSE(value->setTo(*guid, 0));
        EXPECT_TRUE(capture.hasLineEndingWith("unexpected type"));
        EXPECT_EQ(OMType::Undefined, value->getType());
    });
}

TEST(OMStoredValues, MapKeysSortByByteValue)
{
    runCounted([] {
        auto map = OMStored::mapFactory();
        for (const char* key : {"u1", "\xC3\xA4", "b1", "s1", "ea", "Z1", "n1", "i1", "eo", "d1"})
            setFast(map, std::string(key), OMStored::undefinedFactory());
        std::vector<std::string> expected = {"Z1", "b1", "d1", "ea", "eo",
                                             "i1", "n1", "s1", "u1", "\xC3\xA4"};
        EXPECT_EQ(expected, map->getMapKeys());
        EXPECT_TRUE(OMStored::factory(1)->getMapKeys().empty());
    });
}

TEST(OMStoredValues, PushPopAndDelete)
{
    runCounted([] {
        auto array = OMStored::arrayFactory();
        NodePtr popped = array->pop();
        ASSERT_TRUE(popped);
        EXPECT_EQ(OMType::Undefined, popped->getType());
        EXPECT_EQ(OMType::Undefined, OMStored::factory(1)->pop()->getType());
        EXPECT_FALSE(OMStored::mapFactory()->push(OMStored::factory(1)));

        array = intArray({10, 20, 30});
        EXPECT_EQ(30, array->pop()->getInt());
        EXPECT_EQ(2u, array->getSize());
        array->push(OMStored::factory(40));
        EXPECT_TRUE(array->deleteOMNode(uint64_t{1}));
        EXPECT_FALSE(array->deleteOMNode(uint64_t{2}));
        ASSERT_EQ(2u, array->getSize());
        EXPECT_EQ(40, array->getOMNode(uint64_t{1})->getInt()) << "later elements move up";

        auto map = OMStored::mapFactory();
        setFast(map, std::string("k"), OMStored::factory(1));
        EXPECT_FALSE(map->deleteOMNode("missing"));
        EXPECT_TRUE(map->deleteOMNode("k"));
        EXPECT_EQ(0u, map->getSize());
    });
}

TEST(OMStoredIterator, WalksArraysAndMaps)
{
    runCounted([] {
        auto array = intArray({10, 20, 30});
        auto iter = array->getNodeIterator();
        ASSERT_TRUE(iter);
        // Giving the node another value leaves the walk on the container it started with.
        array->set(int64_t{0});
        std::vector<std::string> keys;
        for (int64_t expected = 10; !iter->atEnd(); (*iter)++, expected += 10) {
            EXPECT_EQ(expected, (**iter)->getInt());
            EXPECT_EQ(static_cast<uint64_t>(expected / 10 - 1), iter->getIdx());
            keys.push_back(iter->getKey());
        }
        EXPECT_EQ((std::vector<std::string>{"0", "1", "2"}), keys);
        EXPECT_FALSE(**iter);

        auto map = OMStored::mapFactory();
        setFast(map, std::string("a"), OMStored::factory(1));
        setFast(map, std::string("b"), OMStored::factory(2));
        std::set<std::string> seen;
        for (auto mapIter = map->getNodeIterator(); !mapIter->atEnd(); (*mapIter)++) {
            EXPECT_EQ(~uint64_t(0), mapIter->getIdx());
            EXPECT_EQ(mapIter->getKey() == "a" ? 1 : 2, (**mapIter)->getInt());
            seen.insert(mapIter->getKey());
        }
        EXPECT_EQ((std::set<std::string>{"a", "b"}), seen);
        EXPECT_FALSE(OMStored::factory(1)->getNodeIterator());
    });
}

TEST(OMStoredEval, ContainersEvaluateMemberByMemberAcrossYields)
{
    runCounted([] {
        auto scope = Qfn::OMScope::factory();
        auto first = std::make_shared<YieldOnceExpression>(OMStored::factory(1));
        auto nothing = std::make_shared<YieldOnceExpression>(nullptr);
        auto second = std::make_shared<YieldOnceExpression>(OMStored::factory(2));
        auto source = OMStored::arrayFactory();
        source->push(OMStored::factory(first));
        source->push(OMStored::factory(nothing));
        source->push(OMStored::factory(second));

        NodePtr result;
        EXPECT_TRUE(Qfn::CallYieldingTask::run("test", [&](const std::shared_ptr<Task>& task) {
            source->eval_yielding(task, result, scope, Qfn::HandleReturnValue::UNWRAP);
        }));
        ASSERT_TRUE(result);
        EXPECT_NE(source, result);
        ASSERT_EQ(2u, result->getSize()) << "an empty result is left out";
        EXPECT_EQ(1, result->getOMNode(uint64_t{0})->getInt());
        EXPECT_EQ(2, result->getOMNode(uint64_t{1})->getInt());
        EXPECT_EQ(2, first->entries) << "entered once, resumed once";
        EXPECT_EQ(2, second->entries);

        // A named function binds a node of its own into the scope and stays the value.
        auto signature = Qfn::FunctionSignature::factory();
        signature->addParameter("f");
        auto function = OMStored::factory(signature, first);
        EXPECT_TRUE(Qfn::CallYieldingTask::run("test", [&](const std::shared_ptr<Task>& task) {
            function->eval_yielding(task, result, scope, Qfn::HandleReturnValue::UNWRAP);
        }));
        EXPECT_EQ(function, result);
        auto bound = member(scope, "f");
        ASSERT_TRUE(bound);
        EXPECT_NE(function, bound);
        EXPECT_EQ(bound->getType(), OMType::Function);
        EXPECT_EQ(bound->getExpression(), function->getExpression());

        // Without a scope a value evaluates to itself.
        EXPECT_TRUE(Qfn::CallYieldingTask::run("test", [&](const std::shared_ptr<Task>& task) {
            source->eval_yielding(task, result, nullptr, Qfn::HandleReturnValue::UNWRAP);
        }));
        EXPECT_EQ(source, result);
    });
}

TEST(FunctionSignature, OnlyTheNameMayBeEmpty)
{
    QfnTest::LogCapture capture(1);
    auto signature = Qfn::FunctionSignature::factory();
    EXPECT_TRUE(signature->addParameter(""));
    EXPECT_FALSE(signature->addParameter(""));
    EXPECT_TRUE(signature->addParameter("x"));
    EXPECT_FALSE(signature->addLocalVariable(""));
    EXPECT_TRUE(signature->addLocalVariable("v"));
    EXPECT_EQ((std::vector<std::string>{"", "x"}), signature->getParameterList());
    EXPECT_EQ((std::vector<std::string>{"v"}), signature->getLocalVariables());
}

namespace {

// An array holding an array holding ... depth levels down to an empty one.
std::shared_ptr<OMStored> nestedArrays(int depth)
{
    std::shared_ptr<OMStored> inner = OMStored::arrayFactory();
    for (int level = 0; level < depth; ++level) {
        std::shared_ptr<OMStored> outer = OMStored::arrayFactory();
        outer->push(inner);
        inner = outer;
    }
    return inner;
}

}  // namespace

TEST(OMStoredDepth, AnyDepthIsDestroyedAndWalksGiveUpWithOneLine)
{
    runCounted([] {
        // Deeper than any stack of this machine could recurse: each walk says so once and fails.
        std::shared_ptr<OMStored> deep = nestedArrays(300000);
        std::shared_ptr<OMStored> other = nestedArrays(300000);
        QfnTest::LogCapture capture(1);
        EXPECT_EQ(deep->toString(), "");
        EXPECT_EQ(capture.countContaining("toString: the value is nested too deep"), 1u);
        EXPECT_EQ(capture.lines().size(), 1u);
        capture.clear();
        EXPECT_EQ(deep->clone(Qfn::kCloneAllLevels), nullptr);
        EXPECT_EQ(capture.countContaining("copy: the value is nested too deep"), 1u);
        capture.clear();
        OMStored::binaryOperation(Qfn::BinOp::EQ, *deep, *other);
        EXPECT_EQ(capture.countContaining("compare: the value is nested too deep"), 1u);
        // A walk that gave up leaves the next one its whole stack.
        std::shared_ptr<OMStored> shallow = nestedArrays(3);
        EXPECT_EQ(shallow->toString(), "[[[[]]]]");
    });
}

TEST(OMStoredDepth, AVariableCannotBeStoredInsideItself)
{
    runCounted([] {
        QfnTest::LogCapture capture(1);
        QfnTest::ScriptResult result = QfnTest::runScript("r = 1; r = reference('r', 'selectarray')");
        QfnTest::runScript("s = {}; s.t = reference('s', 'selectfirst')", result.scope);
        // The refused member stays as it was made by the attempt: undefined.
        EXPECT_EQ(QfnTest::runScript("[r, s]", result.scope).text(), "[1, { \"t\": undefined }]");
        EXPECT_EQ(capture.countContaining("cannot store a structure inside itself: r"), 1u);
        EXPECT_EQ(capture.countContaining("cannot store a structure inside itself: s.t"), 1u);
    });
}
