#include "QfnData/DataNull.h"

#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"

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
    ClassSupport::deleter(dataNull);
}

bool DataNull::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &DataNull::factoryFromSerialized);
}

}  // namespace Qfn
