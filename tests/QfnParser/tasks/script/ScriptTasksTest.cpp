// The task classes that run parsing, evaluation and calls for callers outside a running script.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/CallNodeAsFunctionTask.h"
#include "QfnParser/tasks/script/EvalScriptTask.h"
#include "QfnParser/tasks/script/ExpressionGetterTask.h"
#include "QfnParser/tasks/script/ExpressionSetterTask.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/Task.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

using namespace Qfn;

namespace {

class ScriptTasks : public ::testing::Test {
protected:
    void SetUp() override { fBefore = OMStored::getOMStoredCount(); }
    void TearDown() override
    {
        Task::deregisterAllTasks();
        EXPECT_EQ(OMStored::getOMStoredCount(), fBefore);
        EXPECT_EQ(Task::getTaskCount(), 0u);
    }
    int64_t fBefore = 0;
};

}  // namespace

TEST_F(ScriptTasks, ParseTaskReportsFailureAndLeavesTheNodeUndefined)
{
    QfnTest::LogCapture log(1);
    auto node = OMStored::undefinedFactory();
    EXPECT_FALSE(ParseTask::call(node, "[1"));
    EXPECT_EQ(node->getType(), OMType::Undefined);
    EXPECT_TRUE(log.hasLineEndingWith("parsing failed"));
    EXPECT_FALSE(ParseTask::call(nullptr, "1"));
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: 'stored' evaluates to false"));
    EXPECT_TRUE(ParseTask::call(node, "[1, 2]"));
    EXPECT_EQ(node->getSize(), 2u);
}

TEST_F(ScriptTasks, EvalScriptTaskRunsAFileWithItsPathOnTheScopeStack)
{
    const auto path = std::filesystem::temp_directory_path() / "qfn-eval-script-task.qfl";
    {
        std::ofstream file(path);
        file << "x = 20;\nfunction twice(v) { return v * 2 }\nreturn twice(x) + 2;\nx = 0\n";
    }
    auto scope = InternalCoordinator::scopeFactory();
    auto value = EvalScriptTask::call(OMStored::undefinedFactory(), scope, path.string(), HandleReturnValue::UNWRAP);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->getInt(), 42);
    std::shared_ptr<IOMNode> x;
    ASSERT_TRUE(scope->readMember("x", x));
    EXPECT_EQ(x->getInt(), 20);
    // The stack is balanced again once the script has run.
    EXPECT_EQ(scope->getCurScriptFilePath(), "");
    std::filesystem::remove(path);
    {
        QfnTest::LogCapture log(1);
        EXPECT_EQ(EvalScriptTask::call(OMStored::undefinedFactory(), scope, path.string(), HandleReturnValue::UNWRAP),
                  nullptr);
        EXPECT_TRUE(log.hasLineEndingWith("does not exist: " + path.string()));
    }
}

TEST_F(ScriptTasks, ExpressionTasksReadAndWriteThroughAnLValue)
{
    QfnTest::ScriptResult assigned = QfnTest::runScript("o = { list: [1, 2, 3] }; o.list[1]");
    ASSERT_TRUE(assigned.parsed);
    // The tree of the last statement, `o.list[1]`, on its own.
    auto target = OMStored::undefinedFactory();
    ASSERT_TRUE(ParseTask::call(target, "o.list[1]"));
    auto expression = target->getExpression();
    ASSERT_NE(expression, nullptr);
    auto read = ExpressionGetterTask::call(expression, AccessType::GET, assigned.scope, ScriptPhase::RUN);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->getInt(), 2);
    std::shared_ptr<IOMNode> value = OMStored::factory("two");
    EXPECT_TRUE(ExpressionSetterTask::call(expression, AccessType::SET, value, assigned.scope, ScriptPhase::RUN));
    EXPECT_EQ(QfnTest::runScript("o.list", assigned.scope).text(), "[1, \"two\", 3]");
    // At parse time nothing is read.
    EXPECT_EQ(ExpressionGetterTask::call(expression, AccessType::GET, assigned.scope, ScriptPhase::PARSE), nullptr);
}

TEST_F(ScriptTasks, CallNodeAsFunctionTaskCallsAScriptFunctionFromOutside)
{
    QfnTest::ScriptResult defined = QfnTest::runScript("function greet(name, n) { return 'hi ' + name + n }; 0");
    std::shared_ptr<IOMNode> function = defined.variable("greet");
    ASSERT_NE(function, nullptr);
    ASSERT_EQ(function->getType(), OMType::Function);
    auto arguments = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
    arguments->push_back(OMStored::factory("you"));
    arguments->push_back(OMStored::factory(3));
    auto value = CallNodeAsFunctionTask::call(function->getOMStoredPtr(), false, nullptr, arguments, defined.scope,
                                              "greeting");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->getString(), "hi you3");
    {
        // Only a function can be called.
        QfnTest::LogCapture log(1);
        EXPECT_EQ(CallNodeAsFunctionTask::call(OMStored::factory(5), false, nullptr, arguments, defined.scope, "x"),
                  nullptr);
        EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: 'fType == OMType::Function' evaluates to false"));
    }
}
