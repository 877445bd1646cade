#include "QfnObject/ClassSupport.h"

namespace Qfn {

bool ClassSupport::registerDeregisterClass(RegisterDeregister registerDeregister, const std::string& typeName,
                                           ObjectFactory factory,
                                           DeserializationFactory deserializationFactory)
{
    bool retVal = false;
    try {
        do {
            if (registerDeregister == RegisterDeregister::REGISTER) {
                if (factory) {
                    SANITY_CHECK(Object::registerFactory(typeName, factory));
                }
                if (deserializationFactory) {
                    SANITY_CHECK(Object::registerDeserializationFactory(typeName, deserializationFactory));
                }
            } else if (registerDeregister == RegisterDeregister::DEREGISTER) {
                if (factory) {
                    SANITY_CHECK(Object::deregisterFactory(typeName));
                }
                if (deserializationFactory) {
                    SANITY_CHECK(Object::deregisterDeserializationFactory(typeName));
                }
            } else {
                LOG_ERROR("no registerDeregister");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
