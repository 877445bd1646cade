#pragma once

#include <memory>

#include "QfnObject/ClassSupport.h"

namespace Qfn {

// The class-wide instance of a service that exists once per process: made on first use, let go
// by main in its fixed order, and never made again after that.
template <class T>
class ServiceSingleton {
public:
    static std::shared_ptr<IObject> get()
    {
        if (!fInstance && !fIsReleased) fInstance = ClassSupport::makeEmpty<T>();
        return fInstance;
    }
    static void release()
    {
        fIsReleased = true;
        fInstance.reset();
    }

private:
    static inline std::shared_ptr<IObject> fInstance;
    static inline bool fIsReleased = false;
};

}  // namespace Qfn
