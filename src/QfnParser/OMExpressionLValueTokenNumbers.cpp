// The numeric built-ins: abs, sqr, sqrt, isNaN, parseFloat, parseInt.
#include <cmath>

#include "QfnLogger/Check.h"
#include "QfnParser/OMAccessor.h"
#include "QfnParser/OMExpressionLValueToken.h"
#include "QfnParser/OMStored.h"

namespace Qfn {

namespace {

// Radix -3 reads every number form of the language; -2 integers, with 0x for hexadecimal.
constexpr int kFloatForms = -3;
constexpr int kDetectRadix = -2;

// The shared shape of abs, sqr and sqrt: a number computed from the first argument's number.
std::shared_ptr<IOMNode> numberFunction(const OMExpressionLValueResolution& resolution, double (*function)(double))
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            std::shared_ptr<IOMNode> thisNode = resolution.getArgNode(0);
            if (!thisNode) {
                OMExpressionLValueToken::reportScriptError("insufficient arguments");
                break;
            }
            OMAccessor accessor(thisNode);
            SANITY_CHECK(retVal->setNum(function(accessor.getAsNum())));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

double absolute(double x)
{
    return std::fabs(x);
}

double square(double x)
{
    return x * x;
}

double squareRoot(double x)
{
    return std::sqrt(x);
}

}  // namespace

bool OMExpressionLValueToken::requireArguments(const OMExpressionLValueResolution& resolution, uint64_t count)
{
    if (resolution.getArgCount() >= count) return true;
    reportScriptError("insufficient arguments");
    return false;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_abs(AccessType, const std::shared_ptr<OMScope>&,
                                                          OMExpressionLValueResolution& resolution) const
{
    return numberFunction(resolution, absolute);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_sqr(AccessType, const std::shared_ptr<OMScope>&,
                                                          OMExpressionLValueResolution& resolution) const
{
    return numberFunction(resolution, square);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_sqrt(AccessType, const std::shared_ptr<OMScope>&,
                                                           OMExpressionLValueResolution& resolution) const
{
    return numberFunction(resolution, squareRoot);
}

// Whether a value is not a number: a String by its converted value, Int and Float by their value,
// NaN itself, and every other type.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_isNaN(AccessType, const std::shared_ptr<OMScope>&,
                                                            OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            OMAccessor accessor(resolution.getArgNode(0));
            bool isNaN = true;
            switch (accessor.getType()) {
                case OMType::String:
                case OMType::Int:
                case OMType::Float: isNaN = std::isnan(accessor.getAsNum()); break;
                default: break;
            }
            SANITY_CHECK(retVal->set(isNaN));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_parseFloat(AccessType, const std::shared_ptr<OMScope>&,
                                                                 OMExpressionLValueResolution& resolution) const
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
