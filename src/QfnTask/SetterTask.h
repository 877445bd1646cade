#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Stores a node under a member or element of another; the task's result is whether it was
// stored, and the node given becomes the node really stored.
class SetterTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                                         std::shared_ptr<IOMNode>& node);
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& target, uint64_t idx,
                                         std::shared_ptr<IOMNode>& node);
    static bool call(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                     std::shared_ptr<IOMNode>& node);
    static bool call(const std::shared_ptr<IOMNode>& target, uint64_t idx, std::shared_ptr<IOMNode>& node);

    void timeslice() override;

private:
    SetterTask(std::shared_ptr<IOMNode> target, std::string attr, uint64_t idx, bool byIdx,
               std::shared_ptr<IOMNode>& node);
    static bool run(const std::shared_ptr<Task>& task);

    std::shared_ptr<IOMNode> fTarget;
    std::string fAttr;
    uint64_t fIdx;
    bool fByIdx;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
};

}  // namespace Qfn
