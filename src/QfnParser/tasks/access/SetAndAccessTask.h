#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Stores a node under a member or element of another, or into the node itself; the task's
// result says whether it worked, and the node given becomes the node really stored.
class SetAndAccessTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                                         std::shared_ptr<IOMNode>& node);
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& target, uint64_t idx,
                                         std::shared_ptr<IOMNode>& node);
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& target,
                                         std::shared_ptr<IOMNode>& node);
    static bool call(const std::shared_ptr<IOMNode>& target, const std::string& attr,
                     std::shared_ptr<IOMNode>& node);
    static bool call(const std::shared_ptr<IOMNode>& target, uint64_t idx, std::shared_ptr<IOMNode>& node);
    static bool call(const std::shared_ptr<IOMNode>& target, std::shared_ptr<IOMNode>& node);

    void timeslice() override;

private:
    enum class Key { ATTR, IDX, NONE };

    SetAndAccessTask(const char* name, std::shared_ptr<IOMNode> target, Key key, std::string attr,
                     uint64_t idx, std::shared_ptr<IOMNode>& node);
    static std::shared_ptr<Task> make(const char* name, const std::shared_ptr<IOMNode>& target, Key key,
                                      const std::string& attr, uint64_t idx, std::shared_ptr<IOMNode>& node);
    static bool run(const std::shared_ptr<Task>& task);

    std::shared_ptr<IOMNode> fTarget;
    Key fKey;
    std::string fAttr;
    uint64_t fIdx;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
};

}  // namespace Qfn
