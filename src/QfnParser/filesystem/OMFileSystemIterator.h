#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/model/IOMNode.h"

namespace Qfn {

class OMFileSystem;

// A walk over the attributes of a file-system node in their fixed order; each attribute is
// computed when the walk reaches it and asks for its value. The node stays alive while it runs.
class OMFileSystemIterator : public IOMNodeIterator {
public:
    static std::shared_ptr<OMFileSystemIterator> factory(const std::shared_ptr<const OMFileSystem>& node);

    bool atEnd() const override;
    // All ones: the node is a map.
    uint64_t getIdx() const override { return ~uint64_t(0); }
    // The attribute name; empty at the end.
    std::string getKey() const override;
    void operator++(int) override;
    std::shared_ptr<IOMNode> operator*() const override;

private:
    explicit OMFileSystemIterator(std::shared_ptr<const OMFileSystem> node) : fNode(std::move(node)) {}

    std::shared_ptr<const OMFileSystem> fNode;
    size_t fPos = 0;
};

}  // namespace Qfn
