#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

class OMAccessor;

// One step of member access by index through an accessor.
class AccessOMNodeByIdxTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const OMAccessor& accessor, AccessType accessType, uint64_t idx,
                                         std::shared_ptr<IOMNode>& node);
    // Runs to completion, serving the other tasks meanwhile.
    static bool call(const OMAccessor& accessor, AccessType accessType, uint64_t idx,
                     std::shared_ptr<IOMNode>& node);

    void timeslice() override;

private:
    AccessOMNodeByIdxTask(std::shared_ptr<OMAccessor> accessor, AccessType accessType, uint64_t idx,
                          std::shared_ptr<IOMNode>& node);

    std::shared_ptr<OMAccessor> fAccessor;
    AccessType fAccessType;
    uint64_t fIdx;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
};

}  // namespace Qfn
