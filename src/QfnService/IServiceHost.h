#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnObject/Forward.h"
#include "QfnParser/Forward.h"

namespace Qfn {

class Task;

// What services ask of the coordinator they hang under: to route a message they built, to hear of
// messaging work (which keeps the event loop from sleeping), and to serve a data request. The
// coordinator implements it and installs it with set().
class IServiceHost {
public:
    virtual ~IServiceHost() = default;

    static IServiceHost* get() { return fHost; }
    static void set(IServiceHost* host) { fHost = host; }

    virtual bool queueMessage(std::shared_ptr<const IObject> messageObj) = 0;
    virtual bool reportMessagingActivityInEventLoop() = 0;
    // Starts the task that calls the data-request function registered under callBackID; null when
    // none can be started.
    virtual std::shared_ptr<Task> handleDataRequest(const std::shared_ptr<const IObject>& senderAddressObj,
                                                    const std::string& callBackID, const std::string& data,
                                                    int64_t clientSequenceNr, int64_t serviceSequenceNr,
                                                    GUIDClass* senderGUID, GUIDClass* upstreamCoordinatorGUID,
                                                    const std::shared_ptr<OMScope>& scope) = 0;

private:
    static constinit inline IServiceHost* fHost = nullptr;
};

}  // namespace Qfn
