#pragma once

#include <memory>

namespace Qfn {

// How a key or path is reached: read only, read creating it, or store a given node.
enum class AccessType { GET = 1, GET_CREATE = 2, SET = 3 };

// What a path query hands back.
enum class ReferenceType {
    OM_REF_SELECTOR_FIRST_MATCH = 0,
    OM_REF_SELECTOR_SINGLE_ELEMENT_OR_ARRAY = 1,
    OM_REF_SELECTOR_ARRAY = 2,
};

// Whether an operator may write its result into an operand instead of allocating one.
enum class NodeReuse { NO_REUSE = 0, REUSE = 1 };

// What evaluation does at its end with a value that came wrapped by `return`.
enum class HandleReturnValue { UNWRAP = 0, KEEP_WRAPPED = 1, LEAVE = 2 };

// How far a scope sees through to its parent.
enum class ScopeRelationType { NONE = 0, READ_ONLY = 1, READ_WRITE = 2 };

class OMScope;
// What makes the scopes that code asks OMScope::scopeFactory for; a service may install its own.
using ScopeFactoryFunction = std::shared_ptr<OMScope> (*)(const std::shared_ptr<OMScope>& parent,
                                                          ScopeRelationType parentScopeRelationType);

// Parse time folds what needs no run-time context; run time evaluates everything.
enum class ScriptPhase { PARSE = 0, RUN = 1 };

}  // namespace Qfn

namespace Qfn {

// What evaluation without a task may take on: expressions that cannot suspend, or those too
// with statement lists and calls of script functions, tried as a whole and dropped if need be.
enum class AtOnceMode : unsigned char { PLAIN = 0, WITH_CALLS = 1 };

}  // namespace Qfn
