#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnParser/model/IOMNode.h"

namespace Qfn {

class MatchNode;

// The handle through which OM trees are read and written: typed getters and setters by key or
// index, and path queries compiled into a chain of MatchNode segments on every call. It forwards
// the node interface to the node it holds, so an accessor can stand wherever a node is expected.
class OMAccessor : public IOMNode {
public:
    // An accessor never holds nothing: without a node it starts on a new Undefined.
    OMAccessor();
    explicit OMAccessor(std::shared_ptr<IOMNode> node, std::shared_ptr<OMScope> accessorScope = nullptr);
    OMAccessor(const OMAccessor&) = default;
    OMAccessor& operator=(const OMAccessor&) = default;
    ~OMAccessor() override = default;

    // Accessors compare by the value of their trees.
    bool operator==(const OMAccessor& other) const;

    // Points the accessor at another node (a new Undefined for null).
    bool setOMNode(const std::shared_ptr<IOMNode>& node);
    const std::shared_ptr<IOMNode>& getOMNode() const { return fOMNode; }
    using IOMNode::getOMNode;
    void setAccessorScope(const std::shared_ptr<OMScope>& accessorScope) { fAccessorScope = accessorScope; }
    const std::shared_ptr<OMScope>& getAccessorScope() const { return fAccessorScope; }

    // Typed members by plain key or index (a key is one attribute name, never a path). A missing
    // member reads as the neutral value: Undefined, 0, 0.0, false, "".
    using IOMNode::set;
    bool set(int value) { return set(static_cast<int64_t>(value)); }
    bool set(const std::string& key, const std::shared_ptr<IOMNode>& value);
    bool set(const std::string& key, bool value);
    bool set(const std::string& key, int64_t value);
    bool set(const std::string& key, int value) { return set(key, static_cast<int64_t>(value)); }
    bool set(const std::string& key, double value);
    bool set(const std::string& key, const std::string& value);
    bool set(const std::string& key, const char* value);
    bool set(uint64_t idx, const std::shared_ptr<IOMNode>& value);
    bool set(uint64_t idx, bool value);
    bool set(uint64_t idx, int64_t value);
    bool set(uint64_t idx, int value) { return set(idx, static_cast<int64_t>(value)); }
    bool set(uint64_t idx, double value);
    bool set(uint64_t idx, const std::string& value);
    bool set(uint64_t idx, const char* value);

    using IOMNode::getSize;
    uint64_t getSize(const std::string& key) const;
    uint64_t getSize(uint64_t idx) const;
    using IOMNode::getBool;
    bool getBool(const std::string& key) const;
    bool getBool(uint64_t idx) const;
    using IOMNode::getInt;
    int64_t getInt(const std::string& key) const;
    int64_t getInt(uint64_t idx) const;
    using IOMNode::getFloat;
    double getFloat(const std::string& key) const;
    double getFloat(uint64_t idx) const;
    using IOMNode::getString;
    std::string getString(const std::string& key) const;
    std::string getString(uint64_t idx) const;
    using IOMNode::getDate;
    int64_t getDate(const std::string& key) const;
    int64_t getDate(uint64_t idx) const;
    using IOMNode::getAsBits;
    int64_t getAsBits(const std::string& key) const;
    int64_t getAsBits(uint64_t idx) const;
    using IOMNode::getAsBool;
    bool getAsBool(const std::string& key) const;
    bool getAsBool(uint64_t idx) const;
    using IOMNode::getAsGUID;
    GUIDClass* getAsGUID(const std::string& key) const;
    GUIDClass* getAsGUID(uint64_t idx) const;
    using IOMNode::getAsNum;
    double getAsNum(const std::string& key) const;
    double getAsNum(uint64_t idx) const;
    using IOMNode::getAsString;
    std::string getAsString(const std::string& key) const;
    std::string getAsString(uint64_t idx) const;

    using IOMNode::setEmptyArray;
    bool setEmptyArray(const std::string& key);
    bool setEmptyArray(uint64_t idx);
    using IOMNode::setEmptyMap;
    bool setEmptyMap(const std::string& key);
    bool setEmptyMap(uint64_t idx);
    using IOMNode::setError;
    bool setError(const std::string& key);
    bool setError(uint64_t idx);
    using IOMNode::setNaN;
    bool setNaN(const std::string& key);
    bool setNaN(uint64_t idx);
    using IOMNode::setNull;
    bool setNull(const std::string& key);
    bool setNull(uint64_t idx);
    using IOMNode::setUndefined;
    bool setUndefined(const std::string& key);
    bool setUndefined(uint64_t idx);

    // Path queries. `node` is the value to write on entry (a new Undefined when empty) and the
    // result on return: one node, an Array of the matches, or empty when nothing matched.
    void accessOMNode_yielding(const std::shared_ptr<Task>& task, bool& success, AccessType accessType,
                               const std::string& path, std::shared_ptr<IOMNode>& node,
                               ReferenceType referenceType);
    void accessOMNodeReadOnly_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::string& path, std::shared_ptr<IOMNode>& node,
                                       ReferenceType referenceType) const;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      const std::string& path, ReferenceType referenceType) const;
    void set_yielding(const std::shared_ptr<Task>& task, bool& success, const std::string& path,
                      std::shared_ptr<IOMNode>& node);
    // One step by attribute or index, handed to the node's own member access.
    void accessOMNode_yielding(const std::shared_ptr<Task>& task, bool& success, AccessType accessType,
                               const std::string& attr, std::shared_ptr<IOMNode>& node);
    void accessOMNode_yielding(const std::shared_ptr<Task>& task, bool& success, AccessType accessType,
                               uint64_t idx, std::shared_ptr<IOMNode>& node);
    void accessOMNodeReadOnly_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node) const;
    void accessOMNodeReadOnly_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                                       std::shared_ptr<IOMNode>& node) const;

    // The same queries run to completion on a task of their own.
    bool accessOMNode(AccessType accessType, const std::string& path, std::shared_ptr<IOMNode>& node,
                      ReferenceType referenceType);
    bool accessOMNodeReadOnly(const std::string& path, std::shared_ptr<IOMNode>& node,
                              ReferenceType referenceType) const;
    std::shared_ptr<IOMNode> get(const std::string& path, ReferenceType referenceType) const;
    bool setPath(const std::string& path, std::shared_ptr<IOMNode>& node);

    // The compiled chain of a path; null (and a log line) when it does not compile.
    static std::shared_ptr<MatchNode> parseReference(const std::string& path);
    // The segments of a path, escapes kept; false past the segment limit.
    static bool parseReferenceSegments(const std::string& path, std::vector<std::string>& segments);
    // The reference text from segment `position` on, joined by '/'.
    static std::string parseReference(const std::string& path, size_t position);
    // The level bounds and the expression of a pattern segment.
    static bool extractRegExpStr(const std::string& segment, size_t& minLevel, size_t& maxLevel,
                                 std::string& regExpStr);

    // The compact wire text and the near form of the held value.
    std::string stringify() const;
    std::string toString() const override;
    static std::string stringify(const IOMNode& node);
    static std::string toString(const IOMNode& node);
    // The typeof text of the held value.
    std::string typeOf() const;

    OMNode* asOMNode() override { return fOMNode->asOMNode(); }

    // IOMNode, forwarded to the held node.
    bool accessOMNodeResolved(const std::shared_ptr<OMScope>& scope, const NodeList& resolvedArgumentList,
                              AccessType accessType, const std::string& attr,
                              std::shared_ptr<IOMNode>& node) override;
    bool accessOMNodeResolved(const std::shared_ptr<OMScope>& scope, const NodeList& resolvedArgumentList,
                              AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node) override;
    void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::shared_ptr<OMScope>& scope,
                                       const NodeList& resolvedArgumentList, AccessType accessType,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node) override;
    void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::shared_ptr<OMScope>& scope,
                                       const NodeList& resolvedArgumentList, AccessType accessType,
                                       uint64_t idx, std::shared_ptr<IOMNode>& node) override;
    void accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                         const std::shared_ptr<OMScope>& scope,
                                         const NodeList& unresolvedArgumentList, AccessType accessType,
                                         const std::string& attr, std::shared_ptr<IOMNode>& node) override;
    void accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                         const std::shared_ptr<OMScope>& scope,
                                         const NodeList& unresolvedArgumentList, AccessType accessType,
                                         uint64_t idx, std::shared_ptr<IOMNode>& node) override;
    bool accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, uint64_t idx,
                                      std::shared_ptr<IOMNode>& node) const override;
    bool accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, const std::string& attr,
                                      std::shared_ptr<IOMNode>& node) const override;
    void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, uint64_t idx,
                                               std::shared_ptr<IOMNode>& node) const override;
    void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, const std::string& attr,
                                               std::shared_ptr<IOMNode>& node) const override;
    void accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& unresolvedArgumentList,
                                                 const std::string& attr,
                                                 std::shared_ptr<IOMNode>& node) const override;
    void accessOMNodeReadOnlyUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& unresolvedArgumentList, uint64_t idx,
                                                 std::shared_ptr<IOMNode>& node) const override;
    bool atMapEnd(const OMMap::const_iterator& iter) const override;
    bool atArrayEnd(const OMArray::const_iterator& iter) const override;
    bool clear() override;
    std::shared_ptr<IOMNode> clone(uint64_t cloneNestLevel) const override;
    bool cmpOp_EQ(const IOMNode& other) const override;
    bool cmpOp_GT(const IOMNode& other) const override;
    bool cmpOp_LT(const IOMNode& other) const override;
    bool cmpOp_NE(const IOMNode& other) const override;
    bool exists(uint64_t idx) const override;
    bool exists(const std::string& attr) const override;
    bool deleteOMNode(const std::string& attr) override;
    bool deleteOMNode(uint64_t idx) override;
    void eval_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                       const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue) override;
    int64_t getAsBits() const override;
    bool getAsBool() const override;
    GUIDClass* getAsGUID() const override;
    std::string getAsIdentifier() const override;
    double getAsNum() const override;
    std::string getAsString() const override;
    bool getBool() const override;
    std::shared_ptr<IOMNode> getDataStructureParent() const override;
    uint64_t getDataStructureIdx() const override;
    const std::string& getDataStructureKey() const override;
    int64_t getDate() const override;
    double getFloat() const override;
    std::shared_ptr<OMExpression> getExpression() const override;
    std::string getFunctionName() const override;
    std::shared_ptr<FunctionSignature> getFunctionSignature() const override;
    GUIDClass* getGUID() const override;
    int64_t getInt() const override;
    std::vector<std::string> getMapKeys() const override;
    std::shared_ptr<IOMNodeIterator> getNodeIterator() const override;
    std::shared_ptr<IOMNode> getOMNode(const std::string& attr) const override;
    std::shared_ptr<IOMNode> getOMNode(uint64_t idx) const override;
    std::shared_ptr<OMStored> getOMStoredPtr() override;
    std::string getSelector() const override;
    uint64_t getSize() const override;
    const std::string& getString() const override;
    OMType getType(const std::string& attr) const override;
    OMType getType(uint64_t idx) const override;
    OMType getType() const override;
    uint64_t hash() const override;
    bool getIsDataStructure() const override;
    bool isKeyword() const override;
    bool isKeyword(Token token) const override;
    bool isLValue() const override;
    bool isResolved(ScriptPhase scriptPhase) const override;
    bool isScalar() const override;
    bool isReturnValue() const override;
    std::shared_ptr<IOMNode> pop() override;
    bool push(const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> set(const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> set(const IOMNode& node) override;
    bool set(const std::shared_ptr<FunctionSignature>& functionSignature,
             const std::shared_ptr<OMExpression>& expression) override;
    bool set(const std::shared_ptr<OMExpression>& expression) override;
    bool set(const std::shared_ptr<OMMap>& map) override;
    bool set(const std::shared_ptr<OMArray>& array) override;
    bool set(const char* value) override;
    bool set(const std::string& value) override;
    bool set(int64_t value) override;
    bool set(double value) override;
    bool set(bool value) override;
    std::shared_ptr<IOMNode> setSync(uint64_t idx, const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> setSync(const std::string& attr, const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> setSyncToCloned(uint64_t idx, const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> setSyncToCloned(const std::string& attr,
                                             const std::shared_ptr<IOMNode>& node) override;
    void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal, uint64_t idx,
                      const std::shared_ptr<IOMNode>& node) override;
    void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      const std::string& attr, const std::shared_ptr<IOMNode>& node) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                               std::shared_ptr<IOMNode>& node) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, const std::string& attr,
                               std::shared_ptr<IOMNode>& node) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                               std::shared_ptr<IOMNode>& node) override;
    bool setDataStructureParent(const std::shared_ptr<IOMNode>& parent, const std::string& key) override;
    bool setDate(int64_t date) override;
    bool setEmptyArray() override;
    bool setEmptyMap() override;
    bool setError() override;
    bool setIsDataStructure(bool isDataStructure) override;
    bool setNaN() override;
    bool setNull() override;
    bool setNum(double value) override;
    bool setTo(const IOMNode& from, uint64_t cloneNestLevel) override;
    bool setUndefined() override;
    std::shared_ptr<IOMNode> unwrapReturnValue() override;
    std::shared_ptr<IOMNode> wrapReturnValue() override;

private:
    // The query itself, on a root that exists; writes only when accessType says so.
    void query_yielding(const std::shared_ptr<Task>& task, bool& success, AccessType accessType,
                        const std::string& path, std::shared_ptr<IOMNode>& node,
                        ReferenceType referenceType) const;
    // The member by key or index, null when missing.
    std::shared_ptr<IOMNode> member(const std::string& key) const;
    std::shared_ptr<IOMNode> member(uint64_t idx) const;
    // The member by key or index, made when missing (and the held node made a map or array).
    std::shared_ptr<IOMNode> createMember(const std::string& key);
    std::shared_ptr<IOMNode> createMember(uint64_t idx);

    std::shared_ptr<IOMNode> fOMNode;
    std::shared_ptr<OMScope> fAccessorScope;
};

}  // namespace Qfn
