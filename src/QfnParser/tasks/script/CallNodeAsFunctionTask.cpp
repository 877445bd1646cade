#include "QfnParser/tasks/script/CallNodeAsFunctionTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

CallNodeAsFunctionTask::CallNodeAsFunctionTask(std::shared_ptr<OMStored> function, bool isMethod,
                                               std::shared_ptr<IOMNode> thisNode, NodeList arguments,
                                               std::shared_ptr<OMScope> scope, std::string callbackName)
    : Task("CallNodeAsFunctionTask", -2, nullptr),
      fWrapped_this(std::move(function)),
      fIsMethod(isMethod),
      fThisNode(std::move(thisNode)),
      fArguments(std::move(arguments)),
      fScope(std::move(scope)),
      fCallbackName(std::move(callbackName))
{
}

std::shared_ptr<Task> CallNodeAsFunctionTask::factory(const std::shared_ptr<OMStored>& function,
                                                      bool isMethod, const std::shared_ptr<IOMNode>& thisNode,
                                                      const NodeList& arguments,
                                                      const std::shared_ptr<OMScope>& scope,
                                                      const std::string& callbackName)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(function);
            SANITY_CHECK(scope);
            std::shared_ptr<Task> task(
                new CallNodeAsFunctionTask(function, isMethod, thisNode, arguments, scope, callbackName));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> CallNodeAsFunctionTask::call(const std::shared_ptr<OMStored>& function,
                                                      bool isMethod, const std::shared_ptr<IOMNode>& thisNode,
                                                      const NodeList& arguments,
                                                      const std::shared_ptr<OMScope>& scope,
                                                      const std::string& callbackName)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(function, isMethod, thisNode, arguments, scope, callbackName));
            std::shared_ptr<CallNodeAsFunctionTask> callTask;
            ASSIGN(callTask, std::dynamic_pointer_cast<CallNodeAsFunctionTask>(task));
            SANITY_CHECK(callTask->runToCompletion());
            retVal = callTask->fRetValNode;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void CallNodeAsFunctionTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fWrapped_this->callNodeAsFunction_yielding(task, fRetValNode, fIsMethod, fThisNode, fArguments,
                                                   fScope);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
