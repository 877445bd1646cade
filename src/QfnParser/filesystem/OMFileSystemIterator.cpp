#include "QfnParser/filesystem/OMFileSystemIterator.h"

#include "QfnLogger/Check.h"
#include "QfnParser/filesystem/OMFileSystem.h"

namespace Qfn {

std::shared_ptr<OMFileSystemIterator> OMFileSystemIterator::factory(
    const std::shared_ptr<const OMFileSystem>& node)
{
    std::shared_ptr<OMFileSystemIterator> retVal;
    try {
        do {
            SANITY_CHECK(node);
            retVal.reset(new OMFileSystemIterator(node));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMFileSystemIterator::atEnd() const
{
    return fPos >= OMFileSystem::getAttributeNames().size();
}

std::string OMFileSystemIterator::getKey() const
{
    std::string retVal;
    try {
        if (!atEnd()) retVal = OMFileSystem::getAttributeNames()[fPos];
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMFileSystemIterator::operator++(int)
{
    if (!atEnd()) ++fPos;
}

std::shared_ptr<IOMNode> OMFileSystemIterator::operator*() const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            if (atEnd()) break;
            std::shared_ptr<IOMNode> node;
            const bool accessOMNodeResolvedSuccess =
                fNode->accessOMNodeReadOnlyResolved(nullptr, nullptr, getKey(), node);
            SANITY_CHECK(accessOMNodeResolvedSuccess);
            retVal = node;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
