#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

class OMAccessor;

// Reads one element by index through an accessor.
class AccessOMNodeReadOnlyByIdxTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const OMAccessor& accessor, uint64_t idx,
                                         std::shared_ptr<IOMNode>& node);
    // Runs to completion, serving the other tasks meanwhile.
    static bool call(const OMAccessor& accessor, uint64_t idx, std::shared_ptr<IOMNode>& node);

    void timeslice() override;

private:
    AccessOMNodeReadOnlyByIdxTask(std::shared_ptr<OMAccessor> accessor, uint64_t idx,
                                  std::shared_ptr<IOMNode>& node);

    std::shared_ptr<OMAccessor> fAccessor;
    uint64_t fIdx;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
};

}  // namespace Qfn
