#include "QfnData/DataNull.h"

#include "QfnLogger/Check.h"

namespace Qfn {

const std::string DataNull::TYPENAME = "DataNull";
std::shared_ptr<IObject> DataNull::fSingleton;
bool DataNull::fSingletonReleased = false;

std::shared_ptr<IObject> DataNull::factory()
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            if (!fSingleton && !fSingletonReleased)
                fSingleton = Object::adopt(new DataNull(), &DataNull::deleter);
            retVal = fSingleton;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> DataNull::factoryFromSerialized(const std::shared_ptr<IObject>&)
{
    return factory();
}

void DataNull::releaseSingleton()
{
    fSingletonReleased = true;
    fSingleton.reset();
}

void DataNull::deleter(DataNull* dataNull)
{
    try {
        do {
            SANITY_CHECK(dataNull);
            Object::deleter(dataNull);
            delete dataNull;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool DataNull::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    bool retVal = false;
    try {
        do {
            if (registerDeregister == RegisterDeregister::REGISTER) {
                SANITY_CHECK(
                    Object::registerDeserializationFactory(TYPENAME, DataNull::factoryFromSerialized));
            } else if (registerDeregister == RegisterDeregister::DEREGISTER) {
                SANITY_CHECK(Object::deregisterDeserializationFactory(TYPENAME));
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
