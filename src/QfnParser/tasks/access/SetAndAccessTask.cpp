#include "QfnParser/tasks/access/SetAndAccessTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"

namespace Qfn {

SetAndAccessTask::SetAndAccessTask(const char* name, std::shared_ptr<IOMNode> target, Key key,
                                   std::string attr, uint64_t idx, std::shared_ptr<IOMNode>& node)
    : Task(name, -2, nullptr),
      fTarget(std::move(target)),
      fKey(key),
      fAttr(std::move(attr)),
      fIdx(idx),
      fNode(node)
{
}

std::shared_ptr<Task> SetAndAccessTask::make(const char* name, const std::shared_ptr<IOMNode>& target,
                                             Key key, const std::string& attr, uint64_t idx,
                                             std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(target);
            std::shared_ptr<Task> task(new SetAndAccessTask(name, target, key, attr, idx, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<Task> SetAndAccessTask::factory(const std::shared_ptr<IOMNode>& target,
                                                const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    return make("SetAndAccessTask", target, Key::ATTR, attr, 0, node);
}

std::shared_ptr<Task> SetAndAccessTask::factory(const std::shared_ptr<IOMNode>& target, uint64_t idx,
                                                std::shared_ptr<IOMNode>& node)
{
    return make("SetAndAccessTask", target, Key::IDX, "", idx, node);
}

std::shared_ptr<Task> SetAndAccessTask::factory(const std::shared_ptr<IOMNode>& target,
                                                std::shared_ptr<IOMNode>& node)
{
    return make("SetAndAccessTaskType", target, Key::NONE, "", 0, node);
}

bool SetAndAccessTask::run(const std::shared_ptr<Task>& task)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(task);
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SetAndAccessTask::call(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                            std::shared_ptr<IOMNode>& node)
{
    return run(factory(target, attr, node));
}

bool SetAndAccessTask::call(const std::shared_ptr<IOMNode>& target, uint64_t idx,
                            std::shared_ptr<IOMNode>& node)
{
    return run(factory(target, idx, node));
}

bool SetAndAccessTask::call(const std::shared_ptr<IOMNode>& target, std::shared_ptr<IOMNode>& node)
{
    return run(factory(target, node));
}

void SetAndAccessTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        switch (fKey) {
            case Key::ATTR:
                fTarget->setAndAccess_yielding(task, fRetValBool, fAttr, fNode);
                break;
            case Key::IDX:
                fTarget->setAndAccess_yielding(task, fRetValBool, fIdx, fNode);
                break;
            case Key::NONE:
                fTarget->setAndAccess_yielding(task, fRetValBool, fNode);
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
