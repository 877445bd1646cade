#include "QfnService/Service_abstract.h"

#include <algorithm>

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnEvent/Event.h"
#include "QfnEvent/IEvent.h"
#include "QfnLogger/Check.h"
#include "QfnService/IServiceHost.h"
#include "QfnTask/Task.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

// The object itself, not its read-only view: what the maps hold.
std::shared_ptr<IObject> writable(const std::shared_ptr<const IObject>& obj)
{
    return obj ? Object::getObjectFromID(obj->getID()) : nullptr;
}

constexpr uint64_t kNoIndex = ~uint64_t(0);

}  // namespace

bool Service_abstract::attachChildObj(std::shared_ptr<const IObject> childObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(childObj);
            auto childService = std::dynamic_pointer_cast<const IService>(childObj);
            if (childService && childService->isCoordinator()) {
                LOG_ERROR("cannot attach coordinator");
                break;
            }
            if (ownsChild(childObj)) {
                LOG_ERROR("child already attached");
                break;
            }
            auto childFrame = std::dynamic_pointer_cast<const Service_abstract>(childObj);
            if (childFrame && childFrame->getParentObj()) {
                LOG_ERROR("child of different parent");
                break;
            }
            if (childObj->getGUID()) {
                SANITY_CHECK(attachRegisteredChildObj(childObj));
            } else {
                SANITY_CHECK(attachUnregisteredChildObj(childObj));
            }
            if (auto child = std::dynamic_pointer_cast<IService>(writable(childObj))) {
                if (!child->attachToParent(shared_from_this())) {
                    if (childObj->getGUID())
                        detachRegisteredChildObj(childObj);
                    else
                        detachUnregisteredChildObj(childObj);
                    break;
                }
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::attachToParent(std::shared_ptr<const IObject> parentObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(parentObj);
            if (!fParent.expired()) {
                LOG_ERROR("child of different parent");
                break;
            }
            fParent = writable(parentObj);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::attachRegisteredChildObj(const std::shared_ptr<const IObject>& childObj)
{
    bool retVal = false;
    try {
        do {
            GUIDClass* guid = childObj->getGUID();
            if (!guid || !childObj->isObjectGUIDRegistered()) {
                LOG_ERROR("not registered");
                break;
            }
            auto found = fRegisteredChildren.find(guid);
            if (found != fRegisteredChildren.end() && found->second.get() != childObj.get()) {
                LOG_ERROR("raw pointer mismatch");
                break;
            }
            std::shared_ptr<IObject> child;
            ASSIGN(child, writable(childObj));
            fRegisteredChildren[guid] = std::move(child);
            noteChildrenChanged();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::attachUnregisteredChildObj(const std::shared_ptr<const IObject>& childObj)
{
    bool retVal = false;
    try {
        do {
            if (childObj->getGUID()) {
                LOG_ERROR("child is registered");
                break;
            }
            std::shared_ptr<IObject> child;
            ASSIGN(child, writable(childObj));
            fUnregisteredChildren[childObj.get()] = std::move(child);
            noteChildrenChanged();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::detachChildObj(std::shared_ptr<const IObject> childObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(childObj);
            auto childService = std::dynamic_pointer_cast<const IService>(childObj);
            if (childService && childService->isCoordinator()) {
                LOG_ERROR("cannot detach coordinator");
                break;
            }
            auto childFrame = std::dynamic_pointer_cast<Service_abstract>(writable(childObj));
            if (childFrame && childFrame->getParentObj().get() != static_cast<const IObject*>(this)) {
                LOG_ERROR("child of different parent");
                break;
            }
            if (childObj->getGUID()) {
                SANITY_CHECK(detachRegisteredChildObj(childObj));
            } else {
                SANITY_CHECK(detachUnregisteredChildObj(childObj));
            }
            if (childFrame) childFrame->fParent.reset();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::detachRegisteredChildObj(const std::shared_ptr<const IObject>& childObj)
{
    bool retVal = false;
    try {
        do {
            auto found = fRegisteredChildren.find(childObj->getGUID());
            if (found == fRegisteredChildren.end()) {
                LOG_ERROR("child is not registered");
                break;
            }
            if (found->second.get() != childObj.get()) {
                LOG_ERROR("raw pointer mismatch");
                break;
            }
            fRegisteredChildren.erase(found);
            noteChildrenChanged();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::detachUnregisteredChildObj(const std::shared_ptr<const IObject>& childObj)
{
    bool retVal = false;
    try {
        do {
            if (childObj->getGUID()) {
                LOG_ERROR("child is registered");
                break;
            }
            if (fUnregisteredChildren.erase(childObj.get()) == 0) {
                LOG_ERROR("not a child");
                break;
            }
            noteChildrenChanged();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::detachFromParent()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IService> parent = std::dynamic_pointer_cast<IService>(fParent.lock());
            SANITY_CHECK(parent);
            std::shared_ptr<const IObject> thisObj = shared_from_this();
            SANITY_CHECK(parent->ownsChild(thisObj));
            SANITY_CHECK(parent->detachChildObj(thisObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::ownsChild(std::shared_ptr<const IObject> childObj) const
{
    return isRegisteredChild(childObj) || isUnregisteredChild(childObj);
}

bool Service_abstract::isRegisteredChild(const std::shared_ptr<const IObject>& childObj) const
{
    if (!childObj || !childObj->getGUID()) return false;
    auto found = fRegisteredChildren.find(childObj->getGUID());
    return found != fRegisteredChildren.end() && found->second.get() == childObj.get();
}

bool Service_abstract::isUnregisteredChild(const std::shared_ptr<const IObject>& childObj) const
{
    return childObj && fUnregisteredChildren.count(childObj.get()) != 0;
}

bool Service_abstract::refreshChildIndexLookupTables() const
{
    bool retVal = false;
    try {
        do {
            numericalIndexByChild.clear();
            childByNumericalIndex.clear();
            fChildCountByName.clear();
            // Indices follow the order in which the children were made, whatever map holds them, so
            // that giving a child its GUID does not change its index.
            std::vector<std::shared_ptr<IObject>> children;
            children.reserve(getChildCount());
            appendChildrenTo(children);
            std::sort(children.begin(), children.end(),
                      [](const auto& left, const auto& right) { return left->getID() < right->getID(); });
            bool allOK = true;
            for (const std::shared_ptr<IObject>& child : children) {
                if (!std::dynamic_pointer_cast<IService>(child)) continue;
                allOK = refreshChildIndexInNameMap(child) && allOK;
            }
            SANITY_CHECK(allOK);
            fAreLookupTablesStale = false;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::refreshChildIndexInNameMap(const std::shared_ptr<IObject>& childObj) const
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(IService, childService, childObj);
            const std::string& name = childService->getServiceName();
            // clang-format off
            SANITY_CHECK(! name.empty());
            // clang-format on
            const uint64_t index = fChildCountByName[name]++;
            numericalIndexByChild[childObj.get()] = index;
            childByNumericalIndex[{name, index}] = childObj;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::ensureLookupTables() const
{
    return !fAreLookupTablesStale || refreshChildIndexLookupTables();
}

uint64_t Service_abstract::getChildIndexInNameMap(std::shared_ptr<const IObject> childObj) const
{
    uint64_t retVal = kNoIndex;
    try {
        do {
            SANITY_CHECK(childObj);
            SANITY_CHECK(ensureLookupTables());
            auto found = numericalIndexByChild.find(childObj.get());
            if (found == numericalIndexByChild.end()) {
                LOG_ERROR("not a child");
                break;
            }
            retVal = found->second;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t Service_abstract::getIndexInNameMap() const
{
    uint64_t retVal = kNoIndex;
    try {
        do {
            auto parent = std::dynamic_pointer_cast<IService>(fParent.lock());
            if (!parent) {
                LOG_ERROR("no parent");
                break;
            }
            retVal = parent->getChildIndexInNameMap(shared_from_this());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t Service_abstract::getChildCountByName(const std::string& name) const
{
    if (!ensureLookupTables()) return 0;
    auto found = fChildCountByName.find(name);
    return found == fChildCountByName.end() ? 0 : found->second;
}

std::shared_ptr<IObject> Service_abstract::getChildByNameIndex(const std::string& name, uint64_t index) const
{
    if (!ensureLookupTables()) return nullptr;
    auto found = childByNumericalIndex.find({name, index});
    return found == childByNumericalIndex.end() ? nullptr : found->second.lock();
}

std::shared_ptr<IObject> Service_abstract::getAddressObj() const
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            if (fAddressObj) {
                retVal = fAddressObj;
                break;
            }
            IAddressHost* host = IAddressHost::getAvailable();
            SANITY_CHECK(host);
            GUIDClass* guid = nullptr;
            ASSIGN(guid, createGUID());
            GUIDClass* coordinatorGUID = nullptr;
            ASSIGN(coordinatorGUID, host->createGUID());
            ASSIGN(retVal, LocalResolvedAddress::factoryFromGUIDs(guid, coordinatorGUID));
            // An address never changes once made: the GUIDs are the service's and its coordinator's.
            fAddressObj = retVal;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* Service_abstract::createGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            auto parent = std::dynamic_pointer_cast<IService>(fParent.lock());
            if (fGUID || !parent) {
                retVal = Object::createGUID();
                break;
            }
            std::shared_ptr<const IObject> thisObj = shared_from_this();
            if (!parent->detachChildObj(thisObj)) {
                LOG_ERROR("cannot detach");
                break;
            }
            GUIDClass* guid = Object::createGUID();
            if (!guid) LOG_ERROR("no guid");
            if (!parent->attachChildObj(thisObj)) {
                LOG_ERROR("cannot attach");
                break;
            }
            retVal = guid;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::deregisterObject()
{
    bool retVal = false;
    try {
        do {
            bool allOK = true;
            fAddressObj.reset();
            // Taken aside first: detaching changes the maps.
            std::vector<std::shared_ptr<IObject>> children;
            appendChildrenTo(children);
            for (const std::shared_ptr<IObject>& child : children) {
                const bool isRegistered = child->getGUID() != nullptr;
                if (!detachChildObj(child)) {
                    LOG_ERROR(isRegistered ? "failed detachRegisteredChildObj"
                                           : "failed detachUnregisteredChildObj");
                    allOK = false;
                }
            }
            noteChildrenChanged();
            if (!fParent.expired()) allOK = detachFromParent() && allOK;
            allOK = Object::deregisterObject() && allOK;
            SANITY_CHECK(allOK);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::queueEvent(std::shared_ptr<IObject> eventObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(IEvent, event, eventObj);
            fEventQueue.push_back(std::move(eventObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::receiveMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            if (!hasEventHandlers("messageReceived")) {
                retVal = messageObj != nullptr;
                break;
            }
            ASSIGN_TYPED(IEvent, event, Event::factoryFromNamePayload("messageReceived", messageObj));
            SANITY_CHECK(this->fireEvent(event));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Service_abstract::isIdle() const
{
    for (const auto& entry : fRegisteredChildren) {
        auto child = std::dynamic_pointer_cast<const IService>(entry.second);
        if (child && !child->isIdle()) return false;
    }
    for (const auto& entry : fUnregisteredChildren) {
        auto child = std::dynamic_pointer_cast<const IService>(entry.second);
        if (child && !child->isIdle()) return false;
    }
    return true;
}

void Service_abstract::timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool allOK = true;
        bool result = false;
        std::shared_ptr<IService> childService;
    };
    enum : unsigned { START = 0, SNAPSHOT_CHILDREN, FIRE_EVENTS, NEXT_CHILD, CHILD_SLICE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) completed = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case START:
                    s.allOK = true;
                    s.result = false;
                    s.fState = SNAPSHOT_CHILDREN;
                    break;
                case SNAPSHOT_CHILDREN:
                    // The children as services, worked out again only after a child came or went.
                    if (fIsChildServiceListStale) {
                        fChildServices.clear();
                        std::vector<std::shared_ptr<IObject>> children;
                        appendChildrenTo(children);
                        for (const std::shared_ptr<IObject>& child : children)
                            if (auto childService = std::dynamic_pointer_cast<IService>(child))
                                fChildServices.push_back(childService);
                        fIsChildServiceListStale = false;
                    }
                    fTimesliceChildren = fChildServices;
                    fTimesliceChildCount = fTimesliceChildren.size();
                    s.fState = FIRE_EVENTS;
                    break;
                case FIRE_EVENTS:
                    if (!fEventQueue.empty()) {
                        // Events queued by handlers wait for the next slice.
                        fFiringEvents.swap(fEventQueue);
                        bool success = true;
                        for (const std::shared_ptr<IObject>& eventObj : fFiringEvents) {
                            if (IServiceHost* host = IServiceHost::get())
                                host->reportMessagingActivityInEventLoop();
                            if (!std::dynamic_pointer_cast<const IEvent>(eventObj)) {
                                LOG_CHECK_FAILED("ASSIGN_CONST_TYPED", "IEvent event = eventObj;");
                                success = false;
                                continue;
                            }
                            success = fireEvent(eventObj) && success;
                        }
                        fFiringEvents.clear();
                        if (!success) LOG_CHECK_FAILED("SANITY_CHECK", "success");
                        s.allOK = s.allOK && success;
                    }
                    s.fState = NEXT_CHILD;
                    break;
                case NEXT_CHILD: {
                    if (fTimesliceChildCount == 0) {
                        fTimesliceChildren.clear();
                        completed = s.allOK;
                        s.fState = kFinished;
                        break;
                    }
                    s.childService = fTimesliceChildren[--fTimesliceChildCount].lock();
                    if (!s.childService) {
                        LOG_NOTE("no childServiceObj");
                        break;
                    }
                    s.fState = CHILD_SLICE;
                    break;
                }
                    YIELDING_CALL(CHILD_SLICE, s.childService->timeslice_yielding(task, s.result));
                case resumeAfter(CHILD_SLICE):
                    s.allOK = s.allOK && s.result;
                    s.childService.reset();
                    s.fState = NEXT_CHILD;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
