#pragma once

#include <cstddef>
#include <memory>
#include <regex>
#include <string>

#include "QfnParser/query/MatchNode.h"

namespace Qfn {

// A quantified pattern: the keys in which the regular expression is found, over a range of levels.
class MatchNodeRegExp : public MatchNode {
public:
    // Null (and a log line) when the expression does not compile.
    static std::shared_ptr<MatchNodeRegExp> factory(const std::string& regExpStr, size_t minLevel,
                                                    size_t maxLevel, bool inverted);

    bool isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const override;

private:
    MatchNodeRegExp(std::regex regExp, size_t minLevel, size_t maxLevel, bool inverted)
        : MatchNode(inverted, minLevel, maxLevel), fRegExp(std::move(regExp))
    {
    }

    std::regex fRegExp;
};

}  // namespace Qfn
