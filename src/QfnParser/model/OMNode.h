#pragma once

#include <memory>
#include <string>

#include "QfnParser/model/IOMNode.h"

namespace Qfn {

// The operator implementations; each writes its result into `result` and is false only on an
// internal failure that has been logged.
class IOMNodeOperations {
public:
    virtual ~IOMNodeOperations() = default;
    virtual bool binop_add(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_bit_and(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_bit_or(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_bit_xor(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_bool_and(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_bool_or(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_divide(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_identical(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_ne(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_not_identical(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_eq(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_gt(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_ge(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_lt(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_compare_le(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_index(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_multiply(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool binop_subtract(const std::shared_ptr<IOMNode>& result, IOMNode& other) = 0;
    virtual bool unop_bit_not(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_bool_not(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_negative(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_positive(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_post_decrement(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_post_increment(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_pre_decrement(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_pre_increment(const std::shared_ptr<OMStored>& result) = 0;
    virtual bool unop_typeof(const std::shared_ptr<OMStored>& result) = 0;
};

// Everything a value node can do through the interface alone: conversions, printing, hashing, the
// operators, the tree discipline of data structures, and default member access. OMStored holds
// the values; OMFileSystem views a folder tree.
class OMNode : public IOMNode, public IOMNodeOperations, public std::enable_shared_from_this<OMNode> {
public:
    ~OMNode() override = default;

    // The overloads declared here would otherwise hide the interface's others.
    using IOMNode::getType;
    using IOMNode::set;
    using IOMNode::setAndAccess_yielding;

    // Operators.
    static std::shared_ptr<IOMNode> binaryOperation(BinOp binOp, const IOMNode& node1, const IOMNode& node2);
    static std::shared_ptr<IOMNode> binaryOperation(BinOp binOp, IOMNode& node1, NodeReuse nodeReuse1,
                                                    IOMNode& node2, NodeReuse nodeReuse2);
    static std::shared_ptr<IOMNode> binaryOperation(BinOp binOp, const std::shared_ptr<IOMNode>& node1,
                                                    NodeReuse nodeReuse1,
                                                    const std::shared_ptr<IOMNode>& node2,
                                                    NodeReuse nodeReuse2,
                                                    const std::shared_ptr<OMScope>& scope);
    static std::shared_ptr<IOMNode> unaryOperation(UnOp unOp, const IOMNode& node);
    static std::shared_ptr<IOMNode> unaryOperation(UnOp unOp, IOMNode& node, NodeReuse nodeReuse);
    static std::shared_ptr<IOMNode> unaryOperation(UnOp unOp, const std::shared_ptr<IOMNode>& node,
                                                   const std::shared_ptr<OMScope>& scope,
                                                   NodeReuse nodeReuse);
    static std::shared_ptr<IOMNode> ternaryOperation(TernOp ternOp, const std::shared_ptr<IOMNode>& node1,
                                                     const std::shared_ptr<IOMNode>& node2,
                                                     const std::shared_ptr<IOMNode>& node3,
                                                     const std::shared_ptr<OMScope>& scope);
    // REUSE for a temporary that nobody else holds and that is no member of a data structure.
    static NodeReuse reuseOf(const std::shared_ptr<IOMNode>& node)
    {
        OMNode* omNode = node ? node->asOMNode() : nullptr;
        return node.use_count() == 1 && omNode && !omNode->hasDataStructureParent() ? NodeReuse::REUSE
                                                                                    : NodeReuse::NO_REUSE;
    }
    // The text `typeof` gives for a type.
    static const char* typeOfText(OMType type);

    // What the parser calls for each operation it reads: the expression is built and, when it needs
    // no run-time context, computed at once, so that constants fold while parsing.
    static void registerBinaryOperation_yielding(const std::shared_ptr<Task>& task,
                                                 std::shared_ptr<IOMNode>& retVal, BinOp binOp,
                                                 const std::shared_ptr<IOMNode>& node1,
                                                 const std::shared_ptr<IOMNode>& node2);
    static void registerUnaryOperation_yielding(const std::shared_ptr<Task>& task,
                                                std::shared_ptr<IOMNode>& retVal, UnOp unOp,
                                                const std::shared_ptr<IOMNode>& node);
    static void registerTernaryOperation_yielding(const std::shared_ptr<Task>& task,
                                                  std::shared_ptr<IOMNode>& retVal, TernOp ternOp,
                                                  const std::shared_ptr<IOMNode>& node1,
                                                  const std::shared_ptr<IOMNode>& node2,
                                                  const std::shared_ptr<IOMNode>& node3);
    static void registerKeywordOperation_yielding(const std::shared_ptr<Task>& task,
                                                  std::shared_ptr<IOMNode>& retVal, Token token);
    // `var name`: a keyword expression that marks the name local to its function.
    static void registerVarOperation_yielding(const std::shared_ptr<Task>& task,
                                              std::shared_ptr<IOMNode>& retVal, const std::string& name);

    // Turns a node of a parsed tree into a value: containers member by member, expressions evaluated.
    static void getResolvedNode_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                         AccessType accessType, const std::shared_ptr<IOMNode>& node,
                                         const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                                         HandleReturnValue handleReturnValue);
    // The same done at once for what cannot suspend: scalars, and expressions of names, members,
    // operators and assignments. False, having done nothing, sends the caller the resumable way.
    static bool getResolvedNodeAtOnce(const std::shared_ptr<IOMNode>& node,
                                      const std::shared_ptr<OMScope>& scope,
                                      HandleReturnValue handleReturnValue, std::shared_ptr<IOMNode>& retVal);
    // Whether a node of a parsed tree is one getResolvedNodeAtOnce takes.
    static bool isResolvableAtOnce(const std::shared_ptr<IOMNode>& node, AtOnceMode mode);
    static bool isEachResolvableAtOnce(const NodeList& nodes, AtOnceMode mode);
    // On by default; off, every evaluation takes the resumable way (to compare the two).
    static void setAtOnceEnabled(bool enabled) { fAtOnceEnabled = enabled; }
    static bool isAtOnceEnabled() { return fAtOnceEnabled; }
    static void resolveArgumentList_yielding(const std::shared_ptr<Task>& task, NodeList& resolvedList,
                                             AccessType accessType, const NodeList& unresolvedList,
                                             bool& isResolved, const std::shared_ptr<OMScope>& scope,
                                             ScriptPhase scriptPhase);

    // IOMNode: member access. Reads hand over to the read-only forms; writes fail unless overridden.
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

    std::shared_ptr<IOMNode> clone(uint64_t cloneNestLevel) const override;
    bool clear() override;
    bool cmpOp_EQ(const IOMNode& other) const override;
    bool cmpOp_GT(const IOMNode& other) const override;
    bool cmpOp_LT(const IOMNode& other) const override;
    bool cmpOp_NE(const IOMNode& other) const override;
    bool exists(uint64_t idx) const override;
    bool exists(const std::string& attr) const override;

    int64_t getAsBits() const override;
    bool getAsBool() const override;
    GUIDClass* getAsGUID() const override;
    std::string getAsIdentifier() const override;
    double getAsNum() const override;
    std::string getAsString() const override;
    std::shared_ptr<IOMNode> getDataStructureParent() const override { return fDataStructureParent.lock(); }
    bool hasDataStructureParent() const { return !fDataStructureParent.expired(); }
    OMNode* asOMNode() override { return this; }
    const OMNode* asOMNode() const override { return this; }
    uint64_t getDataStructureIdx() const override;
    const std::string& getDataStructureKey() const override { return fDataStructureKey; }
    std::string getFunctionName() const override;
    std::shared_ptr<IOMNode> getOMNode(const std::string& attr) const override;
    std::shared_ptr<IOMNode> getOMNode(uint64_t idx) const override;
    std::string getSelector() const override;
    OMType getType(const std::string& attr) const override;
    OMType getType(uint64_t idx) const override;
    uint64_t hash() const override;
    bool getIsDataStructure() const override { return fIsDataStructure; }
    bool isKeyword() const override;
    bool isKeyword(Token token) const override;
    bool isLValue() const override;
    bool isResolved(ScriptPhase scriptPhase) const override;
    bool isScalar() const override;
    bool isReturnValue() const override;
    std::shared_ptr<IOMNode> pop() override;
    bool setDataStructureParent(const std::shared_ptr<IOMNode>& parent, const std::string& key) override;
    bool setIsDataStructure(bool isDataStructure) override;
    bool setNum(double value) override;
    std::string toString() const override;
    std::shared_ptr<IOMNode> unwrapReturnValue() override;
    std::shared_ptr<IOMNode> wrapReturnValue() override;

    std::shared_ptr<IOMNode> set(const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> set(const IOMNode& node) override;
    std::shared_ptr<IOMNode> setSync(uint64_t idx, const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> setSync(const std::string& attr, const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> setSyncToCloned(uint64_t idx, const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> setSyncToCloned(const std::string& attr,
                                             const std::shared_ptr<IOMNode>& node) override;
    void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal, uint64_t idx,
                      const std::shared_ptr<IOMNode>& node) override;
    void set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      const std::string& attr, const std::shared_ptr<IOMNode>& node) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success,
                               std::shared_ptr<IOMNode>& node) override;

    // IOMNodeOperations.
    bool binop_add(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_bit_and(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_bit_or(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_bit_xor(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_bool_and(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_bool_or(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_divide(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_identical(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_ne(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_not_identical(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_eq(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_gt(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_ge(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_lt(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_compare_le(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_index(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_multiply(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool binop_subtract(const std::shared_ptr<IOMNode>& result, IOMNode& other) override;
    bool unop_bit_not(const std::shared_ptr<OMStored>& result) override;
    bool unop_bool_not(const std::shared_ptr<OMStored>& result) override;
    bool unop_negative(const std::shared_ptr<OMStored>& result) override;
    bool unop_positive(const std::shared_ptr<OMStored>& result) override;
    bool unop_post_decrement(const std::shared_ptr<OMStored>& result) override;
    bool unop_post_increment(const std::shared_ptr<OMStored>& result) override;
    bool unop_pre_decrement(const std::shared_ptr<OMStored>& result) override;
    bool unop_pre_increment(const std::shared_ptr<OMStored>& result) override;
    bool unop_typeof(const std::shared_ptr<OMStored>& result) override;

protected:
    OMNode() = default;

    bool fIsDataStructure = false;
    std::string fDataStructureKey;
    std::weak_ptr<IOMNode> fDataStructureParent;

private:
    static std::shared_ptr<IOMNode> binaryOperationOn(BinOp binOp, IOMNode& node1, NodeReuse nodeReuse1,
                                                      const std::shared_ptr<IOMNode>* sharedNode1,
                                                      IOMNode& node2, NodeReuse nodeReuse2,
                                                      const std::shared_ptr<IOMNode>* sharedNode2);

    static inline bool fAtOnceEnabled = true;
};

}  // namespace Qfn
