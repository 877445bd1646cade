#pragma once

#include <memory>

#include "QfnObject/ClassSupport.h"

namespace Qfn {

// What a service that exists once per process has: its class-wide instance, made on first use and
// let go by main in its fixed order (never made again after that), and its registration by TYPENAME.
template <class T>
class ServiceSingleton {
public:
    static std::shared_ptr<IObject> factory()
    {
        if (!fInstance && !fIsReleased) fInstance = ClassSupport::makeEmpty<T>();
        return fInstance;
    }
    static void releaseSingleton()
    {
        fIsReleased = true;
        fInstance.reset();
    }
    static bool registerDeregisterClass(RegisterDeregister registerDeregister)
    {
        return ClassSupport::registerDeregisterClass(registerDeregister, T::TYPENAME, &factory, nullptr);
    }

private:
    static inline std::shared_ptr<IObject> fInstance;
    static inline bool fIsReleased = false;
};

}  // namespace Qfn
