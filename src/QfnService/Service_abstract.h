#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QfnEvent/EventSource.h"
#include "QfnService/IService.h"

namespace Qfn {

class Task;

// The base of every service of the coordinator's tree: children by GUID (registered) or by pointer
// (not yet registered), their indices among children of one name, events queued for the next slice,
// and a slice that runs every child's slice in turn.
class Service_abstract : public virtual IService, public virtual EventSource {
public:
    bool attachChildObj(std::shared_ptr<const IObject> childObj) override;
    bool attachToParent(std::shared_ptr<const IObject> parentObj) override;
    bool detachChildObj(std::shared_ptr<const IObject> childObj) override;
    bool detachFromParent() override;
    bool ownsChild(std::shared_ptr<const IObject> childObj) const override;
    virtual bool isRegisteredChild(const std::shared_ptr<const IObject>& childObj) const;
    virtual bool isUnregisteredChild(const std::shared_ptr<const IObject>& childObj) const;

    uint64_t getChildIndexInNameMap(std::shared_ptr<const IObject> childObj) const override;
    uint64_t getIndexInNameMap() const override;
    virtual uint64_t getChildCountByName(const std::string& name) const;
    std::shared_ptr<IObject> getChildByNameIndex(const std::string& name, uint64_t index) const override;
    virtual bool refreshChildIndexLookupTables() const;
    std::shared_ptr<IObject> getParentObj() const { return fParent.lock(); }
    size_t getChildCount() const { return fRegisteredChildren.size() + fUnregisteredChildren.size(); }

    // A resolved address of this service's GUID and the coordinator's.
    std::shared_ptr<IObject> getAddressObj() const override;
    // Making the GUID moves the service from its parent's unregistered children to the registered ones.
    GUIDClass* createGUID() const override;
    bool deregisterObject() override;

    bool queueEvent(std::shared_ptr<IObject> eventObj) override;
    // Fires "messageReceived" with the message; services that act on messages override it and call it first.
    bool receiveMessage(std::shared_ptr<const IObject> messageObj) override;
    bool isIdle() const override;
    // Fires the queued events, then runs the slice of each child present when the slice began.
    void timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed) override;

protected:
    Service_abstract() = default;
    ~Service_abstract() override = default;

    virtual bool attachRegisteredChildObj(const std::shared_ptr<const IObject>& childObj);
    virtual bool attachUnregisteredChildObj(const std::shared_ptr<const IObject>& childObj);
    virtual bool detachRegisteredChildObj(const std::shared_ptr<const IObject>& childObj);
    virtual bool detachUnregisteredChildObj(const std::shared_ptr<const IObject>& childObj);
    // Gives the child the next index among children of its service name.
    virtual bool refreshChildIndexInNameMap(const std::shared_ptr<IObject>& childObj) const;

private:
    // Every child, the registered ones first, appended as shared or weak pointers.
    template <class Container>
    void appendChildrenTo(Container& children) const
    {
        for (const auto& entry : fRegisteredChildren)
            children.push_back(entry.second);
        for (const auto& entry : fUnregisteredChildren)
            children.push_back(entry.second);
    }
    // The tables are rebuilt on the next lookup after a child came or went.
    bool ensureLookupTables() const;

    std::map<GUIDClass*, std::shared_ptr<IObject>> fRegisteredChildren;
    std::map<const IObject*, std::shared_ptr<IObject>> fUnregisteredChildren;
    mutable std::unordered_map<const IObject*, uint64_t> numericalIndexByChild;
    mutable std::map<std::pair<std::string, uint64_t>, std::weak_ptr<IObject>> childByNumericalIndex;
    mutable std::unordered_map<std::string, uint64_t> fChildCountByName;
    mutable bool fAreLookupTablesStale = true;
    std::vector<std::shared_ptr<IObject>> fEventQueue;
    std::vector<std::shared_ptr<IObject>> fFiringEvents;
    // Marks the lookup tables and the list of child services for rebuilding.
    void noteChildrenChanged()
    {
        fAreLookupTablesStale = true;
        fIsChildServiceListStale = true;
    }
    std::vector<std::weak_ptr<IService>> fChildServices;
    bool fIsChildServiceListStale = true;
    std::vector<std::weak_ptr<IService>> fTimesliceChildren;
    uint64_t fTimesliceChildCount = 0;
    std::weak_ptr<IObject> fParent;
    mutable std::shared_ptr<IObject> fAddressObj;
};

}  // namespace Qfn
