// Addresses by GUIDs, local and remote: printing, turning local, and what the tables tell of them.
#include <gtest/gtest.h>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "support/LogCapture.h"

using Qfn::GUIDClass;
using Qfn::InternalCoordinator;
using Qfn::IObject;
using Qfn::LocalResolvedAddress;
using Qfn::RemoteResolvedAddress;

namespace {

using ResolvedAddresses = QfnTest::AddressFixture;

template <class T>
std::shared_ptr<T> make(GUIDClass* addressed, GUIDClass* upstream)
{
    return std::dynamic_pointer_cast<T>(T::factoryFromGUIDs(addressed, upstream));
}

}  // namespace

TEST_F(ResolvedAddresses, PrintUpstreamThenAddressedInTheDefaultForm)
{
    GUIDClass* service = GUIDClass::randomFactory();
    auto local = make<LocalResolvedAddress>(service, fCoordinatorGUID);
    ASSERT_TRUE(local);
    EXPECT_EQ(local->getAsURL(), "qfn://" + guidText(fCoordinatorGUID) + "/" + guidText(service));
    EXPECT_EQ(local->resolved().get(), local.get());
    EXPECT_FALSE(local->isInternalCoordinatorAddress());
    EXPECT_TRUE(
        make<LocalResolvedAddress>(fCoordinatorGUID, fCoordinatorGUID)->isInternalCoordinatorAddress());
    EXPECT_NE(local->toString().find(" AddressedGUID = " + guidText(service) +
                                     " UpstreamCoordinatorGUID = " + guidText(fCoordinatorGUID)),
              std::string::npos)
        << local->toString();
    // The same GUIDs make equal addresses of one class only.
    auto remote = make<RemoteResolvedAddress>(service, fCoordinatorGUID);
    EXPECT_TRUE(*local == *make<LocalResolvedAddress>(service, fCoordinatorGUID));
    const IObject& localObject = *local;
    const IObject& remoteObject = *remote;
    EXPECT_FALSE(localObject == remoteObject);
    EXPECT_FALSE(remoteObject == localObject);
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(LocalResolvedAddress::factoryFromGUIDs(nullptr, fCoordinatorGUID));
    EXPECT_FALSE(RemoteResolvedAddress::factoryFromGUIDs(service, nullptr));
    EXPECT_TRUE(
        capture.hasLineEndingWith("SANITY_CHECK failed: 'upstreamCoordinatorGUID' evaluates to false"));
}

TEST_F(ResolvedAddresses, ARemoteAddressBehindThisCoordinatorTurnsLocal)
{
    GUIDClass* other = GUIDClass::randomFactory();
    // The addressed GUID is this coordinator's, the upstream another process's: it stays remote.
    auto stays = make<RemoteResolvedAddress>(fCoordinatorGUID, other);
    EXPECT_EQ(stays->resolved().get(), stays.get());
    EXPECT_FALSE(stays->isInternalCoordinatorAddress());

    GUIDClass* service = GUIDClass::randomFactory();
    auto turns = make<RemoteResolvedAddress>(service, fCoordinatorGUID);
    QfnTest::LogCapture notes(3);
    auto local = std::dynamic_pointer_cast<const LocalResolvedAddress>(turns->resolved());
    ASSERT_TRUE(local);
    EXPECT_TRUE(notes.hasLineEndingWith("resolves to local"));
    EXPECT_TRUE(notes.hasLineEndingWith("hostName = "));
    EXPECT_EQ(local->getAddressedGUID(), service);
    EXPECT_EQ(local->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
    EXPECT_TRUE(
        make<RemoteResolvedAddress>(fCoordinatorGUID, fCoordinatorGUID)->isInternalCoordinatorAddress());
}

TEST_F(ResolvedAddresses, NamesComeFromTheTablesByUpstreamGUID)
{
    GUIDClass* far = GUIDClass::randomFactory();
    GUIDClass* sibling = GUIDClass::randomFactory();
    auto remote = make<RemoteResolvedAddress>(GUIDClass::randomFactory(), far);
    auto local = make<LocalResolvedAddress>(GUIDClass::randomFactory(), sibling);
    EXPECT_EQ(remote->getHostName(), "");
    EXPECT_EQ(remote->getCoordinatorName(), "");
    ASSERT_TRUE(
        InternalCoordinator::registerSenderCoordinator(far, "far.example", "net.quillfern.coordinator.main"));
    ASSERT_TRUE(
        InternalCoordinator::registerSenderCoordinator(sibling, "", "net.quillfern.coordinator.sibling"));
    EXPECT_EQ(remote->getHostName(), "far.example");
    EXPECT_EQ(remote->getCoordinatorName(), "net.quillfern.coordinator.main");
    EXPECT_EQ(local->getHostName(), "");
    EXPECT_EQ(local->getCoordinatorName(), "net.quillfern.coordinator.sibling");
    EXPECT_EQ(make<LocalResolvedAddress>(fCoordinatorGUID, fCoordinatorGUID)->getCoordinatorName(),
              InternalCoordinator::getName());

    // And the coordinator makes an address of each GUID it knows.
    auto coordinator = std::dynamic_pointer_cast<InternalCoordinator>(InternalCoordinator::factory());
    auto toFar = coordinator->getAddressFromGUID(far);
    auto toSibling = coordinator->getAddressFromGUID(sibling);
    auto toSelf = coordinator->getAddressFromGUID(fCoordinatorGUID);
    ASSERT_TRUE(toFar && toSibling && toSelf);
    EXPECT_TRUE(*toFar == *make<RemoteResolvedAddress>(far, far));
    EXPECT_TRUE(*toSibling == *make<LocalResolvedAddress>(sibling, sibling));
    EXPECT_TRUE(*toSelf == *make<LocalResolvedAddress>(fCoordinatorGUID, fCoordinatorGUID));
    EXPECT_FALSE(coordinator->getAddressFromGUID(GUIDClass::randomFactory()));
}
