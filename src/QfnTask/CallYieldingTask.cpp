#include "QfnTask/CallYieldingTask.h"

#include "QfnLogger/Check.h"

namespace Qfn {

CallYieldingTask::CallYieldingTask(const char* name, Call call)
    : Task(name, -2, nullptr), fCall(std::move(call))
{
}

std::shared_ptr<Task> CallYieldingTask::factory(const char* name, Call call)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            std::shared_ptr<Task> task(new CallYieldingTask(name, std::move(call)));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool CallYieldingTask::run(const char* name, Call call)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(name, std::move(call)));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getIsTaskCompleted();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void CallYieldingTask::timeslice()
{
    try {
        do {
            SANITY_CHECK(fCall);
            fCall(shared_from_this());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
