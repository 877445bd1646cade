// The tasks that reach, create and store members and elements of a node.
#include <gtest/gtest.h>

#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/access/AccessOMNodeReadOnlyResolvedByAttrTask.h"
#include "QfnParser/tasks/access/AccessOMNodeReadOnlyResolvedByIdxTask.h"
#include "QfnParser/tasks/access/AccessOMNodeResolvedByAttrTask.h"
#include "QfnParser/tasks/access/AccessOMNodeResolvedByIdxTask.h"
#include "QfnParser/tasks/access/SetAndAccessTask.h"
#include "QfnTask/Task.h"

using namespace Qfn;

TEST(NodeAccessTasks, ReadsNeverCreateWhileGetCreateAndSetDo)
{
    const int64_t before = OMStored::getOMStoredCount();
    {
        auto map = OMStored::mapFactory();
        std::shared_ptr<IOMNode> found;
        EXPECT_FALSE(AccessOMNodeReadOnlyResolvedByAttrTask::call(map, nullptr, nullptr, "k", found));
        EXPECT_FALSE(AccessOMNodeResolvedByAttrTask::call(map, nullptr, nullptr, AccessType::GET, "k", found));
        EXPECT_EQ(map->getSize(), 0u);
        EXPECT_TRUE(AccessOMNodeResolvedByAttrTask::call(map, nullptr, nullptr, AccessType::GET_CREATE, "k", found));
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->getType(), OMType::Undefined);
        EXPECT_EQ(map->getSize(), 1u);
        std::shared_ptr<IOMNode> stored = OMStored::factory(7);
        EXPECT_TRUE(AccessOMNodeResolvedByAttrTask::call(map, nullptr, nullptr, AccessType::SET, "k", stored));
        EXPECT_TRUE(AccessOMNodeReadOnlyResolvedByAttrTask::call(map, nullptr, nullptr, "k", found));
        EXPECT_EQ(found->getInt(), 7);

        auto array = OMStored::arrayFactory();
        EXPECT_FALSE(AccessOMNodeReadOnlyResolvedByIdxTask::call(array, nullptr, nullptr, 2, found));
        EXPECT_TRUE(AccessOMNodeResolvedByIdxTask::call(array, nullptr, nullptr, AccessType::GET_CREATE, 2, found));
        EXPECT_EQ(array->getSize(), 3u);
        std::shared_ptr<IOMNode> element = OMStored::factory("e");
        EXPECT_TRUE(AccessOMNodeResolvedByIdxTask::call(array, nullptr, nullptr, AccessType::SET, 4, element));
        EXPECT_EQ(array->getSize(), 5u);
        EXPECT_TRUE(AccessOMNodeReadOnlyResolvedByIdxTask::call(array, nullptr, nullptr, 4, found));
        EXPECT_EQ(found->getString(), "e");
        // A scalar has no members to reach.
        EXPECT_FALSE(AccessOMNodeResolvedByAttrTask::call(OMStored::factory(1), nullptr, nullptr,
                                                          AccessType::GET_CREATE, "k", found));
    }
    Task::deregisterAllTasks();
    EXPECT_EQ(OMStored::getOMStoredCount(), before);
}

TEST(NodeAccessTasks, SetAndAccessHandsBackTheNodeReallyStored)
{
    const int64_t before = OMStored::getOMStoredCount();
    {
        // Inside a data structure a node from outside comes in as a copy: that copy is handed back.
        auto tree = OMStored::mapFactory();
        ASSERT_TRUE(tree->setIsDataStructure(true));
        auto outside = OMStored::mapFactory();
        std::shared_ptr<IOMNode> node = outside;
        EXPECT_TRUE(SetAndAccessTask::call(tree, "child", node));
        ASSERT_NE(node, nullptr);
        EXPECT_NE(node.get(), outside.get());
        EXPECT_EQ(node->getDataStructureParent().get(), tree.get());
        EXPECT_EQ(node->getSelector(), "/child");

        auto list = OMStored::arrayFactory();
        std::shared_ptr<IOMNode> element = OMStored::factory(3);
        EXPECT_TRUE(SetAndAccessTask::call(list, 1, element));
        EXPECT_EQ(list->getSize(), 2u);

        auto target = OMStored::factory(1);
        std::shared_ptr<IOMNode> value = OMStored::factory("replaced");
        EXPECT_TRUE(SetAndAccessTask::call(target, value));
        EXPECT_EQ(target->getString(), "replaced");
    }
    Task::deregisterAllTasks();
    EXPECT_EQ(OMStored::getOMStoredCount(), before);
}
