// Addresses by host and coordinator name.
#include <gtest/gtest.h>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "support/LogCapture.h"

using Qfn::InternalCoordinator;
using Qfn::RemoteUnresolvedAddress;

namespace {

using RemoteUnresolvedResolution = QfnTest::AddressFixture;

std::shared_ptr<RemoteUnresolvedAddress> make(const std::string& name, const std::string& indices,
                                              const std::string& host)
{
    return std::dynamic_pointer_cast<RemoteUnresolvedAddress>(
        RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(name, indices, host));
}

}  // namespace

TEST_F(RemoteUnresolvedResolution, ALocalHostResolvesAsALocalAddress)
{
    for (const std::string host : {"localhost", "127.0.0.1", "::1", "LocalHost"}) {
        SCOPED_TRACE(host);
        auto fromFactory = make("net.quillfern.coordinator.main", "", host);
        auto fromURL = std::dynamic_pointer_cast<Qfn::IAddress>(
            QfnTest::AddressFixture::fromURL("qfn://" + host + "/net.quillfern.coordinator.main/"));
        ASSERT_TRUE(fromFactory);
        ASSERT_TRUE(fromURL);
        for (const auto& address : {std::dynamic_pointer_cast<Qfn::IAddress>(fromFactory), fromURL}) {
            auto resolved = std::dynamic_pointer_cast<const Qfn::IGUIDAddress>(address->resolved());
            ASSERT_TRUE(resolved);
            EXPECT_EQ(resolved->getAddressedGUID(), fCoordinatorGUID);
            EXPECT_EQ(resolved->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
            EXPECT_TRUE(address->isInternalCoordinatorAddress());
        }
        EXPECT_EQ(fromFactory->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
        QfnTest::LogCapture notes(3);
        auto coordinator = std::dynamic_pointer_cast<InternalCoordinator>(InternalCoordinator::factory());
        EXPECT_EQ(coordinator->resolveAddress(fromFactory).get(), coordinator.get());
        EXPECT_TRUE(notes.hasLineEndingWith("resolves to local"));
        EXPECT_TRUE(notes.hasLineEndingWith("fHostName = " + host));
    }
    // A name of this host registered from configuration counts as well; a sibling unknown to main
    // resolves to nothing, without a line.
    ASSERT_TRUE(InternalCoordinator::registerHostName("me.example", "127.0.0.1"));
    QfnTest::LogCapture capture(1);
    EXPECT_TRUE(make("net.quillfern.coordinator.main", "", "me.example")->isInternalCoordinatorAddress());
    EXPECT_FALSE(make("net.quillfern.coordinator.unknown", "", "me.example")->resolved());
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(RemoteUnresolvedResolution, AnotherHostStaysForTheGatewayAndItsCoordinatorIsLookedUp)
{
    auto address = make("net.quillfern.coordinator.main", "default", "far.example");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->getAsURL(), "qfn://far.example/net.quillfern.coordinator.main/default");
    EXPECT_NE(address->toString().find(" Hostname = far.example Coordinator = net.quillfern.coordinator.main "
                                       "Indices = default"),
              std::string::npos)
        << address->toString();
    EXPECT_EQ(address->resolved().get(), address.get());
    EXPECT_FALSE(address->isInternalCoordinatorAddress());
    {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(address->getUpstreamCoordinatorGUID());
        EXPECT_TRUE(
            capture.hasLineEndingWith("ASSIGN failed: 'upstreamCoordinatorGUID = "
                                      "internalCoordinator->getUpstreamCoordinatorGUID(fHostName, "
                                      "serviceName);'"));
    }
    Qfn::GUIDClass* farMain = Qfn::GUIDClass::randomFactory();
    ASSERT_TRUE(InternalCoordinator::registerSenderCoordinator(farMain, "FAR.example",
                                                               "net.quillfern.coordinator.main"));
    EXPECT_EQ(address->getUpstreamCoordinatorGUID(), farMain);
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(make("net.quillfern.coordinator.main", "", "near.example")->getUpstreamCoordinatorGUID());
}

TEST_F(RemoteUnresolvedResolution, HostsThatAreNoHostNamesAreRefused)
{
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(make("net.quillfern.coordinator.main", "", ""));
    EXPECT_FALSE(make("net.quillfern.coordinator.main", "", "a/b"));
    EXPECT_FALSE(make("net.quillfern.coordinator.main", "", "0123456789abcdef0123456789abcdef"));
    EXPECT_EQ(capture.countContaining("isValidHostName(hostName)"), 3u);
}
