#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Qfn {

// A script function's name (first entry, empty when anonymous), parameters and `var` locals.
class FunctionSignature {
public:
    static std::shared_ptr<FunctionSignature> factory();

    bool addParameter(const std::string& parameter);
    bool addLocalVariable(const std::string& localVariable);
    const std::vector<std::string>& getParameterList() const { return fParameterList; }
    const std::vector<std::string>& getLocalVariables() const { return fLocalVariables; }

private:
    FunctionSignature() = default;

    std::vector<std::string> fParameterList;
    std::vector<std::string> fLocalVariables;
};

}  // namespace Qfn
