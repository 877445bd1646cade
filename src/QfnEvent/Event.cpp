#include "QfnEvent/Event.h"

#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"
#include "QfnSerializer/ISerializer.h"

namespace Qfn {

const std::string Event::TYPENAME = "Event";

std::shared_ptr<IObject> Event::factoryFromNamePayload(const std::string& name,
                                                       std::shared_ptr<const IObject> payloadObj)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! name.empty());
            // clang-format on
            ASSIGN_TYPED(Event, event, ClassSupport::makeEmpty<Event>());
            event->fName = name;
            event->fPayloadObj = std::move(payloadObj);
            retVal = event;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> Event::factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(std::dynamic_pointer_cast<IData>(ClassSupport::makeEmpty<Event>()),
                                  serializerObj);
}

void Event::deleter(Event* event)
{
    ClassSupport::deleter(event);
}

bool Event::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &Event::factoryFromSerialized);
}

bool Event::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                        const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                // clang-format off
                SANITY_CHECK(! fName.empty());
                // clang-format on
                SANITY_CHECK(serializer->putString(fName));
                SANITY_CHECK(Data_abstract::serialize(fPayloadObj, serializerObj));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                // clang-format off
                SANITY_CHECK(! serializer->atEnd());
                // clang-format on
                fName = serializer->getString();
                // clang-format off
                SANITY_CHECK(! fName.empty());
                // clang-format on
                fPayloadObj = Data_abstract::factoryFromTypePrefixedSerialized(serializerObj);
                SANITY_CHECK(fPayloadObj);
            } else {
                LOG_ERROR("no serializeDeserialize");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Event::setEventSource(IEventSource* eventSource)
{
    fEventSource = eventSource;
    // A new firing starts with no listener heard from.
    if (eventSource) fIsRootListenerCalled = false;
    return true;
}

std::string Event::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " name = " + fName;
        if (fPayloadObj) retVal += " payload = " + fPayloadObj->toString();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
