// The text built-ins: toString, stringify, toLowerCase, toUpperCase, enquote, substr, indexOf.
#include <cmath>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

bool fillQuoted(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(argument.toString());
}

bool fillStringified(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(OMAccessor::stringify(argument));
}

bool fillLowerCase(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(Utils::toLowerCase(argument.getAsString()));
}

bool fillUpperCase(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(Utils::toUpperCase(argument.getAsString()));
}

// A position argument as a byte offset: NaN and negative numbers count as 0, huge ones as the end.
uint64_t positionOf(const std::shared_ptr<IOMNode>& node, uint64_t limit)
{
    double value = OMAccessor(node).getAsNum();
    if (std::isnan(value) || value <= 0) return 0;
    if (value >= static_cast<double>(limit)) return limit;
    return static_cast<uint64_t>(value);
}

}  // namespace

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_toString(AccessType, const std::shared_ptr<OMScope>&,
                                                               OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillQuoted);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_stringify(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillStringified);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_toLowerCase(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillLowerCase);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_toUpperCase(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillUpperCase);
}

// The text in quotes, escaped as a string literal; the quote is the first byte of the second
// argument, '"' by default.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_enquote(AccessType, const std::shared_ptr<OMScope>&,
                                                              OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            char quote = '"';
            if (auto quoteNode = resolution.getArgNode(1)) {
                std::string quoteText = OMAccessor(quoteNode).getAsString();
                if (!quoteText.empty()) quote = quoteText[0];
            }
            SANITY_CHECK(
                retVal->set(Utils::enquoteString(OMAccessor(resolution.getArgNode(0)).getAsString(), quote)));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Bytes of the text from `from` for `length`: to the end without a length, the whole text
// without either.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_substr(AccessType, const std::shared_ptr<OMScope>&,
                                                             OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            std::string text = OMAccessor(resolution.getArgNode(0)).getAsString();
            uint64_t from = 0;
            uint64_t length = text.size();
            if (auto fromNode = resolution.getArgNode(1)) from = positionOf(fromNode, text.size());
            if (auto lengthNode = resolution.getArgNode(2)) length = positionOf(lengthNode, text.size());
            SANITY_CHECK(retVal->set(text.substr(from, length)));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The first byte position of the needle at or after `from`, -1 when absent; an empty text or
// needle is never found, and a `from` outside the text starts at 0.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_indexOf(AccessType, const std::shared_ptr<OMScope>&,
                                                              OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 2)) break;
            std::string text = OMAccessor(resolution.getArgNode(0)).getAsString();
            std::string needle = OMAccessor(resolution.getArgNode(1)).getAsString();
            int64_t position = -1;
            if (!text.empty() && !needle.empty()) {
                uint64_t from = 0;
                if (auto fromNode = resolution.getArgNode(2)) {
                    double value = OMAccessor(fromNode).getAsNum();
                    if (value >= 0 && value < static_cast<double>(text.size()))
                        from = static_cast<uint64_t>(value);
                }
                size_t found = text.find(needle, from);
                if (found != std::string::npos) position = static_cast<int64_t>(found);
            }
            SANITY_CHECK(retVal->set(position));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
