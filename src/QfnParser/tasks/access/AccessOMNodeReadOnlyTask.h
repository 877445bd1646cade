#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

class OMAccessor;

// Runs a read-only path query on an accessor; the node given becomes the result.
class AccessOMNodeReadOnlyTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const OMAccessor& accessor, const std::string& path,
                                         std::shared_ptr<IOMNode>& node, ReferenceType referenceType);
    // Runs to completion, serving the other tasks meanwhile.
    static bool call(const OMAccessor& accessor, const std::string& path, std::shared_ptr<IOMNode>& node,
                     ReferenceType referenceType);

    void timeslice() override;

private:
    AccessOMNodeReadOnlyTask(std::shared_ptr<OMAccessor> accessor, const std::string& path,
                             std::shared_ptr<IOMNode>& node, ReferenceType referenceType);

    std::shared_ptr<OMAccessor> fAccessor;
    std::string fPath;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
    ReferenceType fReferenceType;
};

}  // namespace Qfn
