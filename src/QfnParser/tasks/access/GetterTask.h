#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

class OMAccessor;

// Reads a path through an accessor; the value found is the task's result node.
class GetterTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const OMAccessor& accessor, const std::string& path,
                                         ReferenceType referenceType);
    // Runs to completion, serving the other tasks meanwhile; null when nothing was found.
    static std::shared_ptr<IOMNode> call(const OMAccessor& accessor, const std::string& path,
                                         ReferenceType referenceType);

    void timeslice() override;

private:
    GetterTask(std::shared_ptr<OMAccessor> accessor, std::string path, ReferenceType referenceType);

    std::shared_ptr<OMAccessor> fAccessor;
    std::string fPath;
    ReferenceType fReferenceType;
    // The value found; null when nothing was (the task's own result node would read as false).
    std::shared_ptr<IOMNode> fValue;
};

}  // namespace Qfn
