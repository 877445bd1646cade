// The coordinator, with its services and their scopes, exists before the first test starts, as it
// does in a running process: counts of objects and nodes taken at a test's start then include them.
#include <gtest/gtest.h>

#include "QfnCoordinator/InternalCoordinator.h"

namespace QfnTest {

namespace {

class CoordinatorEnvironment : public testing::Environment {
public:
    void SetUp() override { ASSERT_TRUE(Qfn::InternalCoordinator::factory()); }
};

const bool kInstalled = [] {
    testing::AddGlobalTestEnvironment(new CoordinatorEnvironment);
    return true;
}();

}  // namespace

}  // namespace QfnTest
