#include "QfnTask/SetterTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/IOMNode.h"

namespace Qfn {

SetterTask::SetterTask(std::shared_ptr<IOMNode> target, std::string attr, uint64_t idx, bool byIdx,
                       std::shared_ptr<IOMNode>& node)
    : Task("SetterTask", -2, nullptr),
      fTarget(std::move(target)),
      fAttr(std::move(attr)),
      fIdx(idx),
      fByIdx(byIdx),
      fNode(node)
{
}

std::shared_ptr<Task> SetterTask::factory(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                                          std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(target);
            std::shared_ptr<Task> task(new SetterTask(target, attr, 0, false, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<Task> SetterTask::factory(const std::shared_ptr<IOMNode>& target, uint64_t idx,
                                          std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(target);
            std::shared_ptr<Task> task(new SetterTask(target, "", idx, true, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SetterTask::run(const std::shared_ptr<Task>& task)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<SetterTask> setter;
            ASSIGN(setter, std::dynamic_pointer_cast<SetterTask>(task));
            SANITY_CHECK(setter->runToCompletion());
            retVal = setter->fRetValBool;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SetterTask::call(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                      std::shared_ptr<IOMNode>& node)
{
    return run(factory(target, attr, node));
}

bool SetterTask::call(const std::shared_ptr<IOMNode>& target, uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    return run(factory(target, idx, node));
}

void SetterTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        if (fByIdx) {
            fTarget->setAndAccess_yielding(task, fRetValBool, fIdx, fNode);
        } else {
            fTarget->setAndAccess_yielding(task, fRetValBool, fAttr, fNode);
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
