#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

class OMAccessor;

// Writes a node to everything a path matches under an accessor, building what is missing; the
// task's result is whether it was stored.
class SetterTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const OMAccessor& accessor, const std::string& path,
                                         std::shared_ptr<IOMNode>& node);
    static bool call(const OMAccessor& accessor, const std::string& path, std::shared_ptr<IOMNode>& node);

    void timeslice() override;

private:
    SetterTask(std::shared_ptr<OMAccessor> accessor, std::string path, std::shared_ptr<IOMNode>& node);

    std::shared_ptr<OMAccessor> fAccessor;
    std::string fPath;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
};

}  // namespace Qfn
