// OMAccessor: the text forms of a value, the compact wire text and the near form.
#include <algorithm>

#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnUtils/DeepWalk.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

std::vector<std::pair<std::string, std::shared_ptr<IOMNode>>> membersOf(const IOMNode& node, bool sorted)
{
    std::vector<std::pair<std::string, std::shared_ptr<IOMNode>>> members;
    for (auto iter = node.getNodeIterator(); iter && !iter->atEnd(); (*iter)++)
        members.emplace_back(iter->getKey(), **iter);
    if (sorted)
        std::sort(members.begin(), members.end(),
                  [](const auto& left, const auto& right) { return left.first < right.first; });
    return members;
}

std::string guidText(const IOMNode& node)
{
    GUIDClass* guid = node.getGUID();
    return guid ? guid->toString(GUIDStringFormat::UPPERCASE_DASHED) : std::string();
}

std::string expressionText(const IOMNode& node)
{
    std::shared_ptr<OMExpression> expression = node.getExpression();
    return expression ? expression->toString() : std::string();
}

}  // namespace

std::string OMAccessor::stringify(const IOMNode& node)
{
    std::string retVal;
    try {
        switch (node.getType()) {
            case OMType::Undefined:
                retVal = "undefined";
                break;
            case OMType::Null:
                retVal = "null";
                break;
            case OMType::Bool:
                retVal = node.getBool() ? "true" : "false";
                break;
            case OMType::Date:
                retVal = std::to_string(node.getDate());
                break;
            case OMType::Int:
                retVal = std::to_string(node.getInt());
                break;
            case OMType::Float:
                retVal = Utils::stringWithFormat("%f", node.getFloat());
                break;
            case OMType::String:
                retVal = Utils::enquoteString(node.getString(), '"');
                break;
            case OMType::Array: {
                DeepWalk level;
                if (!level.canGoOn("stringify")) break;
                retVal = "[";
                bool first = true;
                for (auto iter = node.getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                    if (!first) retVal += ", ";
                    first = false;
                    std::shared_ptr<IOMNode> element = **iter;
                    retVal += element ? stringify(*element) : "null";
                }
                retVal += "]";
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Map: {
                DeepWalk level;
                if (!level.canGoOn("stringify")) break;
                retVal = "{";
                bool first = true;
                for (const auto& [key, value] : membersOf(node, true)) {
                    if (!first) retVal += ", ";
                    first = false;
                    retVal += Utils::enquoteString(key, '"') + ":" + (value ? stringify(*value) : "null");
                }
                retVal += "}";
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Expression:
                retVal = "{" + expressionText(node) + "}";
                break;
            case OMType::Error:
                retVal = "error";
                break;
            case OMType::Function:
                retVal = node.getAsString();
                break;
            case OMType::NaN:
                retVal = "NaN";
                break;
            case OMType::GUID:
                retVal = guidText(node);
                break;
            default:
                retVal = "unknown type";
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMAccessor::toString(const IOMNode& node)
{
    std::string retVal;
    try {
        switch (node.getType()) {
            case OMType::Undefined:
                retVal = "undefined";
                break;
            case OMType::Null:
                retVal = "null";
                break;
            case OMType::Bool:
                retVal = node.getBool() ? "true" : "false";
                break;
            case OMType::Date:
                retVal = node.toString();
                break;
            case OMType::Int:
                retVal = std::to_string(node.getInt());
                break;
            case OMType::Float:
                retVal = Utils::stringWithFormat("%f", node.getFloat());
                break;
            case OMType::String:
                retVal = Utils::enquoteString(node.getString(), '"');
                break;
            case OMType::Array: {
                DeepWalk level;
                if (!level.canGoOn("toString")) break;
                retVal = "[ ";
                bool first = true;
                for (auto iter = node.getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                    if (!first) retVal += ",";
                    first = false;
                    std::shared_ptr<IOMNode> element = **iter;
                    retVal += element ? toString(*element) : "null";
                }
                retVal += " ]";
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Map: {
                DeepWalk level;
                if (!level.canGoOn("toString")) break;
                retVal = "{";
                bool first = true;
                for (const auto& [key, value] : membersOf(node, false)) {
                    if (!first) retVal += ",";
                    first = false;
                    retVal += Utils::enquoteString(key, '"') + ":" + (value ? toString(*value) : "null");
                }
                retVal += "}";
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Expression:
                retVal = Utils::enquoteString(expressionText(node), '"');
                break;
            case OMType::Error:
                retVal = "error";
                break;
            case OMType::Function:
                retVal = Utils::enquoteString(node.getAsString(), '"');
                break;
            case OMType::NaN:
                retVal = "NaN";
                break;
            case OMType::GUID:
                retVal = Utils::enquoteString(guidText(node), '"');
                break;
            default:
                retVal = "unknown type";
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMAccessor::stringify() const
{
    return stringify(*fOMNode);
}

std::string OMAccessor::toString() const
{
    return toString(*fOMNode);
}

std::string OMAccessor::typeOf() const
{
    std::string retVal;
    try {
        do {
            OMNode* node = fOMNode->asOMNode();
            SANITY_CHECK(node);
            std::shared_ptr<OMStored> result;
            ASSIGN(result, OMStored::undefinedFactory());
            SANITY_CHECK(node->unop_typeof(result));
            retVal = result->getString();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
