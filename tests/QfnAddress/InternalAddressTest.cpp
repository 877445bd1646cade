// The coordinator and its services by index path: resolution to GUIDs, through factories and URLs.
#include <gtest/gtest.h>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "support/LogCapture.h"

using Qfn::InternalAddress;

namespace {

using InternalAddressResolution = QfnTest::AddressFixture;

std::shared_ptr<const Qfn::IGUIDAddress> resolvedOf(const std::shared_ptr<Qfn::IObject>& object)
{
    auto address = std::dynamic_pointer_cast<Qfn::IAddress>(object);
    return address ? std::dynamic_pointer_cast<const Qfn::IGUIDAddress>(address->resolved()) : nullptr;
}

}  // namespace

TEST_F(InternalAddressResolution, TheEmptyPathIsTheCoordinatorFromFactoryAndURLAlike)
{
    for (const auto& object : {InternalAddress::factory(), InternalAddress::factoryFromIndices(""),
                               fromURL("qfn:////"), fromURL("qfn:///net.quillfern.coordinator.main/"),
                               fromURL("qfn://localhost/net.quillfern.coordinator.main//x")}) {
        ASSERT_TRUE(object);
        auto resolved = resolvedOf(object);
        ASSERT_TRUE(resolved) << object->toString();
        EXPECT_EQ(resolved->typeName(), Qfn::LocalResolvedAddress::TYPENAME);
        EXPECT_EQ(resolved->getAddressedGUID(), fCoordinatorGUID);
        EXPECT_EQ(resolved->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
        auto address = std::dynamic_pointer_cast<Qfn::IGUIDAddress>(object);
        EXPECT_EQ(address->getAddressedGUID(), fCoordinatorGUID);
        EXPECT_EQ(address->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
        EXPECT_TRUE(address->isInternalCoordinatorAddress());
        EXPECT_EQ(address->getGUIDAddressURL("t"),
                  "qfn://" + guidText(fCoordinatorGUID) + "/" + guidText(fCoordinatorGUID) + "//t");
        // The resolved address leads back to the coordinator itself.
        auto coordinator =
            std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory());
        EXPECT_EQ(coordinator->resolveAddress(resolved).get(), coordinator.get());
        EXPECT_EQ(coordinator->resolveAddress(object).get(), coordinator.get());
    }
}

// No service has children yet, so every path below the coordinator names nothing: the empty
// pointer and no line from resolved(), the check line from getAddressedGUID.
TEST_F(InternalAddressResolution, APathWithoutServiceResolvesToNothingWithoutALine)
{
    auto object = InternalAddress::factoryFromIndices("net.quillfern.service.null/0");
    ASSERT_TRUE(object);
    auto address = std::dynamic_pointer_cast<InternalAddress>(object);
    EXPECT_EQ(address->getAsURL(), "qfn:////net.quillfern.service.null/0");
    EXPECT_EQ(address->getAsURL(),
              std::dynamic_pointer_cast<Qfn::IAddress>(fromURL("qfn:////net.quillfern.service.null/0"))
                  ->getAsURL());
    for (const char* path : {"net.quillfern.service.none/0", "net.quillfern.service.null/1", "a"}) {
        auto indexed = std::dynamic_pointer_cast<InternalAddress>(InternalAddress::factoryFromIndices(path));
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(indexed->resolved()) << path;
        EXPECT_FALSE(indexed->isInternalCoordinatorAddress());
        EXPECT_TRUE(indexed->getGUIDAddressURL("").empty());
        EXPECT_TRUE(capture.lines().empty()) << path << ": " << capture.lines().front();
    }
    // There is one null service; another kind of service there is not.
    EXPECT_TRUE(address->resolved());
    auto missing = std::dynamic_pointer_cast<InternalAddress>(
        InternalAddress::factoryFromIndices("net.quillfern.service.none/0"));
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(missing->getAddressedGUID());
    EXPECT_TRUE(
        capture.hasLineEndingWith("ASSIGN_CONST_TYPED failed: 'IObject resolvedAddress = "
                                  "internalCoordinator->resolveAddress(shared_from_this());'"));
    EXPECT_EQ(address->getUpstreamCoordinatorGUID(), fCoordinatorGUID);
}

TEST_F(InternalAddressResolution, EqualityHashAndPrintedFormFollowThePath)
{
    auto a = InternalAddress::factoryFromIndices("x/0/y");
    auto b = fromURL("qfn:////x/0/y//tail");
    auto c = InternalAddress::factoryFromIndices("x/0/y/0");
    EXPECT_TRUE(*a == *b);
    EXPECT_EQ(a->hash(), b->hash());
    EXPECT_FALSE(*a == *c) << "an explicit first number is another path";
    EXPECT_TRUE(*a != *c);
    EXPECT_NE(a->toString().find("InternalAddress"), std::string::npos);
    EXPECT_NE(a->toString().find(" Indices = x/0/y"), std::string::npos) << a->toString();
}
