#include "QfnParser/model/FunctionSignature.h"

#include "QfnLogger/Check.h"

namespace Qfn {

std::shared_ptr<FunctionSignature> FunctionSignature::factory()
{
    std::shared_ptr<FunctionSignature> retVal;
    try {
        do {
            retVal = std::shared_ptr<FunctionSignature>(new FunctionSignature());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool FunctionSignature::addParameter(const std::string& parameter)
{
    bool retVal = false;
    try {
        do {
            // Only the first entry, the function's name, may be empty: anonymous functions.
            SANITY_CHECK(fParameterList.empty() || !parameter.empty());
            fParameterList.push_back(parameter);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool FunctionSignature::addLocalVariable(const std::string& localVariable)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!localVariable.empty());
            fLocalVariables.push_back(localVariable);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
