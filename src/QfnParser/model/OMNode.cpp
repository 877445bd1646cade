#include "QfnParser/model/OMNode.h"

#include <typeinfo>
#include <vector>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/expressions/OMExpressionUnary.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/CallYieldingTask.h"
#include "QfnUtils/DeepWalk.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// Reads without a task when the node is a plain OMStored; a derived node's read may need one.
bool isPlainStored(const OMNode& node, const NodeList& argumentList)
{
    return const_cast<OMNode&>(node).asPlainStored() && (!argumentList || argumentList->empty());
}

}  // namespace

// ---- the tree discipline

bool OMNode::setDataStructureParent(const std::shared_ptr<IOMNode>& parent, const std::string& key)
{
    bool retVal = false;
    try {
        do {
            if (parent == fDataStructureParent.lock()) {
                retVal = true;
                break;
            }
            if (!parent) {
                fDataStructureParent.reset();
                retVal = setIsDataStructure(false);
                break;
            }
            fDataStructureKey = key;
            fDataStructureParent = parent;
            retVal = setIsDataStructure(true);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMNode::setIsDataStructure(bool isDataStructure)
{
    fIsDataStructure = isDataStructure;
    return true;
}

uint64_t OMNode::getDataStructureIdx() const
{
    uint64_t retVal = ~uint64_t(0);
    try {
        do {
            SANITY_CHECK(Utils::isNumeric(fDataStructureKey));
            retVal = Utils::toSize_t(fDataStructureKey);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMNode::getSelector() const
{
    std::string retVal;
    try {
        std::vector<std::string> keys;
        std::shared_ptr<IOMNode> parent = getDataStructureParent();
        if (parent) keys.push_back(fDataStructureKey);
        while (parent) {
            std::shared_ptr<IOMNode> grandParent = parent->getDataStructureParent();
            if (grandParent) keys.push_back(parent->getDataStructureKey());
            parent = grandParent;
        }
        for (auto key = keys.rbegin(); key != keys.rend(); ++key)
            retVal.append("/").append(*key);
        if (retVal.empty()) retVal.push_back('/');
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- member reads

std::shared_ptr<IOMNode> OMNode::getOMNode(const std::string& attr) const
{
    std::shared_ptr<IOMNode> node;
    if (!accessOMNodeReadOnlyResolved(nullptr, nullptr, attr, node) || !node) {
        LOG_ERROR(Utils::stringWithFormat("access to attr %s failed", attr.c_str()));
        node = OMStored::errorFactory();
    }
    return node;
}

std::shared_ptr<IOMNode> OMNode::getOMNode(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node;
    if (!accessOMNodeReadOnlyResolved(nullptr, nullptr, idx, node) || !node) {
        LOG_ERROR(Utils::stringWithFormat("access to idx %ld failed", static_cast<long>(idx)));
        node = OMStored::errorFactory();
    }
    return node;
}

OMType OMNode::getType(const std::string& attr) const
{
    std::shared_ptr<IOMNode> node;
    return accessOMNodeReadOnlyResolved(nullptr, nullptr, attr, node) && node ? node->getType()
                                                                              : OMType::Undefined;
}

OMType OMNode::getType(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node;
    return accessOMNodeReadOnlyResolved(nullptr, nullptr, idx, node) && node ? node->getType()
                                                                             : OMType::Undefined;
}

bool OMNode::exists(uint64_t idx) const
{
    return getType() == OMType::Array && idx < getSize();
}

bool OMNode::exists(const std::string& attr) const
{
    std::shared_ptr<IOMNode> node;
    return getType() == OMType::Map && accessOMNodeReadOnlyResolved(nullptr, nullptr, attr, node) && node;
}

// ---- synchronous access: the resumable forms run to their end on a task of their own

bool OMNode::accessOMNodeResolved(const std::shared_ptr<OMScope>& scope, const NodeList& resolvedArgumentList,
                                  AccessType accessType, const std::string& attr,
                                  std::shared_ptr<IOMNode>& node)
{
    bool success = false;
    bool completed = CallYieldingTask::run("accessOMNodeResolved", [&](const std::shared_ptr<Task>& task) {
        accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList, accessType, attr, node);
    });
    return completed && success;
}

bool OMNode::accessOMNodeResolved(const std::shared_ptr<OMScope>& scope, const NodeList& resolvedArgumentList,
                                  AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    bool success = false;
    bool completed = CallYieldingTask::run("accessOMNodeResolved", [&](const std::shared_ptr<Task>& task) {
        accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList, accessType, idx, node);
    });
    return completed && success;
}

bool OMNode::accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                          const NodeList& resolvedArgumentList, uint64_t idx,
                                          std::shared_ptr<IOMNode>& node) const
{
    if (isPlainStored(*this, resolvedArgumentList))
        return static_cast<const OMStored*>(this)->readElement(idx, node);
    bool success = false;
    bool completed =
        CallYieldingTask::run("accessOMNodeReadOnlyResolved", [&](const std::shared_ptr<Task>& task) {
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, idx, node);
        });
    return completed && success;
}

bool OMNode::accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                          const NodeList& resolvedArgumentList, const std::string& attr,
                                          std::shared_ptr<IOMNode>& node) const
{
    if (isPlainStored(*this, resolvedArgumentList))
        return static_cast<const OMStored*>(this)->readMember(attr, node);
    bool success = false;
    bool completed =
        CallYieldingTask::run("accessOMNodeReadOnlyResolved", [&](const std::shared_ptr<Task>& task) {
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, attr, node);
        });
    return completed && success;
}

// ---- resumable access defaults for nodes without members of their own. None of these suspends
// by itself; a hand-over calls its callee again on every re-entry, which finds its own frame.

void OMNode::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                           const std::shared_ptr<OMScope>& scope,
                                           const NodeList& resolvedArgumentList, AccessType accessType,
                                           const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    try {
        if (accessType == AccessType::GET) {
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, attr, node);
        } else {
            success = false;
            node = OMStored::errorFactory();
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                           const std::shared_ptr<OMScope>& scope,
                                           const NodeList& resolvedArgumentList, AccessType accessType,
                                           uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    try {
        if (accessType == AccessType::GET) {
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, idx, node);
        } else {
            success = false;
            node = OMStored::errorFactory();
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>&, bool& success,
                                                   const std::shared_ptr<OMScope>&, const NodeList&, uint64_t,
                                                   std::shared_ptr<IOMNode>& node) const
{
    try {
        success = false;
        node = OMStored::errorFactory();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>&, bool& success,
                                                   const std::shared_ptr<OMScope>&, const NodeList&,
                                                   const std::string&, std::shared_ptr<IOMNode>& node) const
{
    try {
        success = false;
        node = OMStored::errorFactory();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                     const std::shared_ptr<OMScope>& scope,
                                                     const NodeList& unresolvedArgumentList,
                                                     const std::string& attr,
                                                     std::shared_ptr<IOMNode>& node) const
{
    try {
        do {
            success = false;
            SANITY_CHECK(!unresolvedArgumentList);
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, nullptr, attr, node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                     const std::shared_ptr<OMScope>& scope,
                                                     const NodeList& unresolvedArgumentList, uint64_t idx,
                                                     std::shared_ptr<IOMNode>& node) const
{
    try {
        do {
            success = false;
            SANITY_CHECK(!unresolvedArgumentList);
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, nullptr, idx, node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// ---- node life

std::shared_ptr<IOMNode> OMNode::clone(uint64_t) const
{
    LOG_ERROR("should be overridden");
    return nullptr;
}

bool OMNode::clear()
{
    bool retVal = setUndefined();
    fIsDataStructure = false;
    fDataStructureKey.clear();
    fDataStructureParent.reset();
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::pop()
{
    LOG_ERROR("unimplemented pop()");
    return nullptr;
}

bool OMNode::cmpOp_EQ(const IOMNode& other) const
{
    auto result = binaryOperation(BinOp::EQ, *this, other);
    return result && result->getBool();
}

bool OMNode::cmpOp_GT(const IOMNode& other) const
{
    auto result = binaryOperation(BinOp::GT, *this, other);
    return result && result->getBool();
}

bool OMNode::cmpOp_LT(const IOMNode& other) const
{
    auto result = binaryOperation(BinOp::LT, *this, other);
    return result && result->getBool();
}

bool OMNode::cmpOp_NE(const IOMNode& other) const
{
    auto result = binaryOperation(BinOp::NE, *this, other);
    return result && result->getBool();
}

// ---- what kind of node this is

std::string OMNode::getFunctionName() const
{
    if (getType() != OMType::Function) return "";
    auto signature = getFunctionSignature();
    if (!signature || signature->getParameterList().empty()) return "";
    return signature->getParameterList().front();
}

bool OMNode::isKeyword() const
{
    auto expression = getType() == OMType::Expression ? getExpression() : nullptr;
    return expression && expression->isKeyword();
}

bool OMNode::isKeyword(Token token) const
{
    auto expression = getType() == OMType::Expression ? getExpression() : nullptr;
    return expression && expression->isKeyword(token);
}

bool OMNode::isLValue() const
{
    auto expression = getType() == OMType::Expression ? getExpression() : nullptr;
    return expression && expression->isLValue();
}

bool OMNode::isReturnValue() const
{
    auto expression = getType() == OMType::Expression ? getExpression() : nullptr;
    return expression && expression->isReturn();
}

bool OMNode::isResolved(ScriptPhase scriptPhase) const
{
    switch (getType()) {
        case OMType::Expression:
            return false;
        case OMType::Array:
        case OMType::Map: {
            DeepWalk level;
            if (!level.canGoOn("isResolved")) return false;
            for (auto iter = getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                auto member = **iter;
                if (member && !member->isResolved(scriptPhase)) return false;
            }
            return true;
        }
        default:
            return true;
    }
}

bool OMNode::isScalar() const
{
    switch (getType()) {
        case OMType::Bool:
        case OMType::Int:
        case OMType::Float:
        case OMType::String:
        case OMType::Error:
        case OMType::GUID:
            return true;
        default:
            return false;
    }
}

// ---- return values

std::shared_ptr<IOMNode> OMNode::wrapReturnValue()
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<IOMNode> self;
            ASSIGN(self, std::shared_ptr<IOMNode>(shared_from_this()));
            retVal = OMStored::factory(OMExpressionUnary::factory(UnOp::RETURN, self));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::unwrapReturnValue()
{
    std::shared_ptr<IOMNode> retVal;
    try {
        // A value that is no `return` is itself; a wrapped one is reached without taking this node.
        if (isReturnValue()) retVal = getExpression()->getReturnOperand();
        if (!retVal) return shared_from_this();
        while (retVal->isReturnValue()) {
            std::shared_ptr<IOMNode> operand = retVal->getExpression()->getReturnOperand();
            if (!operand) break;
            retVal = std::move(operand);
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- assignment

std::shared_ptr<IOMNode> OMNode::set(const std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            SANITY_CHECK(node);
            SANITY_CHECK(setTo(*node, 0));
            retVal = shared_from_this();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::set(const IOMNode& node)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            SANITY_CHECK(setTo(node, 0));
            retVal = shared_from_this();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::setSync(uint64_t idx, const std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<IOMNode> retVal;
    bool completed = CallYieldingTask::run(
        "setSync", [&](const std::shared_ptr<Task>& task) { set_yielding(task, retVal, idx, node); });
    return completed ? retVal : nullptr;
}

std::shared_ptr<IOMNode> OMNode::setSync(const std::string& attr, const std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<IOMNode> retVal;
    bool completed = CallYieldingTask::run(
        "setSync", [&](const std::shared_ptr<Task>& task) { set_yielding(task, retVal, attr, node); });
    return completed ? retVal : nullptr;
}

std::shared_ptr<IOMNode> OMNode::setSyncToCloned(uint64_t idx, const std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            SANITY_CHECK(node);
            retVal = setSync(idx, node->clone(0));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::setSyncToCloned(const std::string& attr,
                                                 const std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            SANITY_CHECK(node);
            retVal = setSync(attr, node->clone(0));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Assigns to this node itself; afterwards `node` is this node, which now holds the value.
void OMNode::setAndAccess_yielding(const std::shared_ptr<Task>&, bool& success,
                                   std::shared_ptr<IOMNode>& node)
{
    try {
        do {
            success = false;
            SANITY_CHECK(node);
            SANITY_CHECK(this != node.get());
            std::shared_ptr<IOMNode> self;
            ASSIGN(self, set(node));
            node = self;
            success = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
