#include "QfnCoordinator/MainTaskTimesliceTask.h"

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"

namespace Qfn {

MainTaskTimesliceTask::MainTaskTimesliceTask() : Task("MainTaskTimesliceTask", -2, nullptr) {}

std::shared_ptr<Task> MainTaskTimesliceTask::factory()
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            std::shared_ptr<Task> task(new MainTaskTimesliceTask());
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void MainTaskTimesliceTask::timeslice()
{
    try {
        do {
            std::shared_ptr<InternalCoordinator> internalCoordinator;
            ASSIGN(internalCoordinator,
                   std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory()));
            std::shared_ptr<Task> self = shared_from_this();
            internalCoordinator->timeslice_yielding(self, fTimesliceCompleted);
            if (InternalCoordinator::isTerminating()) fTimesliceCompleted = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool MainTaskTimesliceTask::isIdle() const
{
    bool retVal = false;
    try {
        do {
            if (!Task::isIdle()) break;
            auto* internalCoordinator =
                dynamic_cast<InternalCoordinator*>(InternalCoordinator::factory().get());
            if (internalCoordinator && !internalCoordinator->isIdle()) break;
            if (fTimesliceCompleted) {
                bool othersIdle = true;
                for (const auto& task : Task::getActiveTasks()) {
                    if (!task || task.get() == this) continue;
                    if (!task->isIdle()) {
                        othersIdle = false;
                        break;
                    }
                }
                if (!othersIdle) break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void MainTaskTimesliceTask::exit()
{
    try {
        do {
            std::shared_ptr<InternalCoordinator> internalCoordinator;
            ASSIGN(internalCoordinator,
                   std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory()));
            internalCoordinator->destroyNamedPipe();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool MainTaskTimesliceTask::handleCompletion()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Task::handleCompletion());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
