#pragma once

#include <memory>
#include <vector>

#include "QfnParser/expressions/OMExpression.h"

namespace Qfn {

struct OMExpressionSequenceResolution {
    uint64_t fIdx = 0;
    std::shared_ptr<IOMNode> fResult;

    void clear() { *this = OMExpressionSequenceResolution(); }
};

// A flat chain of one left-associative operator (`;`, `,`, `+`): a long script stays one level
// deep instead of nesting a binary node per statement.
class OMExpressionSequence : public OMExpression {
public:
    static std::shared_ptr<OMExpressionSequence> factory(BinOp binOp);

    bool appendNode(const std::shared_ptr<IOMNode>& node);
    std::shared_ptr<IOMNode> getNode(uint64_t idx) const;
    uint64_t getNodeCount() const { return fNodeSequence->size(); }
    BinOp getBinOp() const { return fBinOp; }
    // Statements separated by `;` or `,`: a `return` or `break` ends the list.
    bool isStatementList() const { return fBinOp == BinOp::SEMICOLON || fBinOp == BinOp::COMMA; }

    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                      ScriptPhase scriptPhase) override;
    void set_yielding(const std::shared_ptr<Task>& task, bool& retVal, std::shared_ptr<IOMNode>& value,
                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase) override;
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const OMExpression& other) const override;
    bool operator<(const OMExpression& other) const override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;
    // A single element stands for itself.
    int getBindingLevel() const override;
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;

protected:
    bool computeAtOnce(AtOnceMode mode) const override;

private:
    explicit OMExpressionSequence(BinOp binOp)
        : fBinOp(binOp), fNodeSequence(std::make_shared<std::vector<std::shared_ptr<IOMNode>>>())
    {
    }

    BinOp fBinOp;
    std::shared_ptr<std::vector<std::shared_ptr<IOMNode>>> fNodeSequence;
};

}  // namespace Qfn
