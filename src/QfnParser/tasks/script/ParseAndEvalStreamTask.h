#pragma once

#include <cstdint>
#include <memory>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

// The read-eval-print loop over a stream: each expression is evaluated as soon as it is complete.
class ParseAndEvalStreamTask : public virtual Task {
public:
    // A null stream falls back to the parent task's or the console, as Task::getInputStream says.
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& stored,
                                         const std::shared_ptr<OMScope>& scope,
                                         const std::shared_ptr<InputStream>& inputStream);

    void timeslice() override;
    // Also ends the stream, so that a script waiting at the console stops.
    void exit() override;
    // How many statements of the stream did not parse (and were skipped).
    uint64_t getStatementsNotParsed() const { return fStatementsNotParsed; }
    void noteStatementNotParsed() { ++fStatementsNotParsed; }

private:
    ParseAndEvalStreamTask(std::shared_ptr<OMStored> stored, std::shared_ptr<OMScope> scope,
                           std::shared_ptr<InputStream> inputStream);

    std::shared_ptr<OMStored> fStored;
    std::shared_ptr<OMScope> fScope;
    uint64_t fStatementsNotParsed = 0;
};

}  // namespace Qfn
