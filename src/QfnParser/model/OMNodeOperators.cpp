// The unary, binary and ternary operators of the object model and their type rules.
#include <cmath>
#include <limits>
#include <string>

#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnUtils/DeepWalk.h"

namespace Qfn {

namespace {

bool isErrorOrNaN(OMType type)
{
    return type == OMType::Error || type == OMType::NaN;
}
bool isUndefinedOrNull(OMType type)
{
    return type == OMType::Undefined || type == OMType::Null;
}
bool isNumber(OMType type)
{
    return type == OMType::Int || type == OMType::Float;
}

// The node itself, as a shared pointer, when an operator may write its result into it.
// An operand may hold the result when the caller allows it and no data structure owns it.
bool isReusable(IOMNode& node, NodeReuse nodeReuse)
{
    if (nodeReuse != NodeReuse::REUSE) return false;
    OMNode* omNode = node.asOMNode();
    return omNode && !omNode->hasDataStructureParent();
}

std::shared_ptr<IOMNode> reusableNode(IOMNode& node, NodeReuse nodeReuse)
{
    if (nodeReuse != NodeReuse::REUSE) return nullptr;
    OMNode* omNode = node.asOMNode();
    if (!omNode || omNode->hasDataStructureParent()) return nullptr;
    return omNode->weak_from_this().lock();
}

// A fresh node holding the operand's value. setTo copies no GUID, so a GUID is made anew.
std::shared_ptr<OMStored> copyOf(const IOMNode& node)
{
    if (node.getType() == OMType::GUID) return OMStored::guidFactory(node.getGUID());
    std::shared_ptr<IOMNode> clone = node.clone(0);
    OMStored* stored = clone ? clone->asStored() : nullptr;
    return stored ? std::shared_ptr<OMStored>(clone, stored) : OMStored::cloneFactory(node, 0);
}

// The operators whose result is set in full (or made Undefined on failure) whatever it held.
bool setsWholeResult(BinOp binOp)
{
    switch (binOp) {
        case BinOp::MUL:
        case BinOp::DIV:
        case BinOp::ADD:
        case BinOp::SUB:
        case BinOp::LT:
        case BinOp::LE:
        case BinOp::GT:
        case BinOp::GE:
        case BinOp::EQ:
        case BinOp::NE:
        case BinOp::IDENTICAL:
        case BinOp::NOT_IDENTICAL:
            return true;
        default:
            return false;
    }
}

// Operator implementations live on OMNode; a node of another kind is viewed through an OMStored copy.
IOMNodeOperations* operationsOf(IOMNode& node, std::shared_ptr<OMStored>& keepAlive)
{
    if (OMNode* omNode = node.asOMNode()) return omNode;
    keepAlive = OMStored::rewrapFactory(node);
    return keepAlive.get();
}

bool expressionsEqual(const IOMNode& a, const IOMNode& b)
{
    auto left = a.getExpression();
    auto right = b.getExpression();
    if (!left || !right) return left == right;
    return *left == *right;
}

// `==` of one pair of elements: a clone of the left one holds the result.
bool elementsEqual(const std::shared_ptr<IOMNode>& left, const std::shared_ptr<IOMNode>& right, bool& equal)
{
    bool retVal = false;
    do {
        if (!left || !right) {
            equal = left == right;
            retVal = true;
            break;
        }
        std::shared_ptr<IOMNode> result;
        ASSIGN(result, left->clone(0));
        std::shared_ptr<OMStored> keepAlive;
        const bool compared = operationsOf(*result, keepAlive)->binop_compare_eq(result, *right);
        if (!compared && DeepWalk::hasGivenUp()) break;  // said once, where the walk gave up
        SANITY_CHECK(compared);
        equal = result->getBool();
        retVal = true;
    } while (false);
    return retVal;
}

bool arraysEqual(IOMNode& a, IOMNode& b, bool& equal)
{
    DeepWalk level;
    if (!level.canGoOn("compare")) return false;
    equal = a.getSize() == b.getSize();
    auto left = a.getNodeIterator();
    auto right = b.getNodeIterator();
    for (; equal && left && right && !left->atEnd() && !right->atEnd(); (*left)++, (*right)++) {
        if (!elementsEqual(**left, **right, equal)) return false;
    }
    return true;
}

bool mapsEqual(IOMNode& a, IOMNode& b, bool& equal)
{
    DeepWalk level;
    if (!level.canGoOn("compare")) return false;
    equal = a.getSize() == b.getSize();
    for (auto left = a.getNodeIterator(); equal && left && !left->atEnd(); (*left)++) {
        std::string key = left->getKey();
        equal = b.exists(key);
        if (equal && !elementsEqual(**left, b.getOMNode(key), equal)) return false;
    }
    return true;
}

// Whether two containers are one: the same shared storage, or the same node.
bool sameContainer(IOMNode& a, IOMNode& b)
{
    const OMStored* left = a.asStored();
    const OMStored* right = b.asStored();
    if (!left || !right) return &a == &b;
    if (a.getType() == OMType::Array) return left->getArray() == right->getArray();
    return left->getMap() == right->getMap();
}

// `===`: false (with a log line) only for a tag that no rule covers.
bool compareIdentical(IOMNode& a, IOMNode& b, bool& identical)
{
    identical = false;
    OMType type = a.getType();
    if (isErrorOrNaN(type) || isErrorOrNaN(b.getType()) || type != b.getType()) return true;
    switch (type) {
        case OMType::Undefined:
        case OMType::Null:
            identical = true;
            return true;
        case OMType::Bool:
            identical = a.getBool() == b.getBool();
            return true;
        case OMType::Int:
            identical = a.getInt() == b.getInt();
            return true;
        case OMType::Date:
            identical = a.getDate() == b.getDate();
            return true;
        case OMType::Float:
            identical = a.getFloat() == b.getFloat();
            return true;
        case OMType::String:
            identical = a.getString() == b.getString();
            return true;
        case OMType::GUID:
            identical = a.getGUID() == b.getGUID();
            return true;
        case OMType::Expression:
            identical = expressionsEqual(a, b);
            return true;
        case OMType::Array:
        case OMType::Map:
            identical = sameContainer(a, b);
            return true;
        case OMType::Function:
            identical = a.getExpression() == b.getExpression();
            return true;
        default:
            LOG_ERROR("unexpected type");
            return false;
    }
}

// `==`: no coercion between types, except that Undefined and Null are equal.
bool compareEqual(IOMNode& a, IOMNode& b, bool& equal)
{
    equal = false;
    OMType type = a.getType();
    if (isErrorOrNaN(type) || isErrorOrNaN(b.getType())) return true;
    if (isUndefinedOrNull(type) && isUndefinedOrNull(b.getType())) {
        equal = true;
        return true;
    }
    if (type != b.getType()) return true;
    switch (type) {
        case OMType::Expression:
            equal = expressionsEqual(a, b);
            return true;
        case OMType::Array:
            return arraysEqual(a, b, equal);
        case OMType::Map:
            return mapsEqual(a, b, equal);
        default:
            return compareIdentical(a, b, equal);
    }
}

// `<`: strings bytewise (the right side read without conversion), numbers by value, unlike types
// by their tag; arrays, maps and functions have no order.
bool compareLess(IOMNode& a, IOMNode& b, bool& less)
{
    less = false;
    OMType typeA = a.getType();
    OMType typeB = b.getType();
    if (isErrorOrNaN(typeA) || isErrorOrNaN(typeB)) return true;
    if (typeA == OMType::String || typeB == OMType::String) {
        less = a.getAsString() < b.getString();
        return true;
    }
    if (isNumber(typeA) && isNumber(typeB)) {
        less = a.getAsNum() < b.getAsNum();
        return true;
    }
    if (typeA != typeB) {
        less = static_cast<int>(typeA) < static_cast<int>(typeB);
        return true;
    }
    switch (typeA) {
        case OMType::Undefined:
        case OMType::Null:
            return true;
        case OMType::Date:
            less = a.getDate() < b.getDate();
            return true;
        case OMType::GUID: {
            GUIDClass* left = a.getGUID();
            GUIDClass* right = b.getGUID();
            if (!left || !right) return false;
            TRawGUID l = left->get();
            TRawGUID r = right->get();
            less = l.high < r.high || (l.high == r.high && l.low < r.low);
            return true;
        }
        case OMType::Bool:
            less = !a.getBool() && b.getBool();
            return true;
        case OMType::Expression: {
            auto left = a.getExpression();
            auto right = b.getExpression();
            if (!left || !right) return false;
            less = *left < *right;
            return true;
        }
        default:
            LOG_ERROR("unexpected type");
            return false;
    }
}

}  // namespace

// ---- entry points

std::shared_ptr<IOMNode> OMNode::binaryOperation(BinOp binOp, const IOMNode& node1, const IOMNode& node2)
{
    // Without reuse neither operand is written to.
    return binaryOperation(binOp, const_cast<IOMNode&>(node1), NodeReuse::NO_REUSE,
                           const_cast<IOMNode&>(node2), NodeReuse::NO_REUSE);
}

std::shared_ptr<IOMNode> OMNode::binaryOperation(BinOp binOp, IOMNode& node1, NodeReuse nodeReuse1,
                                                 IOMNode& node2, NodeReuse nodeReuse2)
{
    return binaryOperationOn(binOp, node1, nodeReuse1, nullptr, node2, nodeReuse2, nullptr);
}

// The worker of the binary operators. When the caller holds the operands by shared pointer, a
// reused operand is taken from there instead of being looked up again through its weak self.
std::shared_ptr<IOMNode> OMNode::binaryOperationOn(BinOp binOp, IOMNode& node1, NodeReuse nodeReuse1,
                                                   const std::shared_ptr<IOMNode>* sharedNode1,
                                                   IOMNode& node2, NodeReuse nodeReuse2,
                                                   const std::shared_ptr<IOMNode>* sharedNode2)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            if (node1.getType() == OMType::Error || node2.getType() == OMType::Error) {
                retVal = OMStored::errorFactory();
                break;
            }
            std::shared_ptr<IOMNode> ownResult;
            const std::shared_ptr<IOMNode>* resultSlot = &ownResult;
            if (sharedNode1 && isReusable(node1, nodeReuse1)) {
                resultSlot = sharedNode1;
            } else if (sharedNode2 && isReusable(node2, nodeReuse2)) {
                resultSlot = sharedNode2;
            } else {
                ownResult = reusableNode(node1, nodeReuse1);
                if (!ownResult) ownResult = reusableNode(node2, nodeReuse2);
                if (!ownResult) {
                    // An operator that sets its whole result needs no copy of a bare number to start from.
                    const OMStored* stored1 = node1.asStored();
                    if (setsWholeResult(binOp) && stored1 && stored1->isBareNumber()) {
                        ASSIGN(ownResult, OMStored::undefinedFactory());
                    } else {
                        ASSIGN(ownResult, copyOf(node1));
                    }
                }
            }
            const std::shared_ptr<IOMNode>& result = *resultSlot;
            std::shared_ptr<OMStored> keepAlive;
            IOMNodeOperations* a = operationsOf(node1, keepAlive);
            SANITY_CHECK(a);
            bool ok = false;
            switch (binOp) {
                case BinOp::INDEX:
                    ok = a->binop_index(result, node2);
                    break;
                case BinOp::MUL:
                    ok = a->binop_multiply(result, node2);
                    break;
                case BinOp::DIV:
                    ok = a->binop_divide(result, node2);
                    break;
                case BinOp::ADD:
                    ok = a->binop_add(result, node2);
                    break;
                case BinOp::SUB:
                    ok = a->binop_subtract(result, node2);
                    break;
                case BinOp::LT:
                    ok = a->binop_compare_lt(result, node2);
                    break;
                case BinOp::LE:
                    ok = a->binop_compare_le(result, node2);
                    break;
                case BinOp::GT:
                    ok = a->binop_compare_gt(result, node2);
                    break;
                case BinOp::GE:
                    ok = a->binop_compare_ge(result, node2);
                    break;
                case BinOp::EQ:
                    ok = a->binop_compare_eq(result, node2);
                    break;
                case BinOp::IDENTICAL:
                    ok = a->binop_compare_identical(result, node2);
                    break;
                case BinOp::NOT_IDENTICAL:
                    ok = a->binop_compare_not_identical(result, node2);
                    break;
                case BinOp::NE:
                    ok = a->binop_compare_ne(result, node2);
                    break;
                case BinOp::BIT_AND:
                    ok = a->binop_bit_and(result, node2);
                    break;
                case BinOp::BIT_XOR:
                    ok = a->binop_bit_xor(result, node2);
                    break;
                case BinOp::BIT_OR:
                    ok = a->binop_bit_or(result, node2);
                    break;
                case BinOp::AND:
                    ok = a->binop_bool_and(result, node2);
                    break;
                case BinOp::OR:
                    ok = a->binop_bool_or(result, node2);
                    break;
                case BinOp::ASSIGN:
                case BinOp::COMMA:
                case BinOp::SEMICOLON:
                    ok = result->set(node2) != nullptr;
                    break;
                default:
                    LOG_ERROR("unexpected operation");
                    break;
            }
            if (!ok) result->setUndefined();
            retVal = result;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::binaryOperation(BinOp binOp, const std::shared_ptr<IOMNode>& node1,
                                                 NodeReuse nodeReuse1, const std::shared_ptr<IOMNode>& node2,
                                                 NodeReuse nodeReuse2, const std::shared_ptr<OMScope>&)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            SANITY_CHECK(node1);
            SANITY_CHECK(node2);
            retVal = binaryOperationOn(binOp, *node1, nodeReuse1, &node1, *node2, nodeReuse2, &node2);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::unaryOperation(UnOp unOp, const IOMNode& node)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            // The changing operators act on a temporary, never on the constant.
            std::shared_ptr<IOMNode> temporary;
            ASSIGN(temporary, copyOf(node));
            retVal = unaryOperation(unOp, *temporary, NodeReuse::REUSE);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::unaryOperation(UnOp unOp, IOMNode& node, NodeReuse nodeReuse)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<OMStored> result =
                std::dynamic_pointer_cast<OMStored>(reusableNode(node, nodeReuse));
            if (!result) {
                ASSIGN(result, copyOf(node));
            }
            std::shared_ptr<OMStored> keepAlive;
            IOMNodeOperations* operand = operationsOf(node, keepAlive);
            SANITY_CHECK(operand);
            bool ok = false;
            switch (unOp) {
                case UnOp::NEG:
                    ok = operand->unop_negative(result);
                    break;
                case UnOp::PLUS:
                    ok = operand->unop_positive(result);
                    break;
                case UnOp::NOT:
                    ok = operand->unop_bool_not(result);
                    break;
                case UnOp::BIT_NOT:
                    ok = operand->unop_bit_not(result);
                    break;
                case UnOp::TYPEOF:
                    ok = operand->unop_typeof(result);
                    break;
                case UnOp::PRE_INC:
                    ok = operand->unop_pre_increment(result);
                    break;
                case UnOp::PRE_DEC:
                    ok = operand->unop_pre_decrement(result);
                    break;
                case UnOp::POST_INC:
                    ok = operand->unop_post_increment(result);
                    break;
                case UnOp::POST_DEC:
                    ok = operand->unop_post_decrement(result);
                    break;
                case UnOp::RETURN:
                    retVal = result->isReturnValue() ? result : result->wrapReturnValue();
                    ok = retVal != nullptr;
                    break;
                default:
                    LOG_ERROR("invalid unOp");
                    break;
            }
            if (!ok) result->setUndefined();
            if (!retVal) retVal = result;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMNode::unaryOperation(UnOp unOp, const std::shared_ptr<IOMNode>& node,
                                                const std::shared_ptr<OMScope>&, NodeReuse nodeReuse)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            SANITY_CHECK(node);
            retVal = unaryOperation(unOp, *node, nodeReuse);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The chosen branch is handed back as it is: shared, not copied.
std::shared_ptr<IOMNode> OMNode::ternaryOperation(TernOp ternOp, const std::shared_ptr<IOMNode>& node1,
                                                  const std::shared_ptr<IOMNode>& node2,
                                                  const std::shared_ptr<IOMNode>& node3,
                                                  const std::shared_ptr<OMScope>&)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            retVal = OMStored::undefinedFactory();
            if (ternOp != TernOp::IF && ternOp != TernOp::CONDITIONAL) {
                LOG_ERROR("unexpected ternary operation");
                break;
            }
            SANITY_CHECK(node1);
            const std::shared_ptr<IOMNode>& chosen = node1->getAsBool() ? node2 : node3;
            if (chosen) retVal = chosen;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- binary operators: `this` is the left operand; each computes in full before it writes
// `result`, which may be either operand.

bool OMNode::binop_add(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    // Small integers add exactly as their doubles would; this skips the round trip.
    constexpr int64_t kExactLimit = int64_t{1} << 52;
    if (getType() == OMType::Int && other.getType() == OMType::Int) {
        int64_t left = getInt();
        int64_t right = other.getInt();
        if (left > -kExactLimit && left < kExactLimit && right > -kExactLimit && right < kExactLimit)
            return result->set(left + right);
    }
    if (getType() == OMType::String || other.getType() == OMType::String)
        return result->set(getAsString() + other.getAsString());
    return result->setNum(getAsNum() + other.getAsNum());
}

bool OMNode::binop_subtract(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    return result->setNum(getAsNum() - other.getAsNum());
}

bool OMNode::binop_multiply(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    return result->setNum(getAsNum() * other.getAsNum());
}

// Division by zero gives NaN, never an infinity.
bool OMNode::binop_divide(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    double divisor = other.getAsNum();
    if (divisor == 0.0) return result->setNaN();
    return result->setNum(getAsNum() / divisor);
}

bool OMNode::binop_bit_and(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    int64_t bits = getAsBits();
    return result->set(bits == 0 ? int64_t(0) : bits & other.getAsBits());
}

bool OMNode::binop_bit_or(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    int64_t bits = getAsBits();
    return result->set(bits == -1 ? int64_t(-1) : bits | other.getAsBits());
}

bool OMNode::binop_bit_xor(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    return result->set(getAsBits() ^ other.getAsBits());
}

bool OMNode::binop_bool_and(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    return result->set(getAsBool() && other.getAsBool());
}

bool OMNode::binop_bool_or(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    return result->set(getAsBool() || other.getAsBool());
}

// A whole non-negative number picks an element; anything else names a member, so -1 is the key "-1".
bool OMNode::binop_index(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    std::shared_ptr<IOMNode> member;
    OMType type = other.getType();
    if (type == OMType::Int && other.getInt() >= 0) {
        member = getOMNode(static_cast<uint64_t>(other.getInt()));
    } else if (type == OMType::Float && other.getFloat() >= 0.0 &&
               other.getFloat() < 18446744073709551616.0 &&
               other.getFloat() == std::floor(other.getFloat())) {
        member = getOMNode(static_cast<uint64_t>(other.getFloat()));
    } else {
        member = getOMNode(other.getAsString());
    }
    return member && result->set(member) != nullptr;
}

bool OMNode::binop_compare_eq(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    bool equal = false;
    return compareEqual(*this, other, equal) && result->set(equal);
}

bool OMNode::binop_compare_ne(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    if (getType() == OMType::NaN && other.getType() == OMType::NaN) return result->set(true);
    bool equal = false;
    return compareEqual(*this, other, equal) && result->set(!equal);
}

bool OMNode::binop_compare_identical(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    bool identical = false;
    return compareIdentical(*this, other, identical) && result->set(identical);
}

bool OMNode::binop_compare_not_identical(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    if (getType() == OMType::NaN && other.getType() == OMType::NaN) return result->set(true);
    bool identical = false;
    return compareIdentical(*this, other, identical) && result->set(!identical);
}

bool OMNode::binop_compare_lt(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    bool less = false;
    return compareLess(*this, other, less) && result->set(less);
}

bool OMNode::binop_compare_gt(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    if (getType() == OMType::NaN || other.getType() == OMType::NaN) return result->set(false);
    bool less = false;
    bool equal = false;
    if (!compareLess(*this, other, less)) return false;
    if (less) return result->set(false);
    return compareEqual(*this, other, equal) && result->set(!equal);
}

bool OMNode::binop_compare_ge(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    if (getType() == OMType::NaN || other.getType() == OMType::NaN) return result->set(false);
    bool less = false;
    return compareLess(*this, other, less) && result->set(!less);
}

bool OMNode::binop_compare_le(const std::shared_ptr<IOMNode>& result, IOMNode& other)
{
    bool less = false;
    bool equal = false;
    if (!compareLess(*this, other, less)) return false;
    if (less) return result->set(true);
    return compareEqual(*this, other, equal) && result->set(equal);
}

// ---- unary operators: `this` is the operand

// An Int is negated exactly, beyond the 53 bits a double holds; anything else through its number.
bool OMNode::unop_negative(const std::shared_ptr<OMStored>& result)
{
    if (getType() == OMType::Int && getInt() != std::numeric_limits<int64_t>::min())
        return result->set(-getInt());
    return result->setNum(-getAsNum());
}

bool OMNode::unop_positive(const std::shared_ptr<OMStored>& result)
{
    return result->setNum(getAsNum());
}

bool OMNode::unop_bool_not(const std::shared_ptr<OMStored>& result)
{
    return result->set(!getAsBool());
}

bool OMNode::unop_bit_not(const std::shared_ptr<OMStored>& result)
{
    return result->set(~getAsBits());
}

bool OMNode::unop_typeof(const std::shared_ptr<OMStored>& result)
{
    return result->set(std::string(typeOfText(getType())));
}

// The changing operators write the operand itself and hand its old or new value to `result`.
bool OMNode::unop_pre_increment(const std::shared_ptr<OMStored>& result)
{
    return setNum(getAsNum() + 1.0) && result->set(*this) != nullptr;
}

bool OMNode::unop_pre_decrement(const std::shared_ptr<OMStored>& result)
{
    return setNum(getAsNum() - 1.0) && result->set(*this) != nullptr;
}

bool OMNode::unop_post_increment(const std::shared_ptr<OMStored>& result)
{
    return result->set(*this) != nullptr && setNum(getAsNum() + 1.0);
}

bool OMNode::unop_post_decrement(const std::shared_ptr<OMStored>& result)
{
    return result->set(*this) != nullptr && setNum(getAsNum() - 1.0);
}

}  // namespace Qfn
