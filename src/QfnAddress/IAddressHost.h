#pragma once

#include <memory>
#include <string>

#include "QfnObject/Forward.h"

namespace Qfn {

// What addresses ask of the coordinator of their process: its GUID and name, the objects behind
// index paths and GUIDs, its host and coordinator tables, and the alias tables of the configuration.
// The coordinator implements it and installs it with set(); without it no address resolves.
class IAddressHost {
public:
    virtual ~IAddressHost() = default;

    static IAddressHost* get() { return fHost; }
    static void set(IAddressHost* host) { fHost = host; }
    // The installed host while its coordinator exists, else null.
    static IAddressHost* getAvailable() { return fHost && fHost->isAvailable() ? fHost : nullptr; }

    // False before the coordinator exists and after it is gone.
    virtual bool isAvailable() = 0;
    // The coordinator's own GUID.
    virtual GUIDClass* createGUID() = 0;
    // This process's coordinator name.
    virtual const std::string& getName() = 0;
    virtual bool isMainCoordinator() = 0;
    // The local object (a service or the coordinator) an address leads to; empty when none.
    virtual std::shared_ptr<const IObject> resolveAddress(
        const std::shared_ptr<const IObject>& addressObj) = 0;
    virtual bool isLocalHost(const std::string& hostName) = 0;
    // Whether the coordinator can reach a coordinator of this name on this host.
    virtual bool isKnownSiblingCoordinator(const std::string& coordinatorName) = 0;
    // The coordinator GUID known for a host (empty for this one) and a coordinator name; null when unknown.
    virtual GUIDClass* getUpstreamCoordinatorGUID(const std::string& hostName,
                                                  const std::string& coordinatorName) = 0;
    // The host and coordinator name known for a coordinator GUID; empty when unknown.
    virtual const std::string& getHostName(GUIDClass* coordinatorGUID) = 0;
    virtual const std::string& getCoordinatorName(GUIDClass* coordinatorGUID) = 0;
    // The URL an alias of the urlMap section stands for; any other text unchanged.
    virtual std::string resolveUrlAlias(const std::string& url) = 0;
    // The coordinator alias table of the coordinatorMap section.
    virtual bool registerCoordinatorAlias(const std::string& alias, const std::string& coordinatorName) = 0;
    virtual const std::string& resolveCoordinatorAlias(const std::string& coordinatorName) = 0;

private:
    static constinit inline IAddressHost* fHost = nullptr;
};

}  // namespace Qfn
