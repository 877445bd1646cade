// OMAccessor: the node interface, handed to the node held.
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

bool OMAccessor::accessOMNodeResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, AccessType accessType,
                                      const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    return fOMNode->accessOMNodeResolved(scope, resolvedArgumentList, accessType, attr, node);
}

bool OMAccessor::accessOMNodeResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, AccessType accessType,
                                      uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    return fOMNode->accessOMNodeResolved(scope, resolvedArgumentList, accessType, idx, node);
}

void OMAccessor::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, AccessType accessType,
                                               const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    fOMNode->accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList, accessType, attr,
                                           node);
}

void OMAccessor::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, AccessType accessType,
                                               uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    fOMNode->accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList, accessType, idx, node);
}

void OMAccessor::accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& unresolvedArgumentList,
                                                 AccessType accessType, const std::string& attr,
                                                 std::shared_ptr<IOMNode>& node)
{
    fOMNode->accessOMNodeUnresolved_yielding(task, success, scope, unresolvedArgumentList, accessType, attr,
                                             node);
}

void OMAccessor::accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& unresolvedArgumentList,
                                                 AccessType accessType, uint64_t idx,
                                                 std::shared_ptr<IOMNode>& node)
{
    fOMNode->accessOMNodeUnresolved_yielding(task, success, scope, unresolvedArgumentList, accessType, idx,
                                             node);
}

bool OMAccessor::accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                              const NodeList& resolvedArgumentList, uint64_t idx,
                                              std::shared_ptr<IOMNode>& node) const
{
    return fOMNode->accessOMNodeReadOnlyResolved(scope, resolvedArgumentList, idx, node);
}

bool OMAccessor::accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                              const NodeList& resolvedArgumentList, const std::string& attr,
                                              std::shared_ptr<IOMNode>& node) const
{
    return fOMNode->accessOMNodeReadOnlyResolved(scope, resolvedArgumentList, attr, node);
}

void OMAccessor::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       const NodeList& resolvedArgumentList, uint64_t idx,
                                                       std::shared_ptr<IOMNode>& node) const
{
    fOMNode->accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, idx, node);
}

void OMAccessor::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       const NodeList& resolvedArgumentList,
                                                       const std::string& attr,
                                                       std::shared_ptr<IOMNode>& node) const
{
    fOMNode->accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, attr, node);
}

void OMAccessor::accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                         const std::shared_ptr<OMScope>& scope,
                                                         const NodeList& unresolvedArgumentList,
                                                         const std::string& attr,
                                                         std::shared_ptr<IOMNode>& node) const
{
    fOMNode->accessOMNodeReadOnlyUnresolved_yielding(task, success, scope, unresolvedArgumentList, attr,
                                                     node);
}

void OMAccessor::accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                         const std::shared_ptr<OMScope>& scope,
                                                         const NodeList& unresolvedArgumentList, uint64_t idx,
                                                         std::shared_ptr<IOMNode>& node) const
{
    fOMNode->accessOMNodeReadOnlyUnresolved_yielding(task, success, scope, unresolvedArgumentList, idx, node);
}

bool OMAccessor::atMapEnd(const OMMap::const_iterator& iter) const
{
    return fOMNode->atMapEnd(iter);
}

bool OMAccessor::atArrayEnd(const OMArray::const_iterator& iter) const
{
    return fOMNode->atArrayEnd(iter);
}

bool OMAccessor::clear()
{
    return fOMNode->clear();
}

std::shared_ptr<IOMNode> OMAccessor::clone(uint64_t cloneNestLevel) const
{
    return fOMNode->clone(cloneNestLevel);
}

bool OMAccessor::cmpOp_EQ(const IOMNode& other) const
{
    return fOMNode->cmpOp_EQ(other);
}

bool OMAccessor::cmpOp_GT(const IOMNode& other) const
{
    return fOMNode->cmpOp_GT(other);
}

bool OMAccessor::cmpOp_LT(const IOMNode& other) const
{
    return fOMNode->cmpOp_LT(other);
}

bool OMAccessor::cmpOp_NE(const IOMNode& other) const
{
    return fOMNode->cmpOp_NE(other);
}

bool OMAccessor::exists(uint64_t idx) const
{
    return fOMNode->exists(idx);
}

bool OMAccessor::exists(const std::string& attr) const
{
    return fOMNode->exists(attr);
}

bool OMAccessor::deleteOMNode(const std::string& attr)
{
    return fOMNode->deleteOMNode(attr);
}

bool OMAccessor::deleteOMNode(uint64_t idx)
{
    return fOMNode->deleteOMNode(idx);
}

void OMAccessor::eval_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                               const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue)
{
    fOMNode->eval_yielding(task, retVal, scope, handleReturnValue);
}

int64_t OMAccessor::getAsBits() const
{
    return fOMNode->getAsBits();
}

bool OMAccessor::getAsBool() const
{
    return fOMNode->getAsBool();
}

GUIDClass* OMAccessor::getAsGUID() const
{
    return fOMNode->getAsGUID();
}

std::string OMAccessor::getAsIdentifier() const
{
    return fOMNode->getAsIdentifier();
}

double OMAccessor::getAsNum() const
{
    return fOMNode->getAsNum();
}

std::string OMAccessor::getAsString() const
{
    return fOMNode->getAsString();
}

bool OMAccessor::getBool() const
{
    return fOMNode->getBool();
}

std::shared_ptr<IOMNode> OMAccessor::getDataStructureParent() const
{
    return fOMNode->getDataStructureParent();
}

uint64_t OMAccessor::getDataStructureIdx() const
{
    return fOMNode->getDataStructureIdx();
}

const std::string& OMAccessor::getDataStructureKey() const
{
    return fOMNode->getDataStructureKey();
}

int64_t OMAccessor::getDate() const
{
    return fOMNode->getDate();
}

double OMAccessor::getFloat() const
{
    return fOMNode->getFloat();
}

std::shared_ptr<OMExpression> OMAccessor::getExpression() const
{
    return fOMNode->getExpression();
}

std::string OMAccessor::getFunctionName() const
{
    return fOMNode->getFunctionName();
}

std::shared_ptr<FunctionSignature> OMAccessor::getFunctionSignature() const
{
    return fOMNode->getFunctionSignature();
}

GUIDClass* OMAccessor::getGUID() const
{
    return fOMNode->getGUID();
}

int64_t OMAccessor::getInt() const
{
    return fOMNode->getInt();
}

std::vector<std::string> OMAccessor::getMapKeys() const
{
    return fOMNode->getMapKeys();
}

std::shared_ptr<IOMNodeIterator> OMAccessor::getNodeIterator() const
{
    return fOMNode->getNodeIterator();
}

std::shared_ptr<IOMNode> OMAccessor::getOMNode(const std::string& attr) const
{
    return fOMNode->getOMNode(attr);
}

std::shared_ptr<IOMNode> OMAccessor::getOMNode(uint64_t idx) const
{
    return fOMNode->getOMNode(idx);
}

std::shared_ptr<OMStored> OMAccessor::getOMStoredPtr()
{
    return fOMNode->getOMStoredPtr();
}

std::string OMAccessor::getSelector() const
{
    return fOMNode->getSelector();
}

uint64_t OMAccessor::getSize() const
{
    return fOMNode->getSize();
}

const std::string& OMAccessor::getString() const
{
    return fOMNode->getString();
}

OMType OMAccessor::getType(const std::string& attr) const
{
    return fOMNode->getType(attr);
}

OMType OMAccessor::getType(uint64_t idx) const
{
    return fOMNode->getType(idx);
}

OMType OMAccessor::getType() const
{
    return fOMNode->getType();
}

uint64_t OMAccessor::hash() const
{
    return fOMNode->hash();
}

bool OMAccessor::getIsDataStructure() const
{
    return fOMNode->getIsDataStructure();
}

bool OMAccessor::isKeyword() const
{
    return fOMNode->isKeyword();
}

bool OMAccessor::isKeyword(Token token) const
{
    return fOMNode->isKeyword(token);
}

bool OMAccessor::isLValue() const
{
    return fOMNode->isLValue();
}

bool OMAccessor::isResolved(ScriptPhase scriptPhase) const
{
    return fOMNode->isResolved(scriptPhase);
}

bool OMAccessor::isScalar() const
{
    return fOMNode->isScalar();
}

bool OMAccessor::isReturnValue() const
{
    return fOMNode->isReturnValue();
}

std::shared_ptr<IOMNode> OMAccessor::pop()
{
    return fOMNode->pop();
}

bool OMAccessor::push(const std::shared_ptr<IOMNode>& node)
{
    return fOMNode->push(node);
}

std::shared_ptr<IOMNode> OMAccessor::set(const std::shared_ptr<IOMNode>& node)
{
    return fOMNode->set(node);
}

std::shared_ptr<IOMNode> OMAccessor::set(const IOMNode& node)
{
    return fOMNode->set(node);
}

bool OMAccessor::set(const std::shared_ptr<FunctionSignature>& functionSignature,
                     const std::shared_ptr<OMExpression>& expression)
{
    return fOMNode->set(functionSignature, expression);
}

bool OMAccessor::set(const std::shared_ptr<OMExpression>& expression)
{
    return fOMNode->set(expression);
}

bool OMAccessor::set(const std::shared_ptr<OMMap>& map)
{
    return fOMNode->set(map);
}

bool OMAccessor::set(const std::shared_ptr<OMArray>& array)
{
    return fOMNode->set(array);
}

bool OMAccessor::set(const char* value)
{
    return fOMNode->set(value);
}

bool OMAccessor::set(const std::string& value)
{
    return fOMNode->set(value);
}

bool OMAccessor::set(int64_t value)
{
    return fOMNode->set(value);
}

bool OMAccessor::set(double value)
{
    return fOMNode->set(value);
}

bool OMAccessor::set(bool value)
{
    return fOMNode->set(value);
}

std::shared_ptr<IOMNode> OMAccessor::setSync(uint64_t idx, const std::shared_ptr<IOMNode>& node)
{
    return fOMNode->setSync(idx, node);
}

std::shared_ptr<IOMNode> OMAccessor::setSync(const std::string& attr, const std::shared_ptr<IOMNode>& node)
{
    return fOMNode->setSync(attr, node);
}

std::shared_ptr<IOMNode> OMAccessor::setSyncToCloned(uint64_t idx, const std::shared_ptr<IOMNode>& node)
{
    return fOMNode->setSyncToCloned(idx, node);
}

std::shared_ptr<IOMNode> OMAccessor::setSyncToCloned(const std::string& attr,
                                                     const std::shared_ptr<IOMNode>& node)
{
    return fOMNode->setSyncToCloned(attr, node);
}

void OMAccessor::set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              uint64_t idx, const std::shared_ptr<IOMNode>& node)
{
    fOMNode->set_yielding(task, retVal, idx, node);
}

void OMAccessor::set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              const std::string& attr, const std::shared_ptr<IOMNode>& node)
{
    fOMNode->set_yielding(task, retVal, attr, node);
}

void OMAccessor::setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                                       std::shared_ptr<IOMNode>& node)
{
    fOMNode->setAndAccess_yielding(task, success, idx, node);
}

void OMAccessor::setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    fOMNode->setAndAccess_yielding(task, success, attr, node);
}

void OMAccessor::setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       std::shared_ptr<IOMNode>& node)
{
    fOMNode->setAndAccess_yielding(task, success, node);
}

bool OMAccessor::setDataStructureParent(const std::shared_ptr<IOMNode>& parent, const std::string& key)
{
    return fOMNode->setDataStructureParent(parent, key);
}

bool OMAccessor::setDate(int64_t date)
{
    return fOMNode->setDate(date);
}

bool OMAccessor::setEmptyArray()
{
    return fOMNode->setEmptyArray();
}

bool OMAccessor::setEmptyMap()
{
    return fOMNode->setEmptyMap();
}

bool OMAccessor::setError()
{
    return fOMNode->setError();
}

bool OMAccessor::setIsDataStructure(bool isDataStructure)
{
    return fOMNode->setIsDataStructure(isDataStructure);
}

bool OMAccessor::setNaN()
{
    return fOMNode->setNaN();
}

bool OMAccessor::setNull()
{
    return fOMNode->setNull();
}

bool OMAccessor::setNum(double value)
{
    return fOMNode->setNum(value);
}

bool OMAccessor::setTo(const IOMNode& from, uint64_t cloneNestLevel)
{
    return fOMNode->setTo(from, cloneNestLevel);
}

bool OMAccessor::setUndefined()
{
    return fOMNode->setUndefined();
}

std::shared_ptr<IOMNode> OMAccessor::unwrapReturnValue()
{
    return fOMNode->unwrapReturnValue();
}

std::shared_ptr<IOMNode> OMAccessor::wrapReturnValue()
{
    return fOMNode->wrapReturnValue();
}

}  // namespace Qfn
