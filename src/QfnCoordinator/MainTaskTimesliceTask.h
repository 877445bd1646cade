#pragma once

#include <memory>

#include "QfnTask/Task.h"

namespace Qfn {

// The coordinator's heartbeat: each slice runs rounds of the coordinator's main state machine.
class MainTaskTimesliceTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory();

    void timeslice() override;
    bool isIdle() const override;
    void exit() override;
    bool handleCompletion() override;

private:
    MainTaskTimesliceTask();

    bool fTimesliceCompleted = false;
};

}  // namespace Qfn
