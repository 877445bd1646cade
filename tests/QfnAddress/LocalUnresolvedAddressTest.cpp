// Addresses by the name of a coordinator of this host.
#include <gtest/gtest.h>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "support/LogCapture.h"

using Qfn::InternalCoordinator;
using Qfn::LocalUnresolvedAddress;

namespace {

using LocalUnresolvedResolution = QfnTest::AddressFixture;

std::shared_ptr<LocalUnresolvedAddress> make(const std::string& name, const std::string& indices)
{
    return std::dynamic_pointer_cast<LocalUnresolvedAddress>(
        LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(name, indices));
}

}  // namespace

TEST_F(LocalUnresolvedResolution, PrintsWithItsNameAndPath)
{
    auto address = make("SomeCoordinator", "net.quillfern.service.null/0");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->getAsURL(), "qfn:///SomeCoordinator/net.quillfern.service.null/0");
    EXPECT_NE(
        address->toString().find(" Coordinator = SomeCoordinator Indices = net.quillfern.service.null/0"),
        std::string::npos)
        << address->toString();
    EXPECT_TRUE(address->getHostName().empty());
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(make("", "a"));
    EXPECT_FALSE(make("1st", "a"));
    EXPECT_FALSE(make("ok", "a/b"));
    EXPECT_EQ(capture.countContaining("SANITY_CHECK failed"), 3u);
}

TEST_F(LocalUnresolvedResolution, OwnNameResolvesHereLikeTheInternalAddress)
{
    auto address = make("net.quillfern.coordinator.main", "");
    auto resolved = std::dynamic_pointer_cast<const Qfn::IGUIDAddress>(address->resolved());
    ASSERT_TRUE(resolved);
    EXPECT_EQ(resolved->getAddressedGUID(), fCoordinatorGUID);
    EXPECT_EQ(resolved->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
    EXPECT_EQ(address->getAddressedGUID(), fCoordinatorGUID);
    EXPECT_EQ(address->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
    EXPECT_TRUE(address->isInternalCoordinatorAddress());
    auto coordinator = std::dynamic_pointer_cast<InternalCoordinator>(InternalCoordinator::factory());
    EXPECT_EQ(coordinator->resolveAddress(address).get(), coordinator.get());
    // A path below it names no service yet: nothing, without a line.
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(make("net.quillfern.coordinator.main", "net.quillfern.service.null/1")->resolved());
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(LocalUnresolvedResolution, OtherNamesOnMainResolveOnlyWhenKnown)
{
    auto address = make("net.quillfern.coordinator.sibling", "default");
    {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(address->resolved());
        EXPECT_FALSE(address->getAddressedGUID());
        EXPECT_TRUE(capture.lines().empty());
        EXPECT_FALSE(address->getUpstreamCoordinatorGUID());
        EXPECT_TRUE(
            capture.hasLineEndingWith("ASSIGN failed: 'upstreamCoordinatorGUID = "
                                      "internalCoordinator->getUpstreamCoordinatorGUID( \"\", "
                                      "coordinatorIndexName);'"));
    }
    // Once the sibling has written from this host, main can reach it: the address stays for routing.
    Qfn::GUIDClass* siblingGUID = Qfn::GUIDClass::randomFactory();
    ASSERT_TRUE(
        InternalCoordinator::registerSenderCoordinator(siblingGUID, "", "net.quillfern.coordinator.sibling"));
    EXPECT_EQ(address->resolved().get(), address.get());
    EXPECT_EQ(address->getUpstreamCoordinatorGUID(), siblingGUID);
    EXPECT_FALSE(address->isInternalCoordinatorAddress());
    // The same name known on another host is not a sibling.
    EXPECT_FALSE(make("net.quillfern.coordinator.far", "")->resolved());
    ASSERT_TRUE(InternalCoordinator::registerSenderCoordinator(Qfn::GUIDClass::randomFactory(), "far.example",
                                                               "net.quillfern.coordinator.far"));
    EXPECT_FALSE(make("net.quillfern.coordinator.far", "")->resolved());
}

TEST_F(LocalUnresolvedResolution, OnAnotherCoordinatorEveryOtherNameGoesOnToMain)
{
    QfnTest::ScopedCoordinatorName name("net.quillfern.coordinator.other");
    auto toMain = make("net.quillfern.coordinator.main", "default");
    EXPECT_EQ(toMain->resolved().get(), toMain.get());
    auto toThird = make("net.quillfern.coordinator.third", "");
    EXPECT_EQ(toThird->resolved().get(), toThird.get());
    auto self = std::dynamic_pointer_cast<const Qfn::IGUIDAddress>(
        make("net.quillfern.coordinator.other", "")->resolved());
    ASSERT_TRUE(self);
    EXPECT_EQ(self->getAddressedGUID(), fCoordinatorGUID);
}

TEST_F(LocalUnresolvedResolution, AShorthandNamesItsCoordinator)
{
    ASSERT_TRUE(LocalUnresolvedAddress::defineShorthand("Main", "net.quillfern.coordinator.main"));
    auto address = make("main", "");
    auto resolved = std::dynamic_pointer_cast<const Qfn::IGUIDAddress>(address->resolved());
    ASSERT_TRUE(resolved);
    EXPECT_EQ(resolved->getAddressedGUID(), fCoordinatorGUID);
    EXPECT_EQ(address->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
}
