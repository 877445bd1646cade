#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>

#include "QfnService/Service_abstract.h"

namespace Qfn {

// The proxy, inside this process, of another coordinator of this host: a child service of the
// coordinator that holds the messages routed to that coordinator. Until the named pipes exist it
// only keeps them (the newest kMaxHeldMessages) and its scans find no siblings.
class SiblingCoordinator : public virtual Service_abstract {
public:
    static const std::string TYPENAME;
    static const std::string SERVICE_NAME;
    static constexpr size_t kMaxHeldMessages = 1000;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return SERVICE_NAME; }

    // Makes the proxy of a sibling and attaches it to the parent (the coordinator).
    static std::shared_ptr<IObject> factoryFromParentName(std::shared_ptr<IObject> parentObj,
                                                          const std::string& siblingName);
    // The proxy of that name; empty when there is none, after a scan.
    static std::shared_ptr<IObject> getSiblingCoordinator(const std::string& siblingName);

    static bool scanForSiblings();
    static bool scanForActiveSiblings() { return true; }
    static bool scanForNamedPipeSiblings() { return true; }
    static bool scanForConfigSiblings() { return true; }

    bool relayOutgoingMessage(std::shared_ptr<const IObject> messageObj);
    const std::string& getSiblingName() const { return fSiblingName; }
    const std::deque<std::shared_ptr<const IObject>>& getHeldMessages() const { return fMessageQueue; }
    bool deregisterObject() override;

private:
    friend struct ClassSupport;
    SiblingCoordinator() = default;
    ~SiblingCoordinator() override = default;

    std::string fSiblingName;
    std::deque<std::shared_ptr<const IObject>> fMessageQueue;

    static std::map<std::string, std::weak_ptr<IObject>> fSiblings;
};

}  // namespace Qfn
