// OMStored: member access, the fast setters and evaluation against a scope.
#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::shared_ptr<IOMNode> OMStored::admit(const std::shared_ptr<IOMNode>& node) const
{
    std::shared_ptr<IOMNode> retVal = node;
    try {
        do {
            if (!fIsDataStructure || !node || node->getDataStructureParent().get() == this) break;
            // Copied all the way down: a plain container cloned at level 0 would still share its
            // elements with the variable it came from, and a tree shares nothing.
            retVal = node->clone(kCloneAllLevels);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::fillUpTo(uint64_t idx)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fArray);
            // Arrays are dense: a write far beyond the end would fill memory with Undefined.
            if (idx > fArray->size() + kMaxArrayGrowth) {
                LOG_ERROR("index " + std::to_string(idx) + " is too far beyond the end");
                break;
            }
            std::shared_ptr<IOMNode> self;
            if (fIsDataStructure) {
                ASSIGN(self, weak_from_this().lock());
            }
            bool failed = false;
            while (fArray->size() < idx && !failed) {
                std::shared_ptr<IOMNode> fillNode = undefinedFactory();
                const std::string key = std::to_string(fArray->size());
                failed = !fillNode || (self && !fillNode->setDataStructureParent(self, key));
                if (!failed) fArray->push_back(fillNode);
            }
            SANITY_CHECK(!failed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::writeMember(AccessType accessType, const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fType == OMType::Map && fMap);
            if (!(getPermission(attr) & PERMISSION_WRITE)) {
                LOG_ERROR("not permitted - need PERMISSION_WRITE");
                break;
            }
            if (accessType != AccessType::GET_CREATE && accessType != AccessType::SET) {
                LOG_ERROR("unexpected accessType");
                break;
            }
            std::shared_ptr<IOMNode> self;
            if (fIsDataStructure) {
                ASSIGN(self, weak_from_this().lock());
            }
            // One look-up serves the read and the store.
            auto iter = fMap->find(attr);
            if (node) {
                ASSIGN(node, admit(node));
            } else {
                if (iter != fMap->end()) node = iter->second;
                if (!node) {
                    ASSIGN(node, undefinedFactory());
                }
            }
            if (iter != fMap->end())
                iter->second = node;
            else
                fMap->emplace(attr, node);
            if (self) {
                SANITY_CHECK(node->setDataStructureParent(self, attr));
            }
            retVal = true;
        } while (false);
        if (!retVal) node.reset();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::writeElement(AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fType == OMType::Array && fArray);
            if (accessType != AccessType::GET_CREATE && accessType != AccessType::SET) {
                LOG_ERROR("unexpected accessType");
                break;
            }
            std::shared_ptr<IOMNode> self;
            if (fIsDataStructure) {
                ASSIGN(self, weak_from_this().lock());
            }
            SANITY_CHECK(fillUpTo(idx));
            if (node) {
                ASSIGN(node, admit(node));
            } else {
                if (idx < fArray->size()) node = (*fArray)[idx];
                if (!node) {
                    ASSIGN(node, undefinedFactory());
                }
            }
            if (idx < fArray->size())
                (*fArray)[idx] = node;
            else
                fArray->push_back(node);
            if (self) {
                SANITY_CHECK(node->setDataStructureParent(self, std::to_string(idx)));
            }
            retVal = true;
        } while (false);
        if (!retVal) node.reset();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::readMember(const std::string& attr, std::shared_ptr<IOMNode>& node) const
{
    bool retVal = false;
    try {
        do {
            if (fType == OMType::Array && Utils::isNumeric(attr)) {
                retVal = readElement(static_cast<uint64_t>(Utils::toSize_t(attr)), node);
                break;
            }
            if (fType != OMType::Map || !fMap) break;
            auto iter = fMap->find(attr);
            if (iter == fMap->end() || !iter->second) break;
            node = iter->second;
            retVal = true;
        } while (false);
        if (!retVal) node.reset();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::readElement(uint64_t idx, std::shared_ptr<IOMNode>& node) const
{
    bool retVal = false;
    try {
        do {
            if (fType != OMType::Array || !fArray || idx >= fArray->size()) break;
            node = (*fArray)[idx];
            retVal = node != nullptr;
        } while (false);
        if (!retVal) node.reset();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMStored::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                             const std::shared_ptr<OMScope>& scope,
                                             const NodeList& resolvedArgumentList, AccessType accessType,
                                             const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {
        uint64_t idx = 0;
    };
    enum : unsigned { READ_ONLY = 1, BY_INDEX };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (resolvedArgumentList && !resolvedArgumentList->empty()) {
                        // Arguments applied to a value that is no function: nothing to reach.
                        node.reset();
                        success = true;
                    } else if (accessType == AccessType::GET) {
                        s.fState = READ_ONLY;
                    } else if (fType == OMType::Array && Utils::isNumeric(attr)) {
                        s.idx = Utils::toSize_t(attr);
                        s.fState = BY_INDEX;
                    } else {
                        success = accessForWrite(accessType, attr, node);
                    }
                    break;
                    YIELDING_CALL(READ_ONLY, accessOMNodeReadOnlyResolved_yielding(
                                                 task, success, scope, resolvedArgumentList, attr, node));
                case resumeAfter(READ_ONLY):
                    s.fState = kFinished;
                    break;
                    YIELDING_CALL(BY_INDEX,
                                  accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList,
                                                                accessType, s.idx, node));
                case resumeAfter(BY_INDEX):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool OMStored::accessForWrite(AccessType accessType, const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    if (fType == OMType::Array && Utils::isNumeric(attr))
        return writeElement(accessType, static_cast<uint64_t>(Utils::toSize_t(attr)), node);
    if (fType == OMType::Map) return writeMember(accessType, attr, node);
    // A scalar has no members, and does not turn into a map for asking.
    node.reset();
    return false;
}

bool OMStored::accessForWrite(AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    if (fType == OMType::Array) return writeElement(accessType, idx, node);
    node.reset();
    return false;
}

bool OMStored::isReturnValue() const
{
    return fType == OMType::Expression && fExpression && fExpression->isReturn();
}

void OMStored::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                             const std::shared_ptr<OMScope>& scope,
                                             const NodeList& resolvedArgumentList, AccessType accessType,
                                             uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { READ_ONLY = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (resolvedArgumentList && !resolvedArgumentList->empty()) {
                        node.reset();
                        success = true;
                    } else if (accessType == AccessType::GET) {
                        s.fState = READ_ONLY;
                    } else if (fType == OMType::Array) {
                        success = writeElement(accessType, idx, node);
                    } else {
                        node.reset();
                    }
                    break;
                    YIELDING_CALL(READ_ONLY, accessOMNodeReadOnlyResolved_yielding(
                                                 task, success, scope, resolvedArgumentList, idx, node));
                case resumeAfter(READ_ONLY):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

namespace {

// A resumable read that cannot suspend: one state, which reads and finishes.
template <class Read>
void readAtOnce_yielding(const std::shared_ptr<Task>& task, bool& success, const Read& read)
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    success = read();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace

void OMStored::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                     const std::shared_ptr<OMScope>&, const NodeList&,
                                                     uint64_t idx, std::shared_ptr<IOMNode>& node) const
{
    readAtOnce_yielding(task, success, [&] { return readElement(idx, node); });
}

void OMStored::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                     const std::shared_ptr<OMScope>&, const NodeList&,
                                                     const std::string& attr,
                                                     std::shared_ptr<IOMNode>& node) const
{
    readAtOnce_yielding(task, success, [&] { return readMember(attr, node); });
}

void OMStored::set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal, uint64_t idx,
                            const std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal.reset();
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    // The fast path: no clone and no parent bookkeeping.
                    s.fState = kFinished;
                    SANITY_CHECK(fType == OMType::Array);
                    SANITY_CHECK(node);
                    SANITY_CHECK(fillUpTo(idx));
                    if (idx < fArray->size())
                        (*fArray)[idx] = node;
                    else
                        fArray->push_back(node);
                    retVal = node;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMStored::set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                            const std::string& attr, const std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal.reset();
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    // The fast path of evaluation and parameter binding: no clone, no parent bookkeeping.
                    s.fState = kFinished;
                    SANITY_CHECK(fType == OMType::Map);
                    SANITY_CHECK(fMap);
                    SANITY_CHECK(node);
                    if (!(getPermission(attr) & PERMISSION_WRITE)) {
                        LOG_ERROR("not permitted -- need PERMISSION_WRITE");
                        break;
                    }
                    (*fMap)[attr] = node;
                    retVal = node;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

namespace {

// A SET access that leaves in `node` what was really stored (the clone, if one was made);
// the same for a member and an element.
template <class Key>
void setAndAccessMember_yielding(OMStored& target, const std::shared_ptr<Task>& task, bool& success,
                                 const Key& key, std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { STORE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = STORE;
                    break;
                    YIELDING_CALL(STORE, target.accessOMNodeResolved_yielding(task, success, nullptr, nullptr,
                                                                              AccessType::SET, key, node));
                case resumeAfter(STORE):
                    s.fState = kFinished;
                    SANITY_CHECK(success);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace

void OMStored::setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                                     std::shared_ptr<IOMNode>& node)
{
    setAndAccessMember_yielding(*this, task, success, idx, node);
}

void OMStored::setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                                     const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    setAndAccessMember_yielding(*this, task, success, attr, node);
}

// The steps of eval_yielding for a scalar or for an expression that cannot suspend; a `return`
// statement is evaluated and wrapped again as there.
bool OMStored::evalAtOnce(const std::shared_ptr<IOMNode>& self, const std::shared_ptr<OMScope>& scope,
                          HandleReturnValue handleReturnValue, std::shared_ptr<IOMNode>& retVal)
{
    try {
        if (!scope) {
            retVal = self;
            return true;
        }
        if (scope->getType() != OMType::Map) return false;
        std::shared_ptr<IOMNode> result;
        if (fType == OMType::Expression && fExpression && !fExpression->isReturn()) {
            // The common case, an expression that is no `return`, with fewer questions.
            if (!fExpression->isAtOnce(AtOnceCalls::mode()) || !fExpression->getAtOnce(scope, result))
                return false;
            if (result && handleReturnValue == HandleReturnValue::UNWRAP && result->isReturnValue())
                result = result->unwrapReturnValue();
            retVal = std::move(result);
            return true;
        }
        const bool wasReturnValue = isReturnValue();
        if (wasReturnValue) {
            const std::shared_ptr<IOMNode> source = unwrapReturnValue();
            if (!source) return false;
            OMStored* stored = source->asPlainStored();
            if (!stored || stored->isReturnValue()) return false;
            if (stored->fType == OMType::Expression) {
                if (!stored->fExpression || !stored->fExpression->isAtOnce(AtOnceCalls::mode()) ||
                    !stored->fExpression->getAtOnce(scope, result))
                    return false;
            } else if (stored->fType == OMType::Array || stored->fType == OMType::Map ||
                       stored->fType == OMType::Function) {
                return false;
            } else {
                result = source;
            }
        } else if (fType == OMType::Expression) {
            if (!fExpression || !fExpression->isAtOnce(AtOnceCalls::mode()) ||
                !fExpression->getAtOnce(scope, result))
                return false;
        } else if (fType == OMType::Array || fType == OMType::Map || fType == OMType::Function) {
            return false;
        } else {
            result = self;
        }
        if (result) {
            if (handleReturnValue == HandleReturnValue::KEEP_WRAPPED) {
                if (wasReturnValue && !result->isReturnValue()) result = result->wrapReturnValue();
            } else if (handleReturnValue == HandleReturnValue::UNWRAP && result->isReturnValue()) {
                result = result->unwrapReturnValue();
            }
        }
        retVal = std::move(result);
    } catch (std::exception& e) {
        LOG_THROWS(e);
        retVal.reset();
    }
    return true;
}

void OMStored::eval_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                             const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue)
{
    // A fresh call that needs no suspension is done at once, without a frame; one with calls of
    // script functions may be tried that way as a whole.
    if (isAtOnceEnabled() && !task->areNestedFunctionStatesActive() &&
        (evalAtOnce(shared_from_this(), scope, handleReturnValue, retVal) ||
         AtOnceCalls::attempt(*task, shared_from_this(), scope, handleReturnValue, retVal)))
        return;
    struct LocalVariableState : virtual OMFunctionState {
        bool wasReturnValue = false;
        std::shared_ptr<IOMNode> source;  // this node, or what a `return` wrapped
        std::shared_ptr<OMStored> result;
        std::shared_ptr<IOMNodeIterator> iter;
        std::shared_ptr<IOMNode> member;
        std::string key;
        std::shared_ptr<IOMNode> evaluated;
        uint64_t targetIdx = 0;
        std::shared_ptr<IOMNode> stored;
        std::shared_ptr<OMExpression> expression;
        std::string functionName;
    };
    enum : unsigned {
        NEXT_MEMBER = 1,
        EVAL_MEMBER,
        STORE_ELEMENT,
        STORE_MEMBER,
        EVAL_EXPRESSION,
        BIND_FUNCTION,
        HANDLE_RETURN,
    };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal.reset();
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    retVal = shared_from_this();
                    if (!scope) break;
                    if (scope->getType() != OMType::Map) {
                        SANITY_CHECK(scope->setEmptyMap());
                    }
                    s.wasReturnValue = retVal->isReturnValue();
                    if (s.wasReturnValue) {
                        ASSIGN(retVal, retVal->unwrapReturnValue());
                    }
                    s.source = retVal;
                    s.fState = HANDLE_RETURN;
                    OMType type = s.source->getType();
                    if (type == OMType::Array || type == OMType::Map) {
                        s.result = type == OMType::Array ? arrayFactory() : mapFactory();
                        ASSIGN(retVal, s.result);
                        ASSIGN(s.iter, s.source->getNodeIterator());
                        s.fState = NEXT_MEMBER;
                    } else if (type == OMType::Expression) {
                        ASSIGN(s.expression, s.source->getExpression());
                        // An evaluation that cannot even start (too deep) must not leave the text as value.
                        retVal.reset();
                        s.fState = EVAL_EXPRESSION;
                    } else if (type == OMType::Function) {
                        s.functionName = s.source->getFunctionName();
                        if (!s.functionName.empty()) {
                            // A node of its own, so that assigning to the name leaves this function alone.
                            s.evaluated = OMStored::factory(*s.source);
                            s.fState = BIND_FUNCTION;
                        }
                    }
                    break;
                }
                case NEXT_MEMBER:
                    s.fState = HANDLE_RETURN;
                    if (s.iter->atEnd()) break;
                    s.member = **s.iter;
                    s.key = s.iter->getKey();
                    (*s.iter)++;
                    s.evaluated.reset();
                    SANITY_CHECK(s.member);
                    s.fState = EVAL_MEMBER;
                    break;
                    YIELDING_CALL(EVAL_MEMBER,
                                  s.member->eval_yielding(task, s.evaluated, scope, handleReturnValue));
                case resumeAfter(EVAL_MEMBER):
                    // An empty result is left out; an array then closes up behind it.
                    // A member of its own, so that changing the result leaves the evaluated value alone.
                    if (!s.evaluated) {
                        s.fState = NEXT_MEMBER;
                    } else {
                        s.evaluated = OMStored::factory(*s.evaluated);
                        s.fState = s.result->getType() == OMType::Array ? STORE_ELEMENT : STORE_MEMBER;
                    }
                    break;
                    YIELDING_CALL(STORE_ELEMENT,
                                  s.result->set_yielding(task, s.stored, s.targetIdx, s.evaluated));
                case resumeAfter(STORE_ELEMENT):
                    ++s.targetIdx;
                    s.fState = NEXT_MEMBER;
                    break;
                    YIELDING_CALL(STORE_MEMBER, s.result->set_yielding(task, s.stored, s.key, s.evaluated));
                case resumeAfter(STORE_MEMBER):
                    s.fState = NEXT_MEMBER;
                    break;
                    YIELDING_CALL(EVAL_EXPRESSION, s.expression->get_yielding(task, retVal, AccessType::GET,
                                                                              scope, ScriptPhase::RUN));
                case resumeAfter(EVAL_EXPRESSION):
                    s.fState = HANDLE_RETURN;
                    break;
                    YIELDING_CALL(BIND_FUNCTION,
                                  scope->set_yielding(task, s.stored, s.functionName, s.evaluated));
                case resumeAfter(BIND_FUNCTION):
                    s.fState = HANDLE_RETURN;
                    break;
                case HANDLE_RETURN:
                    s.fState = kFinished;
                    if (!retVal) break;
                    if (handleReturnValue == HandleReturnValue::KEEP_WRAPPED) {
                        if (s.wasReturnValue && !retVal->isReturnValue()) retVal = retVal->wrapReturnValue();
                    } else if (handleReturnValue == HandleReturnValue::UNWRAP) {
                        retVal = retVal->unwrapReturnValue();
                    }
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
