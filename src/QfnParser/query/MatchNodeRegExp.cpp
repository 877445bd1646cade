// GCC 12 reports a std::function inside the regex compiler as maybe uninitialized (a false positive).
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ < 13
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "QfnParser/query/MatchNodeRegExp.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"

namespace Qfn {

std::shared_ptr<MatchNodeRegExp> MatchNodeRegExp::factory(const std::string& regExpStr, size_t minLevel,
                                                          size_t maxLevel, bool inverted)
{
    std::shared_ptr<MatchNodeRegExp> retVal;
    try {
        do {
            std::regex regExp;
            try {
                regExp.assign(regExpStr, std::regex::ECMAScript);
            } catch (std::regex_error& e) {
                LOG_ERROR("invalid regexp segment");
                break;
            }
            retVal.reset(new MatchNodeRegExp(std::move(regExp), minLevel, maxLevel, inverted));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool MatchNodeRegExp::isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(iter && !iter->atEnd());
            const std::string key = iter->getKey();
            retVal = std::regex_search(key, fRegExp) != fInverted;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
