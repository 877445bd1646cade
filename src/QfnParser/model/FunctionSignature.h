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
    // Where name is among the parameters and then the `var` locals (what a call's scope binds),
    // counting from 0; -1 when it is none of them.
    int indexOfName(const std::string& name) const
    {
        for (size_t i = 1; i < fParameterList.size(); ++i)
            if (fParameterList[i] == name) return static_cast<int>(i - 1);
        for (size_t i = 0; i < fLocalVariables.size(); ++i)
            if (fLocalVariables[i] == name) return static_cast<int>(fParameterList.size() - 1 + i);
        return -1;
    }
    bool bindsName(const std::string& name) const { return indexOfName(name) >= 0; }
    // No name among the parameters and locals twice (a later one would hide an earlier one).
    bool hasDistinctNames() const
    {
        if (fDistinctNames < 0) {
            fDistinctNames = 1;
            for (size_t i = 0; i < getNameCount(); ++i)
                if (indexOfName(nameAt(i)) != static_cast<int>(i)) fDistinctNames = 0;
        }
        return fDistinctNames != 0;
    }
    size_t getNameCount() const
    {
        return fParameterList.size() - (fParameterList.empty() ? 0 : 1) + fLocalVariables.size();
    }

private:
    FunctionSignature() = default;
    const std::string& nameAt(size_t index) const
    {
        return index + 1 < fParameterList.size() ? fParameterList[index + 1]
                                                 : fLocalVariables[index + 1 - fParameterList.size()];
    }

    std::vector<std::string> fParameterList;
    std::vector<std::string> fLocalVariables;
    mutable int fDistinctNames = -1;
};

}  // namespace Qfn
