#include "QfnParser/model/OMScope.h"

#include <gtest/gtest.h>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnTask/CallYieldingTask.h"
#include "support/LogCapture.h"

using Qfn::AccessType;
using Qfn::IOMNode;
using Qfn::OMScope;
using Qfn::OMStored;
using Qfn::ScopeRelationType;

namespace {

// Runs one scope access to its end, as an evaluation would, and reports success and the node.
bool access(const std::shared_ptr<OMScope>& scope, AccessType accessType, const std::string& name,
            std::shared_ptr<IOMNode>& node)
{
    bool success = false;
    EXPECT_TRUE(Qfn::CallYieldingTask::run("ScopeTest", [&](const std::shared_ptr<Qfn::Task>& task) {
        scope->accessOMNodeResolved_yielding(task, success, scope, nullptr, accessType, name, node);
    }));
    return success;
}

std::shared_ptr<IOMNode> read(const std::shared_ptr<OMScope>& scope, const std::string& name)
{
    std::shared_ptr<IOMNode> node;
    return access(scope, AccessType::GET, name, node) ? node : nullptr;
}

bool assign(const std::shared_ptr<OMScope>& scope, const std::string& name, int64_t value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return access(scope, AccessType::SET, name, node);
}

}  // namespace

TEST(OMScopeLookup, ReadsWalkUpAsFarAsTheLinksAllow)
{
    int64_t storedBefore = OMStored::getOMStoredCount();
    {
        auto root = OMScope::factory();
        ASSERT_TRUE(assign(root, "a", 11));
        auto readWrite = OMScope::factory(root, ScopeRelationType::READ_WRITE);
        auto readOnly = OMScope::factory(readWrite, ScopeRelationType::READ_ONLY);
        auto isolated = OMScope::factory(readOnly, ScopeRelationType::NONE);

        ASSERT_TRUE(read(readOnly, "a"));
        EXPECT_EQ(read(readOnly, "a")->getInt(), 11) << "two links up, through both relations";
        EXPECT_FALSE(read(isolated, "a")) << "a NONE link hides the parent even for reading";
        EXPECT_FALSE(read(root, "missing"));
        EXPECT_EQ(isolated->getType(), Qfn::OMType::Map) << "a scope is a map from birth";
    }
    EXPECT_EQ(OMStored::getOMStoredCount(), storedBefore);
}

TEST(OMScopeAssignment, WritesReachTheOwnerAcrossReadWriteLinksOnly)
{
    int64_t storedBefore = OMStored::getOMStoredCount();
    {
        auto caller = OMScope::factory();
        ASSERT_TRUE(assign(caller, "a", 1));
        auto function = OMScope::factory(caller, ScopeRelationType::READ_WRITE);
        ASSERT_TRUE(assign(function, "a", 2));
        EXPECT_EQ(read(caller, "a")->getInt(), 2) << "a function-level write reaches the caller's variable";
        EXPECT_EQ(function->getSize(), 0u);

        ASSERT_TRUE(assign(function, "fresh", 3));
        EXPECT_EQ(function->getSize(), 1u) << "a new name is made in the innermost scope";
        EXPECT_FALSE(read(caller, "fresh"));

        // A local declared in the function shadows the caller's name.
        std::shared_ptr<IOMNode> local = OMStored::undefinedFactory();
        ASSERT_TRUE(function->setSync("a", local));
        ASSERT_TRUE(assign(function, "a", 4));
        EXPECT_EQ(read(caller, "a")->getInt(), 2);
        EXPECT_EQ(read(function, "a")->getInt(), 4);

        auto evalScope = OMScope::factory(caller, ScopeRelationType::READ_ONLY);
        EXPECT_EQ(read(evalScope, "a")->getInt(), 2);
        ASSERT_TRUE(assign(evalScope, "a", 5));
        EXPECT_EQ(read(evalScope, "a")->getInt(), 5) << "a write shadows a name read across READ_ONLY";
        EXPECT_EQ(read(caller, "a")->getInt(), 2) << "and leaves the outer value alone";
    }
    EXPECT_EQ(OMStored::getOMStoredCount(), storedBefore);
}

TEST(OMScopeAssignment, GetCreateHandsBackTheNodeWhereItLives)
{
    auto caller = OMScope::factory();
    ASSERT_TRUE(assign(caller, "counter", 7));
    auto function = OMScope::factory(caller, ScopeRelationType::READ_WRITE);
    std::shared_ptr<IOMNode> node;
    ASSERT_TRUE(access(function, AccessType::GET_CREATE, "counter", node));
    ASSERT_TRUE(node);
    node->set(int64_t{8});
    EXPECT_EQ(read(caller, "counter")->getInt(), 8) << "the node handed back is the caller's own";

    std::shared_ptr<IOMNode> created;
    ASSERT_TRUE(access(function, AccessType::GET_CREATE, "newName", created));
    ASSERT_TRUE(created);
    EXPECT_EQ(created->getType(), Qfn::OMType::Undefined);
    EXPECT_TRUE(read(function, "newName"));
    EXPECT_FALSE(read(caller, "newName"));
}

TEST(OMScopeScriptFiles, PathIsFoundUpTheChainAndPopsBalance)
{
    auto script = OMScope::factory();
    auto function = OMScope::factory(script, ScopeRelationType::READ_WRITE);
    EXPECT_EQ(function->getCurScriptFilePath(), "");
    ASSERT_TRUE(script->pushScriptFilePath("/tmp/outer.qfl"));
    EXPECT_EQ(function->getCurScriptFilePath(), "/tmp/outer.qfl");
    ASSERT_TRUE(function->pushScriptFilePath("/tmp/inner.qfl"));
    EXPECT_EQ(function->getCurScriptFilePath(), "/tmp/inner.qfl");
    EXPECT_TRUE(function->popScriptFilePath());
    EXPECT_TRUE(QfnTest::logsError("!fScriptFileStack.empty()", [&] { EXPECT_FALSE(function->popScriptFilePath()); }))
        << "popping an empty stack is a failed check";
    EXPECT_EQ(function->getCurScriptFilePath(), "/tmp/outer.qfl");
}

TEST(OMScopeFactory, CoordinatorScopesComeFromTheInstalledCreator)
{
    static int madeByCreator = 0;
    auto plain = Qfn::InternalCoordinator::scopeFactory();
    ASSERT_TRUE(plain);
    EXPECT_FALSE(plain->getParentScope());
    EXPECT_EQ(plain->getParentScopeRelationType(), ScopeRelationType::NONE);

    Qfn::InternalCoordinator::setScopeFactory(
        [](const std::shared_ptr<OMScope>& parent, ScopeRelationType relation) {
            ++madeByCreator;
            return OMScope::factory(parent, relation);
        });
    auto child = Qfn::InternalCoordinator::scopeFactory(plain, ScopeRelationType::READ_WRITE);
    Qfn::InternalCoordinator::setScopeFactory(nullptr);
    ASSERT_TRUE(child);
    EXPECT_EQ(madeByCreator, 1);
    EXPECT_EQ(child->getParentScope(), plain);
    EXPECT_EQ(child->getParentScopeRelationType(), ScopeRelationType::READ_WRITE);
}
