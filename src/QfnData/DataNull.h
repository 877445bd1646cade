#pragma once

#include <memory>
#include <string>

#include "QfnData/Data_abstract.h"

namespace Qfn {

// The missing value: one object in the process, with no content.
class DataNull : public virtual Data_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    // The one object, the same on each call (the empty pointer after releaseSingleton).
    static std::shared_ptr<IObject> factory();
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static void deleter(DataNull* dataNull);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);
    // Drops the process's hold on the one object, at the end of the process.
    static void releaseSingleton();

private:
    friend struct ClassSupport;
    DataNull() = default;
    ~DataNull() override = default;

    static std::shared_ptr<IObject> fSingleton;
    static bool fSingletonReleased;
};

}  // namespace Qfn
