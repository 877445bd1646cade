// The conversions of a value to other types, its printed forms and its hash.
#include <algorithm>
#include <cmath>
#include <ctime>
#include <utility>
#include <vector>

#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMNode.h"
#include "QfnUtils/DeepWalk.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

constexpr uint64_t kFNVOffsetBasis = 0xCBF29CE484222325ull;
constexpr uint64_t kFNVPrime = 0x100000001B3ull;

uint64_t fnv1a(const void* data, size_t length, uint64_t hash = kFNVOffsetBasis)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < length; ++i) {
        hash ^= bytes[i];
        hash *= kFNVPrime;
    }
    return hash;
}

// Whether d converts to int64_t without overflow and without losing a fraction.
bool isIntegral(double d)
{
    return d >= -9223372036854775808.0 && d < 9223372036854775808.0 &&
           d == static_cast<double>(static_cast<int64_t>(d));
}

// base^exponent by repeated squaring.
double powBySquaring(double base, unsigned exponent)
{
    double result = 1.0;
    while (exponent) {
        if (exponent & 1u) result *= base;
        base *= base;
        exponent >>= 1;
    }
    return result;
}

int hexDigitValue(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The number at the start of text, in the literal grammar: leading blanks, a sign, "0x" hexadecimal,
// or digits with fraction and exponent. What follows the number is ignored, as parseFloat does.
bool parseLeadingNumber(const std::string& text, double& value)
{
    size_t pos = 0;
    const size_t size = text.size();
    while (pos < size && (text[pos] == ' ' || text[pos] == '\t' || text[pos] == '\n' || text[pos] == '\r'))
        ++pos;
    bool negative = false;
    if (pos < size && (text[pos] == '+' || text[pos] == '-')) negative = text[pos++] == '-';

    if (pos + 2 < size && text[pos] == '0' && (text[pos + 1] == 'x' || text[pos + 1] == 'X') &&
        hexDigitValue(text[pos + 2]) >= 0) {
        double magnitude = 0.0;
        for (pos += 2; pos < size && hexDigitValue(text[pos]) >= 0; ++pos)
            magnitude = magnitude * 16.0 + hexDigitValue(text[pos]);
        value = negative ? -magnitude : magnitude;
        return true;
    }

    double mantissa = 0.0;
    size_t digitCount = 0;
    int64_t decimalExponent = 0;
    for (; pos < size && text[pos] >= '0' && text[pos] <= '9'; ++pos, ++digitCount)
        mantissa = mantissa * 10.0 + (text[pos] - '0');
    if (pos < size && text[pos] == '.') {
        for (++pos; pos < size && text[pos] >= '0' && text[pos] <= '9';
             ++pos, ++digitCount, --decimalExponent)
            mantissa = mantissa * 10.0 + (text[pos] - '0');
    }
    if (digitCount == 0) return false;
    if (pos < size && (text[pos] == 'e' || text[pos] == 'E')) {
        size_t expPos = pos + 1;
        bool expNegative = false;
        if (expPos < size && (text[expPos] == '+' || text[expPos] == '-'))
            expNegative = text[expPos++] == '-';
        if (expPos < size && text[expPos] >= '0' && text[expPos] <= '9') {
            int64_t exponent = 0;
            for (; expPos < size && text[expPos] >= '0' && text[expPos] <= '9'; ++expPos)
                exponent = std::min<int64_t>(exponent * 10 + (text[expPos] - '0'), 100000);
            decimalExponent += expNegative ? -exponent : exponent;
        }
    }
    double magnitude = decimalExponent >= 0 ? mantissa * powBySquaring(10.0, unsigned(decimalExponent))
                                            : mantissa / powBySquaring(10.0, unsigned(-decimalExponent));
    value = negative ? -magnitude : magnitude;
    return true;
}

// "Thu Jan  1 00:00:00 1970": the calendar text of a date, without the line end.
bool dateText(int64_t date, std::string& text)
{
    bool retVal = false;
    do {
        time_t seconds = static_cast<time_t>(date);
        struct tm brokenDown {};
        VERIFY(gmtime_r(&seconds, &brokenDown));
        char buffer[64] = {};
        VERIFY(asctime_r(&brokenDown, buffer));
        text = Utils::trim(buffer);
        retVal = true;
    } while (false);
    return retVal;
}

}  // namespace

const char* OMNode::typeOfText(OMType type)
{
    switch (type) {
        case OMType::Undefined:
            return "undefined";
        case OMType::Null:
        case OMType::Date:
        case OMType::Array:
        case OMType::Map:
            return "object";
        case OMType::Bool:
            return "boolean";
        case OMType::Int:
        case OMType::Float:
        case OMType::NaN:
            return "number";
        case OMType::String:
            return "string";
        case OMType::Expression:
            return "expression";
        case OMType::Error:
            return "error";
        case OMType::Function:
            return "function";
        case OMType::GUID:
            return "GUID";
    }
    LOG_ERROR("unexpected type");
    return "unexpected";
}

int64_t OMNode::getAsBits() const
{
    OMType type = getType();
    // Whole 64-bit values would lose their low bits on the way through a double.
    if (type == OMType::Int) return getInt();
    if (type == OMType::Date) return getDate();
    double value = getAsNum();
    return isIntegral(value) ? static_cast<int64_t>(value) : -1;
}

bool OMNode::getAsBool() const
{
    switch (getType()) {
        case OMType::Undefined:
        case OMType::Null:
        case OMType::Error:
        case OMType::NaN:
            return false;
        case OMType::Bool:
            return getBool();
        case OMType::Int:
            return getInt() != 0;
        case OMType::Float:
            return getFloat() != 0.0;
        case OMType::String:
            return !getString().empty();
        case OMType::Date:
        case OMType::Array:
        case OMType::Map:
        case OMType::Expression:
        case OMType::Function:
        case OMType::GUID:
            return true;
    }
    LOG_ERROR("unexpected type");
    return false;
}

GUIDClass* OMNode::getAsGUID() const
{
    GUIDClass* retVal = nullptr;
    switch (getType()) {
        case OMType::GUID:
            retVal = getGUID();
            break;
        case OMType::String:
            retVal = GUIDClass::factory(getString());
            break;
        case OMType::Int:
        case OMType::Float:
            retVal = GUIDClass::factory(TRawGUID{0, static_cast<uint64_t>(getAsBits())});
            break;
        default:
            break;
    }
    return retVal ? retVal : GUIDClass::nullGUID();
}

std::string OMNode::getAsIdentifier() const
{
    return getAsString();
}

double OMNode::getAsNum() const
{
    switch (getType()) {
        case OMType::Bool:
            return getBool() ? 1.0 : 0.0;
        case OMType::Date:
            return static_cast<double>(getDate());
        case OMType::Int:
            return static_cast<double>(getInt());
        case OMType::Float:
            return getFloat();
        case OMType::String: {
            double value = 0.0;
            return parseLeadingNumber(getString(), value) ? value : std::nan("");
        }
        default:
            return std::nan("");
    }
}

std::string OMNode::getAsString() const
{
    std::string retVal;
    try {
        switch (getType()) {
            case OMType::Undefined:
                retVal = "undefined";
                break;
            case OMType::Null:
                retVal = "null";
                break;
            case OMType::Bool:
                retVal = getBool() ? "true" : "false";
                break;
            case OMType::Date:
                dateText(getDate(), retVal);
                break;
            case OMType::Int:
                retVal = std::to_string(getInt());
                break;
            case OMType::Float:
                retVal = std::isnan(getFloat()) ? "NaN" : Utils::stringWithFormat("%f", getFloat());
                break;
            case OMType::String:
                retVal = getString();
                break;
            case OMType::Array: {
                DeepWalk level;
                if (!level.canGoOn("getAsString")) break;
                bool first = true;
                for (auto iter = getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                    if (!first) retVal += ",";
                    first = false;
                    if (auto element = **iter) retVal += element->getAsString();
                }
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Map:
                retVal = toString();
                break;
            case OMType::Expression:
                if (auto expression = getExpression()) retVal = expression->toString();
                break;
            case OMType::Error:
                retVal = "error";
                break;
            case OMType::Function: {
                retVal = "function";
                std::string name = getFunctionName();
                if (!name.empty()) retVal += " " + name;
                retVal += "(";
                if (auto signature = getFunctionSignature()) {
                    const auto& parameters = signature->getParameterList();
                    for (size_t i = 1; i < parameters.size(); ++i)
                        retVal += (i > 1 ? ", " : "") + parameters[i];
                }
                retVal += "){";
                if (auto expression = getExpression()) retVal += OMExpression::statementsText(*expression);
                retVal += "}";
                break;
            }
            case OMType::NaN:
                retVal = "NaN";
                break;
            case OMType::GUID:
                if (GUIDClass* guid = getGUID()) retVal = guid->toString(GUIDStringFormat::UPPERCASE_DASHED);
                break;
            default:
                LOG_ERROR("unexpected type");
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMNode::toString() const
{
    std::string retVal;
    try {
        switch (getType()) {
            case OMType::Date: {
                std::string text;
                if (dateText(getDate(), text)) retVal = Utils::enquoteString(text, '"');
                break;
            }
            case OMType::Float:
                retVal = Utils::stringWithFormat("%f", getFloat());
                break;
            case OMType::String:
                retVal = Utils::enquoteString(getString(), '"');
                break;
            case OMType::Array: {
                DeepWalk level;
                if (!level.canGoOn("toString")) break;
                retVal.push_back('[');
                bool first = true;
                for (auto iter = getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                    if (!first) retVal += ", ";
                    first = false;
                    if (auto element = **iter) retVal += element->toString();
                }
                retVal += "]";
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Map: {
                DeepWalk level;
                if (!level.canGoOn("toString")) break;
                std::vector<std::pair<std::string, std::shared_ptr<IOMNode>>> members;
                for (auto iter = getNodeIterator(); iter && !iter->atEnd(); (*iter)++)
                    members.emplace_back(iter->getKey(), **iter);
                std::sort(members.begin(), members.end(),
                          [](const auto& left, const auto& right) { return left.first < right.first; });
                retVal.append("{ ");
                for (size_t i = 0; i < members.size(); ++i) {
                    if (i > 0) retVal += ", ";
                    retVal += Utils::enquoteString(members[i].first, '"') + ": ";
                    if (members[i].second) retVal += members[i].second->toString();
                }
                retVal += " }";
                if (DeepWalk::hasGivenUp()) retVal.clear();
                break;
            }
            case OMType::Expression:
            case OMType::Function:
            case OMType::GUID:
                retVal = Utils::enquoteString(getAsString(), '"');
                break;
            case OMType::Undefined:
            case OMType::Null:
            case OMType::Bool:
            case OMType::Int:
            case OMType::Error:
            case OMType::NaN:
                retVal = getAsString();
                break;
            default:
                LOG_ERROR("unexpected type");
                retVal = "unexpected";
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// FNV-1a over the value's bytes; containers combine their members with XOR so that equal trees
// hash alike whatever the order of their map members.
uint64_t OMNode::hash() const
{
    uint64_t retVal = kFNVOffsetBasis;
    try {
        switch (getType()) {
            case OMType::Bool: {
                unsigned char value = getBool() ? 1 : 0;
                retVal = fnv1a(&value, sizeof value);
                break;
            }
            case OMType::Int: {
                int64_t value = getInt();
                retVal = fnv1a(&value, sizeof value);
                break;
            }
            case OMType::Date: {
                int64_t value = getDate();
                retVal = fnv1a(&value, sizeof value);
                break;
            }
            case OMType::Float: {
                double value = getFloat();
                if (value == 0.0) value = 0.0;  // -0.0 equals 0.0
                retVal = fnv1a(&value, sizeof value);
                break;
            }
            case OMType::String:
                retVal = fnv1a(getString().data(), getString().size());
                break;
            case OMType::Array: {
                DeepWalk level;
                retVal = 0;
                if (!level.canGoOn("hash")) break;
                for (auto iter = getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                    uint64_t elementHash = (**iter) ? (**iter)->hash() : kFNVOffsetBasis;
                    retVal ^= fnv1a(&elementHash, sizeof elementHash);
                }
                break;
            }
            case OMType::Map: {
                DeepWalk level;
                retVal = 0;
                if (!level.canGoOn("hash")) break;
                for (auto iter = getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
                    std::string key = iter->getKey();
                    uint64_t valueHash = (**iter) ? (**iter)->hash() : kFNVOffsetBasis;
                    retVal ^= fnv1a(&valueHash, sizeof valueHash, fnv1a(key.data(), key.size()));
                }
                break;
            }
            case OMType::Expression:
                if (auto expression = getExpression()) retVal = expression->hash();
                break;
            case OMType::Function: {
                std::string text = getAsString();
                retVal = fnv1a(text.data(), text.size());
                break;
            }
            case OMType::GUID:
                if (GUIDClass* guid = getGUID()) retVal = guid->toXorInt();
                break;
            default:
                break;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMNode::setNum(double value)
{
    if (std::isnan(value)) return setNaN();
    if (isIntegral(value)) return set(static_cast<int64_t>(value));
    return set(value);
}

}  // namespace Qfn
