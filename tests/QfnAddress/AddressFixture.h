#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "QfnAddress/Address_abstract.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnObject/GUIDClass.h"
#include "support/ObjectClasses.h"
#include "support/UrlRoundTrip.h"

namespace QfnTest {

// The coordinator as start-up leaves it for addresses: classes registered, this host's names known;
// the names are forgotten after each test.
class AddressFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(registerObjectClassesOnce());
        ASSERT_TRUE(registerLocalHostNames());
        fCoordinatorGUID = Qfn::InternalCoordinator::factory()->createGUID();
        ASSERT_TRUE(fCoordinatorGUID);
    }
    void TearDown() override { Qfn::InternalCoordinator::clearHostNamesAndAliases(); }

    static std::shared_ptr<Qfn::IObject> fromURL(const std::string& url)
    {
        std::string tail;
        return Qfn::Address_abstract::factoryFromURL(url, tail);
    }
    static std::string guidText(Qfn::GUIDClass* guid) { return guid->toString(); }

    Qfn::GUIDClass* fCoordinatorGUID = nullptr;
};

// This process bears another coordinator name while it lives.
class ScopedCoordinatorName {
public:
    explicit ScopedCoordinatorName(const std::string& name) : fSaved(Qfn::InternalCoordinator::getName())
    {
        EXPECT_TRUE(Qfn::InternalCoordinator::setName(name));
    }
    ~ScopedCoordinatorName() { Qfn::InternalCoordinator::setName(fSaved); }

private:
    std::string fSaved;
};

}  // namespace QfnTest
