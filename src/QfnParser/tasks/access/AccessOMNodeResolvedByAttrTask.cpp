#include "QfnParser/tasks/access/AccessOMNodeResolvedByAttrTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMScope.h"

namespace Qfn {

AccessOMNodeResolvedByAttrTask::AccessOMNodeResolvedByAttrTask(const std::shared_ptr<IOMNode>& node,
                                                               const std::shared_ptr<OMScope>& scope,
                                                               const NodeList& arguments,
                                                               AccessType accessType, const std::string& attr,
                                                               std::shared_ptr<IOMNode>& outNode)
    : Task("AccessOMNodeResolvedByAttrTask", -2, nullptr),
      fNode(node),
      fScope(scope),
      fArguments(arguments),
      fAccessType(accessType),
      fAttr(attr),
      fOutNode(outNode)
{
}

std::shared_ptr<Task> AccessOMNodeResolvedByAttrTask::factory(const std::shared_ptr<IOMNode>& node,
                                                              const std::shared_ptr<OMScope>& scope,
                                                              const NodeList& arguments,
                                                              AccessType accessType, const std::string& attr,
                                                              std::shared_ptr<IOMNode>& outNode)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(node);
            std::shared_ptr<Task> task(
                new AccessOMNodeResolvedByAttrTask(node, scope, arguments, accessType, attr, outNode));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeResolvedByAttrTask::call(const std::shared_ptr<IOMNode>& node,
                                          const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
                                          AccessType accessType, const std::string& attr,
                                          std::shared_ptr<IOMNode>& outNode)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(node, scope, arguments, accessType, attr, outNode));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeResolvedByAttrTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fNode->accessOMNodeResolved_yielding(task, fRetValBool, fScope, fArguments, fAccessType, fAttr,
                                             fOutNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
