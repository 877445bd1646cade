#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Cuts a script into its statements without parsing it: it knows strings, comments, brackets and
// the directives "//@yieldon" and "//@yieldoff", and writes each statement, followed by a newline,
// to the output side of the task's IOStreamPrompted.
class InstrumentScriptStreamTask : public virtual Task {
public:
    // The stream must be an IOStreamPrompted; a null one falls back as Task::getInputStream says.
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& wrapped_this,
                                         const std::shared_ptr<OMScope>& scope,
                                         const std::string& scriptFilePath,
                                         std::shared_ptr<InputStream> inputStream);

    void timeslice() override;

    // Reads the script to its end; retVal is true when every statement was passed on.
    virtual void instrumentScript_yielding(const std::shared_ptr<Task>& task, bool& retVal);
    // Whether characters can be read now without waiting: the prompted stream's line is not used up
    // or its nested stream has one ready.
    virtual bool isInputPending();
    virtual void runStatement_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                       const std::string& statement);

private:
    InstrumentScriptStreamTask(std::shared_ptr<OMStored> wrapped_this, std::shared_ptr<OMScope> scope,
                               std::string scriptFilePath, std::shared_ptr<InputStream> inputStream);

    std::shared_ptr<OMStored> fWrapped_this;
    std::shared_ptr<OMScope> fScope;
    std::string fScriptFilePath;
};

}  // namespace Qfn
