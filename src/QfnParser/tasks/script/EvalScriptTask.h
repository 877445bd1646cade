#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Runs a script file against a scope, with its path on the scope's script stack; the script's
// value is the task's result node.
class EvalScriptTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& stored,
                                         const std::shared_ptr<OMScope>& scope,
                                         const std::string& scriptFilePath,
                                         HandleReturnValue handleReturnValue);
    // Runs to completion, serving the other tasks meanwhile; null when it failed.
    static std::shared_ptr<IOMNode> call(const std::shared_ptr<OMStored>& stored,
                                         const std::shared_ptr<OMScope>& scope,
                                         const std::string& scriptFilePath,
                                         HandleReturnValue handleReturnValue);

    void timeslice() override;

private:
    EvalScriptTask(std::shared_ptr<OMStored> stored, std::shared_ptr<OMScope> scope,
                   std::string scriptFilePath, HandleReturnValue handleReturnValue);

    std::shared_ptr<OMStored> fStored;
    std::shared_ptr<OMScope> fScope;
    std::string fScriptFilePath;
    HandleReturnValue fHandleReturnValue;
};

}  // namespace Qfn
