#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/ParseType.h"
#include "QfnParser/model/Token.h"

namespace Qfn {

// The concrete value node: every literal, variable, element, member and payload is one.
// Scalars copy on assignment; arrays and maps share their container unless a clone is asked for.
class OMStored : public OMNode {
public:
    ~OMStored() override;

    static std::shared_ptr<OMStored> arrayFactory();
    static std::shared_ptr<OMStored> mapFactory();
    static std::shared_ptr<OMStored> nullFactory();
    static std::shared_ptr<OMStored> undefinedFactory();
    // Why the last text that did not parse on this thread failed ("syntax error", ...); writable,
    // so that a caller can start from a known reason.
    static std::string& lastParseError();
    static std::shared_ptr<OMStored> nanFactory();
    static std::shared_ptr<OMStored> errorFactory();
    static std::shared_ptr<OMStored> dateFactory(int64_t date);
    static std::shared_ptr<OMStored> cloneFactory(const IOMNode& from, uint64_t cloneNestLevel);
    static std::shared_ptr<OMStored> factory(const IOMNode& from);
    static std::shared_ptr<OMStored> factory(bool value);
    static std::shared_ptr<OMStored> factory(double value);
    static std::shared_ptr<OMStored> factory(int64_t value);
    static std::shared_ptr<OMStored> factory(int value) { return factory(static_cast<int64_t>(value)); }
    static std::shared_ptr<OMStored> factory(const std::shared_ptr<OMExpression>& expression);
    static std::shared_ptr<OMStored> factory(const std::shared_ptr<FunctionSignature>& functionSignature,
                                             const std::shared_ptr<OMExpression>& expression);
    static std::shared_ptr<OMStored> factory(const std::string& value);
    static std::shared_ptr<OMStored> factory(const char* value);
    static std::shared_ptr<OMStored> factory(const std::shared_ptr<OMArray>& array);
    static std::shared_ptr<OMStored> factory(const std::shared_ptr<OMMap>& map);
    static std::shared_ptr<OMStored> guidFactory(GUIDClass* guid);
    // The OMStored behind a node: the node itself when it is one, else a copy of its value.
    static std::shared_ptr<OMStored> rewrapFactory(IOMNode& node);
    static std::shared_ptr<const OMStored> rewrapFactory(const IOMNode& node);
    static int64_t getOMStoredCount() { return fOMStoredCount; }

    // The token table of the script language (OMStoredTokens.cpp).
    static bool initTokens();
    static Token strToToken(const std::string& text);
    static const std::string& tokenToStr(Token token);
    // True for the names of built-in functions and properties, false for keywords and constants.
    static bool isBuiltinFunctionToken(Token token);

    // The parser (OMStoredParser.cpp): the result of parsing is left in this node.
    void parseExpressionList_yielding(const std::shared_ptr<Task>& task, bool& success,
                                      const std::shared_ptr<InputStream>& stream);
    void parseExpression_yielding(const std::shared_ptr<Task>& task, bool& success,
                                  const std::shared_ptr<InputStream>& stream, uint64_t level,
                                  ParseType parseType);
    static void pushOperandOnStack_yielding(const std::shared_ptr<Task>& task, bool& success,
                                            std::shared_ptr<IOMNode>& operand, std::vector<UnOp>& unaryOps,
                                            std::vector<std::shared_ptr<IOMNode>>& operands);
    void parseNum_yielding(const std::shared_ptr<Task>& task, bool& success,
                           const std::shared_ptr<InputStream>& stream, int radix);
    bool parseNum(InputStream& stream, int radix);
    bool parseNum(const std::string& text, int radix);
    static void parseChars_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                    const std::shared_ptr<InputStream>& stream, const std::string& chars);
    static void parseKeyword_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                      const std::shared_ptr<InputStream>& stream, const std::string& keyword);
    // The read-eval-print loop over the task's input stream.
    static void parseAndEvalStream_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                            const std::shared_ptr<OMScope>& scope);
    // base to the power exponent by repeated squaring.
    static double pow(double base, int exponent);

    // Calls (OMStoredCalls.cpp).
    // The scope a call of this function runs its body in, with parameters and locals bound.
    std::shared_ptr<OMScope> makeCallScope(bool isMethod, const std::shared_ptr<IOMNode>& thisNode,
                                           NodeSpan arguments, const std::shared_ptr<OMScope>& scope,
                                           bool isAtOnce);
    // The error of a call one deeper than the task's limit.
    static void reportCallTooDeep();
    // A plain call inside an attempt of AtOnceCalls; false when the attempt must give up.
    bool callAtOnce(NodeSpan arguments, const std::shared_ptr<OMScope>& scope,
                    std::shared_ptr<IOMNode>& retVal);
    void callNodeAsFunction_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                     bool isMethod, const std::shared_ptr<IOMNode>& thisNode,
                                     const NodeList& arguments, const std::shared_ptr<OMScope>& scope);
    static void functionOperation_yielding(const std::shared_ptr<Task>& task,
                                           std::shared_ptr<IOMNode>& retVal, Token token, bool isMethod,
                                           const std::shared_ptr<IOMNode>& thisNode,
                                           const NodeList& arguments, const std::shared_ptr<OMScope>& scope);
    static void functionOperation_yielding(const std::shared_ptr<Task>& task,
                                           std::shared_ptr<IOMNode>& retVal, const std::string& name,
                                           bool isMethod, const std::shared_ptr<IOMNode>& thisNode,
                                           const NodeList& arguments, const std::shared_ptr<OMScope>& scope);
    void evalScript_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                             const std::shared_ptr<OMScope>& scope, const std::string& scriptFilePath,
                             HandleReturnValue handleReturnValue);

    // Member access.
    void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::shared_ptr<OMScope>& scope,
                                       const NodeList& resolvedArgumentList, AccessType accessType,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node) override;
    void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::shared_ptr<OMScope>& scope,
                                       const NodeList& resolvedArgumentList, AccessType accessType,
                                       uint64_t idx, std::shared_ptr<IOMNode>& node) override;
    void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, uint64_t idx,
                                               std::shared_ptr<IOMNode>& node) const override;
    void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, const std::string& attr,
                                               std::shared_ptr<IOMNode>& node) const override;
    // The same reads without a task: they never suspend.
    bool readMember(const std::string& attr, std::shared_ptr<IOMNode>& node) const;
    bool readElement(uint64_t idx, std::shared_ptr<IOMNode>& node) const;
    // A write access by name as the resumable form makes it: an index of an array, a member of a
    // map; a scalar has no members. Leaves in node what is stored under attr.
    bool accessForWrite(AccessType accessType, const std::string& attr, std::shared_ptr<IOMNode>& node);
    bool accessForWrite(AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node);
    // A read (GET) or a write access, by name or by index, as the resumable access makes it.
    bool accessAtOnce(AccessType accessType, const std::string& attr, std::shared_ptr<IOMNode>& node)
    {
        return accessType == AccessType::GET ? readMember(attr, node)
                                             : accessForWrite(accessType, attr, node);
    }
    bool accessAtOnce(AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node)
    {
        return accessType == AccessType::GET ? readElement(idx, node) : accessForWrite(accessType, idx, node);
    }
    // eval_yielding done at once for a scalar or an expression that can be; self is this node.
    bool evalAtOnce(const std::shared_ptr<IOMNode>& self, const std::shared_ptr<OMScope>& scope,
                    HandleReturnValue handleReturnValue, std::shared_ptr<IOMNode>& retVal);
    OMStored* asPlainStored() override { return this; }
    OMStored* asStored() override { return this; }
    const OMStored* asStored() const override { return this; }
    bool isReturnValue() const override;

    bool atMapEnd(const OMMap::const_iterator& iter) const override;
    bool atArrayEnd(const OMArray::const_iterator& iter) const override;
    std::shared_ptr<IOMNode> clone(uint64_t cloneNestLevel) const override;
    bool deleteOMNode(const std::string& attr) override;
    bool deleteOMNode(uint64_t idx) override;
    void eval_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                       const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue) override;

    bool getBool() const override;
    int64_t getDate() const override;
    double getFloat() const override;
    std::shared_ptr<OMExpression> getExpression() const override { return fExpression; }
    std::shared_ptr<FunctionSignature> getFunctionSignature() const override { return fFunctionSignature; }
    GUIDClass* getGUID() const override;
    int64_t getInt() const override;
    std::vector<std::string> getMapKeys() const override;
    std::shared_ptr<IOMNodeIterator> getNodeIterator() const override;
    std::shared_ptr<OMStored> getOMStoredPtr() override;
    uint64_t getSize() const override;
    const std::string& getString() const override;
    OMType getType() const override { return fType; }
    using OMNode::getType;
    bool push(const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> pop() override;

    using OMNode::set;
    bool set(const std::shared_ptr<FunctionSignature>& functionSignature,
             const std::shared_ptr<OMExpression>& expression) override;
    bool set(const std::shared_ptr<OMExpression>& expression) override;
    bool set(const std::shared_ptr<OMMap>& map) override;
    bool set(const std::shared_ptr<OMArray>& array) override;
    bool set(const char* value) override;
    bool set(const std::string& value) override;
    bool set(int64_t value) override;
    bool set(int value) { return set(static_cast<int64_t>(value)); }
    bool set(double value) override;
    bool set(bool value) override;
    bool setGUID(GUIDClass* guid);
    using OMNode::set_yielding;
    void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal, uint64_t idx,
                      const std::shared_ptr<IOMNode>& node) override;
    void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      const std::string& attr, const std::shared_ptr<IOMNode>& node) override;
    using OMNode::setAndAccess_yielding;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                               std::shared_ptr<IOMNode>& node) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, const std::string& attr,
                               std::shared_ptr<IOMNode>& node) override;
    bool setDate(int64_t date) override;
    bool setEmptyArray() override;
    bool setEmptyMap() override;
    bool setError() override;
    bool setIsDataStructure(bool isDataStructure) override;
    bool setNaN() override;
    bool setNull() override;
    bool setTo(const IOMNode& from, uint64_t cloneNestLevel) override;
    bool setUndefined() override;

    // Enters node under attr of this Map as it is: the binding of parameters and locals.
    bool bindMember(const std::string& attr, const std::shared_ptr<IOMNode>& node);

    int getPermission(const std::string& attr) const;
    bool setPermission(const std::string& attr, int mask);
    // A number with nothing else to it (no permissions, not part of a data structure): a copy
    // of it is a fresh node with its value.
    // A string with nothing else to it, which may grow in place.
    bool isPlainString() const
    {
        return fType == OMType::String && fPermissions.empty() && !fIsDataStructure;
    }
    // Appends to a string in place; its capacity grows geometrically.
    void appendString(const std::string& text) { fString += text; }
    bool isBareNumber() const
    {
        return (fType == OMType::Int || fType == OMType::Float) && fPermissions.empty() && !fIsDataStructure;
    }

    // True when storing value into a member of holder would put holder's container inside itself:
    // reference counting cannot free such a ring, and walking it never ends.
    static bool wouldMakeCycle(const IOMNode& holder, const IOMNode& value);
    // Whether storing value into node would make node a member of itself (node reached through a
    // reference is a member of value's structure).
    static bool wouldHoldItself(const IOMNode& node, const IOMNode& value);

    // Direct views of the containers, for iteration and for those who share them.
    const std::shared_ptr<OMArray>& getArray() const { return fArray; }
    const std::shared_ptr<OMMap>& getMap() const { return fMap; }

protected:
    OMStored();

private:
    static constexpr size_t kKeptReleaseCapacity = 4096;
    static constexpr uint32_t kRecursiveReleaseDepth = 256;
    // Lets go of the containers; the walk that keeps deep structures off the stack runs only when
    // there is a container.
    void releaseContainers() noexcept
    {
        if (fArray || fMap) [[unlikely]]
            releaseContainerMembers();
    }
    // Out of line and out of the way: every scalar's set passes the test above.
    [[gnu::noinline, gnu::cold]] void releaseContainerMembers() noexcept;
    static bool reaches(const IOMNode& value, const void* targetContainer, const IOMNode* targetNode);
    // A new node given its value by setter; null (and a log line) when the setter fails.
    template <class Setter>
    static std::shared_ptr<OMStored> makeNode(const Setter& setter);
    // Drops the previous content and tag.
    // Not inlined: the setters of every scalar result call it, and stay small that way.
    [[gnu::noinline]] void discardContent();
    // setTo for an array or map source: shares the container or copies it member by member.
    bool setToContainer(const IOMNode& from, uint64_t cloneNestLevel);
    // The write half of member access: permission, clone rule, store and parent bookkeeping.
    bool writeMember(AccessType accessType, const std::string& attr, std::shared_ptr<IOMNode>& node);
    bool writeElement(AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node);
    // The node as it may enter this container: a node from outside a data structure comes in as a copy.
    std::shared_ptr<IOMNode> admit(const std::shared_ptr<IOMNode>& node) const;
    // Appends Undefined elements until idx is a valid index, at most kMaxArrayGrowth of them.
    static constexpr uint64_t kMaxArrayGrowth = 1000000;
    bool fillUpTo(uint64_t idx);

    OMType fType = OMType::Undefined;
    union {
        bool fBool;
        int64_t fInt;
        double fFloat;
        int64_t fDate;
        GUIDClass* fGUID;
    } fUnion{};
    std::string fString;
    std::shared_ptr<OMArray> fArray;
    std::shared_ptr<OMMap> fMap;
    std::shared_ptr<OMExpression> fExpression;
    std::shared_ptr<FunctionSignature> fFunctionSignature;
    std::unordered_map<std::string, int> fPermissions;

    static int64_t fOMStoredCount;
};

}  // namespace Qfn
