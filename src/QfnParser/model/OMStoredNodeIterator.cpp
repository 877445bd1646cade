#include "QfnParser/model/OMStoredNodeIterator.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

std::shared_ptr<OMStoredNodeIterator> OMStoredNodeIterator::factory(
    const std::shared_ptr<const OMStored>& node)
{
    std::shared_ptr<OMStoredNodeIterator> retVal;
    try {
        do {
            SANITY_CHECK(node);
            std::shared_ptr<OMStoredNodeIterator> iter(new OMStoredNodeIterator(node));
            if (node->getType() == OMType::Array) {
                ASSIGN(iter->fArray, node->getArray());
                iter->fArrayPos = iter->fArray->cbegin();
            } else if (node->getType() == OMType::Map) {
                ASSIGN(iter->fMap, node->getMap());
                iter->fMapPos = iter->fMap->cbegin();
            } else {
                LOG_ERROR("unexpected type");
                break;
            }
            retVal = iter;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStoredNodeIterator::atEnd() const
{
    bool retVal = true;
    try {
        do {
            // The node decides while it still holds the container walked; after it took another
            // one, only the container held here knows where the walk ends.
            if (fArray) {
                retVal = fOMStoredNode->getArray() == fArray ? fOMStoredNode->atArrayEnd(fArrayPos)
                                                             : fArrayPos == fArray->cend();
            } else if (fMap) {
                retVal = fOMStoredNode->getMap() == fMap ? fOMStoredNode->atMapEnd(fMapPos)
                                                         : fMapPos == fMap->cend();
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t OMStoredNodeIterator::getIdx() const
{
    uint64_t retVal = ~uint64_t(0);
    try {
        do {
            if (fArray) retVal = static_cast<uint64_t>(fArrayPos - fArray->cbegin());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMStoredNodeIterator::getKey() const
{
    std::string retVal;
    try {
        do {
            if (atEnd()) break;
            retVal = fArray ? std::to_string(getIdx()) : fMapPos->first;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMStoredNodeIterator::operator++(int)
{
    try {
        do {
            if (atEnd()) break;
            if (fArray)
                ++fArrayPos;
            else
                ++fMapPos;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

std::shared_ptr<IOMNode> OMStoredNodeIterator::operator*() const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            if (atEnd()) break;
            retVal = fArray ? *fArrayPos : fMapPos->second;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
