#include "support/ObjectClasses.h"

#include "QfnCoordinator/InternalCoordinator.h"

namespace QfnTest {

bool registerObjectClassesOnce()
{
    static const bool registered = Qfn::InternalCoordinator::registerObjectClasses();
    return registered;
}

}  // namespace QfnTest
