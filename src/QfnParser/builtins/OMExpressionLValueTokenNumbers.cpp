// The numeric built-ins: abs, sqr, sqrt, isNaN, parseFloat, parseInt.
#include <cmath>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

namespace {

// Radix -3 reads every number form of the language; -2 integers, with 0x for hexadecimal.
constexpr int kFloatForms = -3;
constexpr int kDetectRadix = -2;

bool fillAbs(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.setNum(std::fabs(argument.getAsNum()));
}

bool fillSquare(const IOMNode& argument, IOMNode& retVal)
{
    double x = argument.getAsNum();
    return retVal.setNum(x * x);
}

bool fillSquareRoot(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.setNum(std::sqrt(argument.getAsNum()));
}

// Whether a value is not a number: a String by its converted value, Int and Float by their value,
// NaN itself, and every other type.
bool fillIsNaN(const IOMNode& argument, IOMNode& retVal)
{
    OMType type = argument.getType();
    bool isNumeric = type == OMType::String || type == OMType::Int || type == OMType::Float;
    return retVal.set(isNumeric ? std::isnan(argument.getAsNum()) : true);
}

}  // namespace

bool OMExpressionLValueToken::requireArguments(const OMExpressionLValueResolution& resolution, uint64_t count)
{
    if (resolution.getArgCount() >= count) return true;
    reportScriptError("insufficient arguments");
    return false;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::fromFirstArgument(
    const OMExpressionLValueResolution& resolution, FillFromArgument fill)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            SANITY_CHECK(fill(*resolution.getArgNode(0), *retVal));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_abs(AccessType, const std::shared_ptr<OMScope>&,
                                                          OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillAbs);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_sqr(AccessType, const std::shared_ptr<OMScope>&,
                                                          OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillSquare);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_sqrt(AccessType, const std::shared_ptr<OMScope>&,
                                                           OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillSquareRoot);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_isNaN(AccessType, const std::shared_ptr<OMScope>&,
                                                            OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillIsNaN);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_parseFloat(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<OMStored> number;
            ASSIGN(number, OMStored::undefinedFactory());
            retVal = number;
            if (!requireArguments(resolution, 1)) break;
            if (resolution.getArgCount() > 1) {
                reportScriptError("too many arguments");
                break;
            }
            OMAccessor accessor(resolution.getArgNode(0));
            if (!number->parseNum(accessor.getAsString(), kFloatForms)) {
                SANITY_CHECK(number->setNaN());
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The radix is found from the text unless given; a given radix below 2 means decimal, one above
// 36 gives NaN.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_parseInt(AccessType, const std::shared_ptr<OMScope>&,
                                                               OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<OMStored> number;
            ASSIGN(number, OMStored::nanFactory());
            retVal = number;
            if (!requireArguments(resolution, 1)) break;
            OMAccessor text(resolution.getArgNode(0));
            int radix = kDetectRadix;
            if (auto radixNode = resolution.getArgNode(1)) {
                double given = OMAccessor(radixNode).getAsNum();
                if (given > 36) break;  // no digits exist beyond 'z': the answer is NaN
                radix = std::isnan(given) || given < 2 ? 10 : static_cast<int>(given);
            }
            if (!number->parseNum(text.getAsString(), radix)) {
                SANITY_CHECK(number->setNaN());
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
