#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

class OMAccessor;

// Runs a path query on an accessor: reads, creates or writes what the path matches; the
// task's result is whether it succeeded, and the node given becomes the query's result.
class AccessOMNodeTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const OMAccessor& accessor, AccessType accessType,
                                         const std::string& path, std::shared_ptr<IOMNode>& node,
                                         ReferenceType referenceType);
    // Runs to completion, serving the other tasks meanwhile.
    static bool call(const OMAccessor& accessor, AccessType accessType, const std::string& path,
                     std::shared_ptr<IOMNode>& node, ReferenceType referenceType);

    void timeslice() override;

private:
    AccessOMNodeTask(std::shared_ptr<OMAccessor> accessor, AccessType accessType, const std::string& path,
                     std::shared_ptr<IOMNode>& node, ReferenceType referenceType);

    std::shared_ptr<OMAccessor> fAccessor;
    AccessType fAccessType;
    std::string fPath;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
    ReferenceType fReferenceType;
};

}  // namespace Qfn
