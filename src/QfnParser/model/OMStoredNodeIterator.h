#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/model/IOMNode.h"

namespace Qfn {

// A walk over the elements of an OMStored array or the members of its map, in the container's own
// order. It holds the node and the container, so neither goes away while the walk runs.
class OMStoredNodeIterator : public IOMNodeIterator {
public:
    // Null unless the node is an array or a map.
    static std::shared_ptr<OMStoredNodeIterator> factory(const std::shared_ptr<const OMStored>& node);

    bool atEnd() const override;
    // The element's index; all ones over a map.
    uint64_t getIdx() const override;
    // The member's key; over an array the decimal index.
    std::string getKey() const override;
    void operator++(int) override;
    std::shared_ptr<IOMNode> operator*() const override;

private:
    explicit OMStoredNodeIterator(std::shared_ptr<const OMStored> node) : fOMStoredNode(std::move(node)) {}

    std::shared_ptr<const OMStored> fOMStoredNode;
    std::shared_ptr<OMArray> fArray;
    OMArray::const_iterator fArrayPos;
    std::shared_ptr<OMMap> fMap;
    OMMap::const_iterator fMapPos;
};

}  // namespace Qfn
