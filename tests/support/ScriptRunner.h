#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"

namespace QfnTest {

struct ScriptResult {
    bool parsed = false;
    // Evaluation ran to its end (with or without a value).
    bool completed = false;
    std::shared_ptr<Qfn::IOMNode> value;
    std::shared_ptr<Qfn::OMStored> tree;
    std::shared_ptr<Qfn::OMScope> scope;
    // What the script wrote with output(), when the run collected it.
    std::string output;

    // The value's type name and read-back text, "null" when there is none.
    std::string text() const;
    // A variable of the scope, null when absent.
    std::shared_ptr<Qfn::IOMNode> variable(const std::string& name) const;
};

// Parses the text and evaluates it on a fresh root scope (or the one given), to completion.
ScriptResult runScript(const std::string& text, std::shared_ptr<Qfn::OMScope> scope = nullptr);

// The same within a budget: at most `slices` slices of `sliceMicroseconds` each for parsing and
// again for evaluation. A script still running then is dropped with its task.
ScriptResult runScriptBounded(const std::string& text, int slices, int64_t sliceMicroseconds);

// Either of the above (a negative slice count runs to completion), with what the script writes
// through output() collected in the result instead of going to standard output.
ScriptResult runScriptCollectingOutput(const std::string& text, int slices, int64_t sliceMicroseconds);

}  // namespace QfnTest
