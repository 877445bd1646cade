#pragma once

#include <memory>
#include <string>

#include "QfnData/Data_abstract.h"
#include "QfnEvent/IEvent.h"

namespace Qfn {

// A named happening with an optional payload; a data value, so that it can travel.
class Event : public virtual Data_abstract, public virtual IEvent {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factoryFromNamePayload(const std::string& name,
                                                           std::shared_ptr<const IObject> payloadObj);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static void deleter(Event* event);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;

    const std::string& getName() const override { return fName; }
    std::shared_ptr<const IObject> getPayloadObj() const override { return fPayloadObj; }
    bool setEventSource(IEventSource* eventSource) override;
    IEventSource* getEventSource() const override { return fEventSource; }
    bool wasRootListenerCalled() const override { return fIsRootListenerCalled; }
    void markRootListenerCalled() override { fIsRootListenerCalled = true; }
    std::string toString() const override;

private:
    friend struct ClassSupport;
    Event() = default;
    ~Event() override = default;

    std::string fName;
    std::shared_ptr<const IObject> fPayloadObj;
    IEventSource* fEventSource = nullptr;
    bool fIsRootListenerCalled = false;
};

}  // namespace Qfn
