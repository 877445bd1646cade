#include "QfnParser/query/MatchNodeCompareMatch.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/query/MatchNodeExactMatch.h"

namespace Qfn {

std::shared_ptr<MatchNode> MatchNodeCompareMatch::factory(BinOp binOp, const std::string& value,
                                                          bool inverted)
{
    std::shared_ptr<MatchNode> retVal;
    try {
        do {
            if (inverted) {
                switch (binOp) {
                    case BinOp::LT:
                        binOp = BinOp::GE;
                        break;
                    case BinOp::LE:
                        binOp = BinOp::GT;
                        break;
                    case BinOp::GT:
                        binOp = BinOp::LE;
                        break;
                    case BinOp::GE:
                        binOp = BinOp::LT;
                        break;
                    case BinOp::EQ:
                        binOp = BinOp::NE;
                        break;
                    case BinOp::NE:
                        binOp = BinOp::EQ;
                        break;
                    default:
                        LOG_ERROR("unexpected comparison");
                        binOp = BinOp::COMMA;
                        break;
                }
                if (binOp == BinOp::COMMA) break;
            }
            if (binOp == BinOp::EQ) {
                retVal = MatchNodeExactMatch::factory(value);
                break;
            }
            if (binOp != BinOp::LT && binOp != BinOp::LE && binOp != BinOp::GT && binOp != BinOp::GE &&
                binOp != BinOp::NE) {
                LOG_ERROR("unexpected comparison");
                break;
            }
            retVal.reset(new MatchNodeCompareMatch(binOp, value));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool MatchNodeCompareMatch::isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(iter && !iter->atEnd());
            const int order = iter->getKey().compare(fValue);
            switch (fBinOp) {
                case BinOp::LT:
                    retVal = order < 0;
                    break;
                case BinOp::LE:
                    retVal = order <= 0;
                    break;
                case BinOp::GT:
                    retVal = order > 0;
                    break;
                case BinOp::GE:
                    retVal = order >= 0;
                    break;
                case BinOp::NE:
                    retVal = order != 0;
                    break;
                default:
                    retVal = order == 0;
                    break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
