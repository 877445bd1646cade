#include "support/ObjectClasses.h"

#include <gtest/gtest.h>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/DataNull.h"

namespace QfnTest {

namespace {

// Ends the run as main ends the program: the coordinator and the DataNull object go while every
// class's type name still exists, rather than among the static destructors.
class ReleaseSingletons : public testing::Environment {
    void TearDown() override
    {
        Qfn::InternalCoordinator::releaseSingleton();
        Qfn::DataNull::releaseSingleton();
    }
};

const bool kInstalled = [] {
    testing::AddGlobalTestEnvironment(new ReleaseSingletons);
    return true;
}();

}  // namespace

bool registerObjectClassesOnce()
{
    static const bool registered = Qfn::InternalCoordinator::registerObjectClasses();
    return registered;
}

}  // namespace QfnTest
