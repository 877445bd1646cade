#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/model/Operators.h"

namespace Qfn {

class Task;
class GUIDClass;

// The interface of every value of the object model, held by shared pointer.
class IOMNode {
public:
    virtual ~IOMNode() = default;

    // Member access, synchronous and resumable, by attribute and by index.
    virtual bool accessOMNodeResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, AccessType accessType,
                                      const std::string& attr, std::shared_ptr<IOMNode>& node) = 0;
    virtual bool accessOMNodeResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, AccessType accessType,
                                      uint64_t idx, std::shared_ptr<IOMNode>& node) = 0;
    virtual void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, AccessType accessType,
                                               const std::string& attr, std::shared_ptr<IOMNode>& node) = 0;
    virtual void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, AccessType accessType,
                                               uint64_t idx, std::shared_ptr<IOMNode>& node) = 0;
    virtual void accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& unresolvedArgumentList,
                                                 AccessType accessType, const std::string& attr,
                                                 std::shared_ptr<IOMNode>& node) = 0;
    virtual void accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& unresolvedArgumentList,
                                                 AccessType accessType, uint64_t idx,
                                                 std::shared_ptr<IOMNode>& node) = 0;
    virtual bool accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                              const NodeList& resolvedArgumentList, uint64_t idx,
                                              std::shared_ptr<IOMNode>& node) const = 0;
    virtual bool accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                              const NodeList& resolvedArgumentList, const std::string& attr,
                                              std::shared_ptr<IOMNode>& node) const = 0;
    virtual void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       const NodeList& resolvedArgumentList, uint64_t idx,
                                                       std::shared_ptr<IOMNode>& node) const = 0;
    virtual void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       const NodeList& resolvedArgumentList,
                                                       const std::string& attr,
                                                       std::shared_ptr<IOMNode>& node) const = 0;
    virtual void accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                         const std::shared_ptr<OMScope>& scope,
                                                         const NodeList& unresolvedArgumentList,
                                                         const std::string& attr,
                                                         std::shared_ptr<IOMNode>& node) const = 0;
    virtual void accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                         const std::shared_ptr<OMScope>& scope,
                                                         const NodeList& unresolvedArgumentList, uint64_t idx,
                                                         std::shared_ptr<IOMNode>& node) const = 0;

    virtual bool atMapEnd(const OMMap::const_iterator& iter) const = 0;
    virtual bool atArrayEnd(const OMArray::const_iterator& iter) const = 0;
    virtual bool clear() = 0;
    virtual std::shared_ptr<IOMNode> clone(uint64_t cloneNestLevel) const = 0;
    virtual bool cmpOp_EQ(const IOMNode& other) const = 0;
    virtual bool cmpOp_GT(const IOMNode& other) const = 0;
    virtual bool cmpOp_LT(const IOMNode& other) const = 0;
    virtual bool cmpOp_NE(const IOMNode& other) const = 0;
    virtual bool exists(uint64_t idx) const = 0;
    virtual bool exists(const std::string& attr) const = 0;
    virtual bool deleteOMNode(const std::string& attr) = 0;
    virtual bool deleteOMNode(uint64_t idx) = 0;
    virtual void eval_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                               const std::shared_ptr<OMScope>& scope,
                               HandleReturnValue handleReturnValue) = 0;

    // Converting getters.
    virtual int64_t getAsBits() const = 0;
    virtual bool getAsBool() const = 0;
    virtual GUIDClass* getAsGUID() const = 0;
    virtual std::string getAsIdentifier() const = 0;
    virtual double getAsNum() const = 0;
    virtual std::string getAsString() const = 0;
    // Plain getters: the field when the type matches, else false, 0, 0.0 or "".
    virtual bool getBool() const = 0;
    virtual std::shared_ptr<IOMNode> getDataStructureParent() const = 0;
    virtual uint64_t getDataStructureIdx() const = 0;
    virtual const std::string& getDataStructureKey() const = 0;
    virtual int64_t getDate() const = 0;
    virtual double getFloat() const = 0;
    virtual std::shared_ptr<OMExpression> getExpression() const = 0;
    virtual std::string getFunctionName() const = 0;
    virtual std::shared_ptr<FunctionSignature> getFunctionSignature() const = 0;
    virtual GUIDClass* getGUID() const = 0;
    virtual int64_t getInt() const = 0;
    virtual std::vector<std::string> getMapKeys() const = 0;
    virtual std::shared_ptr<IOMNodeIterator> getNodeIterator() const = 0;
    virtual std::shared_ptr<IOMNode> getOMNode(const std::string& attr) const = 0;
    virtual std::shared_ptr<IOMNode> getOMNode(uint64_t idx) const = 0;
    virtual std::shared_ptr<OMStored> getOMStoredPtr() = 0;
    virtual std::string getSelector() const = 0;
    virtual uint64_t getSize() const = 0;
    virtual const std::string& getString() const = 0;
    virtual OMType getType(const std::string& attr) const = 0;
    virtual OMType getType(uint64_t idx) const = 0;
    virtual OMType getType() const = 0;
    virtual uint64_t hash() const = 0;
    virtual bool getIsDataStructure() const = 0;
    virtual bool isKeyword() const = 0;
    virtual bool isKeyword(Token token) const = 0;
    virtual bool isLValue() const = 0;
    virtual bool isResolved(ScriptPhase scriptPhase) const = 0;
    virtual bool isScalar() const = 0;
    virtual bool isReturnValue() const = 0;
    virtual std::shared_ptr<IOMNode> pop() = 0;
    virtual bool push(const std::shared_ptr<IOMNode>& node) = 0;

    // Setters: each discards the previous content and tag.
    virtual std::shared_ptr<IOMNode> set(const std::shared_ptr<IOMNode>& node) = 0;
    virtual std::shared_ptr<IOMNode> set(const IOMNode& node) = 0;
    virtual bool set(const std::shared_ptr<FunctionSignature>& functionSignature,
                     const std::shared_ptr<OMExpression>& expression) = 0;
    virtual bool set(const std::shared_ptr<OMExpression>& expression) = 0;
    virtual bool set(const std::shared_ptr<OMMap>& map) = 0;
    virtual bool set(const std::shared_ptr<OMArray>& array) = 0;
    virtual bool set(const char* value) = 0;
    virtual bool set(const std::string& value) = 0;
    virtual bool set(int64_t value) = 0;
    virtual bool set(double value) = 0;
    virtual bool set(bool value) = 0;
    virtual std::shared_ptr<IOMNode> setSync(uint64_t idx, const std::shared_ptr<IOMNode>& node) = 0;
    virtual std::shared_ptr<IOMNode> setSync(const std::string& attr,
                                             const std::shared_ptr<IOMNode>& node) = 0;
    virtual std::shared_ptr<IOMNode> setSyncToCloned(uint64_t idx, const std::shared_ptr<IOMNode>& node) = 0;
    virtual std::shared_ptr<IOMNode> setSyncToCloned(const std::string& attr,
                                                     const std::shared_ptr<IOMNode>& node) = 0;
    virtual void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              uint64_t idx, const std::shared_ptr<IOMNode>& node) = 0;
    virtual void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              const std::string& attr, const std::shared_ptr<IOMNode>& node) = 0;
    virtual void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                                       std::shared_ptr<IOMNode>& node) = 0;
    virtual void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node) = 0;
    virtual void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       std::shared_ptr<IOMNode>& node) = 0;
    virtual bool setDataStructureParent(const std::shared_ptr<IOMNode>& parent, const std::string& key) = 0;
    virtual bool setDate(int64_t date) = 0;
    virtual bool setEmptyArray() = 0;
    virtual bool setEmptyMap() = 0;
    virtual bool setError() = 0;
    virtual bool setIsDataStructure(bool isDataStructure) = 0;
    virtual bool setNaN() = 0;
    virtual bool setNull() = 0;
    virtual bool setNum(double value) = 0;
    virtual bool setTo(const IOMNode& from, uint64_t cloneNestLevel) = 0;
    virtual bool setUndefined() = 0;
    virtual std::string toString() const = 0;
    virtual std::shared_ptr<IOMNode> unwrapReturnValue() = 0;
    virtual std::shared_ptr<IOMNode> wrapReturnValue() = 0;

    // The node's OMNode side, if it has one: lets the operators reach their implementations
    // without a cross cast on every operation.
    virtual OMNode* asOMNode() { return nullptr; }
    // The node when it is a plain stored value, whose member access and evaluation never suspend.
    virtual OMStored* asPlainStored() { return nullptr; }
    // The node's OMStored side (a scope has one too), found without a cross cast.
    virtual OMStored* asStored() { return nullptr; }
    virtual const OMStored* asStored() const { return nullptr; }
    virtual const OMNode* asOMNode() const { return nullptr; }
};

// A walk over the members of an array or a map; the node walked stays alive while it runs.
class IOMNodeIterator {
public:
    virtual ~IOMNodeIterator() = default;
    virtual bool atEnd() const = 0;
    virtual uint64_t getIdx() const = 0;
    virtual std::string getKey() const = 0;
    virtual void operator++(int) = 0;
    virtual std::shared_ptr<IOMNode> operator*() const = 0;
};

}  // namespace Qfn
