#include "QfnParser/tasks/access/AccessOMNodeReadOnlyResolvedByAttrTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMScope.h"

namespace Qfn {

AccessOMNodeReadOnlyResolvedByAttrTask::AccessOMNodeReadOnlyResolvedByAttrTask(
    const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
    const std::string& attr, std::shared_ptr<IOMNode>& outNode)
    : Task("AccessOMNodeReadOnlyResolvedByAttrTask", -2, nullptr),
      fNode(node),
      fScope(scope),
      fArguments(arguments),
      fAttr(attr),
      fOutNode(outNode)
{
}

std::shared_ptr<Task> AccessOMNodeReadOnlyResolvedByAttrTask::factory(const std::shared_ptr<IOMNode>& node,
                                                                      const std::shared_ptr<OMScope>& scope,
                                                                      const NodeList& arguments,
                                                                      const std::string& attr,
                                                                      std::shared_ptr<IOMNode>& outNode)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(node);
            std::shared_ptr<Task> task(
                new AccessOMNodeReadOnlyResolvedByAttrTask(node, scope, arguments, attr, outNode));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeReadOnlyResolvedByAttrTask::call(const std::shared_ptr<IOMNode>& node,
                                                  const std::shared_ptr<OMScope>& scope,
                                                  const NodeList& arguments, const std::string& attr,
                                                  std::shared_ptr<IOMNode>& outNode)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(node, scope, arguments, attr, outNode));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeReadOnlyResolvedByAttrTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fNode->accessOMNodeReadOnlyResolved_yielding(task, fRetValBool, fScope, fArguments, fAttr, fOutNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
