#include "QfnParser/expressions/OMExpression.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <typeinfo>
#include <vector>

#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// The shortest text that reads back as the same Float, always with a '.' or an exponent.
std::string floatSourceText(double value)
{
    if (std::isinf(value)) return value < 0 ? "-1e999" : "1e999";
    char buffer[40];
    for (int precision = 15; precision <= 17; ++precision) {
        std::snprintf(buffer, sizeof buffer, "%.*g", precision, value);
        if (std::strtod(buffer, nullptr) == value) break;
    }
    std::string text = buffer;
    size_t plus = text.find("e+");
    if (plus != std::string::npos) text.erase(plus + 1, 1);
    if (text.find_first_of(".e") == std::string::npos) text += ".0";
    return text;
}

bool signaturesEqual(const std::shared_ptr<FunctionSignature>& left,
                     const std::shared_ptr<FunctionSignature>& right)
{
    if (!left || !right) return left == right;
    return left->getParameterList() == right->getParameterList() &&
           left->getLocalVariables() == right->getLocalVariables();
}

bool expressionsEqual(const std::shared_ptr<OMExpression>& left, const std::shared_ptr<OMExpression>& right)
{
    if (!left || !right) return left == right;
    return *left == *right;
}

}  // namespace

void OMExpression::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                const std::shared_ptr<OMScope>& scope)
{
    get_yielding(task, retVal, AccessType::GET, scope, ScriptPhase::RUN);
}

uint32_t OMExpression::depthOf(const std::shared_ptr<IOMNode>& node)
{
    if (!node) return 0;
    if (node->getType() == OMType::Expression || node->getType() == OMType::Function) {
        auto expression = node->getExpression();
        return expression ? expression->getDepth() : 0;
    }
    return 0;
}

std::shared_ptr<OMExpression> OMExpression::expressionOf(const std::shared_ptr<IOMNode>& node)
{
    return node && node->getType() == OMType::Expression ? node->getExpression() : nullptr;
}

std::string OMExpression::nodeSourceText(const std::shared_ptr<IOMNode>& node)
{
    if (!node) return "undefined";
    std::string retVal;
    switch (node->getType()) {
        case OMType::Expression:
            if (auto expression = node->getExpression()) retVal = expression->toString();
            break;
        case OMType::Function:
            retVal = node->getAsString();
            break;
        case OMType::Float:
            retVal = floatSourceText(node->getFloat());
            break;
        case OMType::Array: {
            retVal = "[";
            bool first = true;
            for (auto iter = node->getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                if (!first) retVal += ", ";
                first = false;
                retVal += operandSourceText(**iter, static_cast<int>(BinOp::ASSIGN));
            }
            retVal += "]";
            break;
        }
        case OMType::Map: {
            std::vector<std::pair<std::string, std::shared_ptr<IOMNode>>> members;
            for (auto iter = node->getNodeIterator(); iter && !iter->atEnd(); (*iter)++)
                members.emplace_back(iter->getKey(), **iter);
            std::sort(members.begin(), members.end(),
                      [](const auto& left, const auto& right) { return left.first < right.first; });
            retVal = "{ ";
            for (size_t i = 0; i < members.size(); ++i) {
                if (i > 0) retVal += ", ";
                retVal += Utils::enquoteString(members[i].first, '"') + ": " +
                          operandSourceText(members[i].second, static_cast<int>(BinOp::ASSIGN));
            }
            retVal += " }";
            break;
        }
        default:
            retVal = node->toString();
            break;
    }
    return retVal;
}

// A statement list as an operand goes in braces, anything else that binds too loosely in
// parentheses. A negative number binds like a unary minus.
std::string OMExpression::operandSourceText(const std::shared_ptr<IOMNode>& node, int maxLevel)
{
    std::string text = nodeSourceText(node);
    int level = 0;
    if (auto expression = expressionOf(node)) {
        level = expression->getBindingLevel();
    } else if (node && (node->getType() == OMType::Int || node->getType() == OMType::Float)) {
        level = text[0] == '-' ? 1 : 0;
    }
    if (level <= maxLevel) return text;
    if (level == static_cast<int>(BinOp::SEMICOLON)) return "{" + text + "}";
    return "(" + text + ")";
}

std::string OMExpression::statementsText(const std::shared_ptr<IOMNode>& node)
{
    auto expression = expressionOf(node);
    if (expression) return statementsText(*expression);
    return operandSourceText(node, static_cast<int>(BinOp::ASSIGN));
}

std::string OMExpression::statementsText(const OMExpression& expression)
{
    int level = expression.getBindingLevel();
    if (level <= static_cast<int>(BinOp::ASSIGN) || level == static_cast<int>(BinOp::SEMICOLON))
        return expression.toString();
    return "(" + expression.toString() + ")";
}

bool OMExpression::nodesEqual(const std::shared_ptr<IOMNode>& node1, const std::shared_ptr<IOMNode>& node2)
{
    if (!node1 || !node2) return node1 == node2;
    if (node1 == node2) return true;
    OMType type = node1->getType();
    if (type != node2->getType()) return false;
    switch (type) {
        case OMType::Undefined:
        case OMType::Null:
        case OMType::NaN:
        case OMType::Error:
            return true;
        case OMType::Float:
            return node1->getFloat() == node2->getFloat() ||
                   (std::isnan(node1->getFloat()) && std::isnan(node2->getFloat()));
        case OMType::Expression:
            return expressionsEqual(node1->getExpression(), node2->getExpression());
        case OMType::Function:
            return signaturesEqual(node1->getFunctionSignature(), node2->getFunctionSignature()) &&
                   expressionsEqual(node1->getExpression(), node2->getExpression());
        case OMType::Array: {
            if (node1->getSize() != node2->getSize()) return false;
            auto iter1 = node1->getNodeIterator();
            auto iter2 = node2->getNodeIterator();
            for (; iter1 && iter2 && !iter1->atEnd() && !iter2->atEnd(); (*iter1)++, (*iter2)++)
                if (!nodesEqual(**iter1, **iter2)) return false;
            return true;
        }
        case OMType::Map: {
            if (node1->getSize() != node2->getSize()) return false;
            for (auto iter = node1->getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                std::shared_ptr<IOMNode> other;
                if (!node2->accessOMNodeReadOnlyResolved(nullptr, nullptr, iter->getKey(), other))
                    return false;
                if (!nodesEqual(**iter, other)) return false;
            }
            return true;
        }
        default:
            return node1->cmpOp_EQ(*node2);
    }
}

// Types first, then the value; expressions by their own order.
bool OMExpression::nodesLess(const std::shared_ptr<IOMNode>& node1, const std::shared_ptr<IOMNode>& node2)
{
    if (!node1 || !node2) return !node1 && node2;
    if (node1->getType() != node2->getType()) return node1->getType() < node2->getType();
    switch (node1->getType()) {
        case OMType::Expression:
        case OMType::Function: {
            auto left = node1->getExpression();
            auto right = node2->getExpression();
            if (!left || !right) return !left && right;
            return *left < *right;
        }
        case OMType::Array:
        case OMType::Map:
            return node1->toString() < node2->toString();
        default:
            return node1->cmpOp_LT(*node2);
    }
}

// FNV-1a, eight bytes at a time.
uint64_t OMExpression::mixHash(uint64_t hash, uint64_t value)
{
    for (int i = 0; i < 8; ++i, value >>= 8) {
        hash ^= value & 0xFF;
        hash *= 0x100000001B3ull;
    }
    return hash;
}

uint64_t OMExpression::nodeHash(const std::shared_ptr<IOMNode>& node)
{
    return node ? node->hash() : 0;
}

bool OMExpression::isClassBefore(const OMExpression& other) const
{
    return typeid(*this).before(typeid(other));
}

}  // namespace Qfn
