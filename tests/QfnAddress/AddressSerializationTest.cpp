// Every address class through the wire and through its URL, for random names and paths; cut
// serialized addresses never come back as addresses, and leave nothing behind.
#include <gtest/gtest.h>

#include <random>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/IAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnData/DataNull.h"
#include "QfnData/Data_abstract.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

class AddressProperty : public QfnTest::AddressFixture {
protected:
    std::string pick(const std::string& alphabet) { return std::string(1, alphabet[draw(alphabet.size())]); }
    size_t draw(size_t below) { return std::uniform_int_distribution<size_t>(0, below - 1)(fRandom); }

    // A letter, '_' or '$', then up to 15 of those, digits and dots.
    std::string identifierName()
    {
        std::string name = pick(kFirst);
        for (size_t length = draw(16); length > 0; --length)
            name += pick(kFirst + "0123456789.");
        return name;
    }
    // Pairs of a name and a number, the last number left out now and then.
    std::string indexPath()
    {
        std::string path;
        for (size_t pairs = draw(4); pairs > 0; --pairs) {
            path += (path.empty() ? "" : "/") + identifierName();
            if (pairs > 1 || draw(3) != 0) path += "/" + std::to_string(draw(1000));
        }
        return path;
    }
    // Shorter than the 22 characters of a compact GUID, and never a name of this host.
    std::string hostName()
    {
        std::string host;
        for (size_t length = 1 + draw(20); length > 0; --length)
            host += pick("abcdefghijklmnopqrstuvwxyz0123456789.-");
        return host == "localhost" ? "x" + host : host;
    }

    // Through serializeToStr/deserializeFromStr: an equal address, with an equal hash.
    void expectWireRoundTrip(const std::shared_ptr<IObject>& object)
    {
        ASSERT_TRUE(object);
        const std::string text = Data_abstract::serializeToStr(object);
        std::shared_ptr<IObject> again = Data_abstract::deserializeFromStr(text);
        ASSERT_TRUE(again) << text;
        EXPECT_TRUE(*again == *object) << text << "read back as " << again->toString();
        EXPECT_EQ(again->hash(), object->hash());
    }
    // Through getAsURL/factoryFromURL: an address equal to expected.
    void expectURLReadsAs(const std::shared_ptr<IObject>& object, const std::shared_ptr<IObject>& expected)
    {
        ASSERT_TRUE(object && expected);
        const std::string url = std::dynamic_pointer_cast<IAddress>(object)->getAsURL();
        std::shared_ptr<IObject> again = fromURL(url);
        ASSERT_TRUE(again) << url;
        EXPECT_TRUE(*again == *expected) << url << " read as " << again->toString();
    }

    static inline const std::string kFirst = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_$";
    std::mt19937_64 fRandom{20261125};
};

}  // namespace

TEST_F(AddressProperty, EveryClassSurvivesTheWireAndItsURL)
{
    const std::string own = InternalCoordinator::getName();
    for (int round = 0; round < 300; ++round) {
        const std::string name = identifierName(), path = indexPath(), host = hostName();
        GUIDClass* addressed = GUIDClass::randomFactory();
        GUIDClass* upstream = GUIDClass::randomFactory();
        SCOPED_TRACE(name + " " + path + " " + host);

        auto internal = InternalAddress::factoryFromIndices(path);
        expectWireRoundTrip(internal);
        expectURLReadsAs(internal, internal);

        auto local = LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(name, path);
        expectWireRoundTrip(local);
        expectURLReadsAs(local, local);
        // This process's own name reads as internal.
        auto ownName = LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(own, path);
        expectWireRoundTrip(ownName);
        expectURLReadsAs(ownName, internal);

        auto remote = RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(name, path, host);
        expectWireRoundTrip(remote);
        expectURLReadsAs(remote, remote);
        // A name of this host reads as local.
        const std::string localHost = round % 2 ? "localhost" : "127.0.0.1";
        auto onThisHost =
            RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(name, path, localHost);
        expectWireRoundTrip(onThisHost);
        expectURLReadsAs(onThisHost, local);
        auto ownOnThisHost =
            RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(own, path, localHost);
        expectURLReadsAs(ownOnThisHost, internal);

        auto localResolved = LocalResolvedAddress::factoryFromGUIDs(addressed, fCoordinatorGUID);
        expectWireRoundTrip(localResolved);
        expectURLReadsAs(localResolved, localResolved);
        // An upstream coordinator that is not this one reads as remote ...
        auto localElsewhere = LocalResolvedAddress::factoryFromGUIDs(addressed, upstream);
        expectWireRoundTrip(localElsewhere);
        expectURLReadsAs(localElsewhere, RemoteResolvedAddress::factoryFromGUIDs(addressed, upstream));
        auto remoteResolved = RemoteResolvedAddress::factoryFromGUIDs(addressed, upstream);
        expectWireRoundTrip(remoteResolved);
        expectURLReadsAs(remoteResolved, remoteResolved);
        // ... and this coordinator's GUID as local.
        auto remoteHere = RemoteResolvedAddress::factoryFromGUIDs(addressed, fCoordinatorGUID);
        expectWireRoundTrip(remoteHere);
        expectURLReadsAs(remoteHere, localResolved);
        if (HasFailure()) break;
    }
}

TEST_F(AddressProperty, CutSerializedAddressesNeverComeBackAsAddressesNorLeak)
{
    ASSERT_TRUE(DataNull::factory());
    GUIDClass* guid = GUIDClass::randomFactory();
    const std::shared_ptr<IObject> addresses[] = {
        InternalAddress::factoryFromIndices("net.quillfern.service.null/0"),
        InternalAddress::factory(),
        LocalUnresolvedAddress::factoryFromCoordinatorNameIndices("net.quillfern.coordinator.x", "a/1/b"),
        RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName("net.quillfern.coordinator.main",
                                                                           "a", "far.example"),
        LocalResolvedAddress::factoryFromGUIDs(guid, fCoordinatorGUID),
        RemoteResolvedAddress::factoryFromGUIDs(guid, GUIDClass::randomFactory()),
    };
    for (const auto& address : addresses) {
        ASSERT_TRUE(address);
        const std::string text = Data_abstract::serializeToStr(address);
        SCOPED_TRACE(text);
        std::vector<size_t> cuts;
        for (size_t end = 0; end < text.size(); end = text.find('\n', end) + 1) {
            cuts.push_back(end);                                     // at a record boundary
            cuts.push_back(end + (text.find('\n', end) - end) / 2);  // in the middle of the record
            cuts.push_back(text.find('\n', end));                    // before its line feed
        }
        const uint64_t before = Object::getObjectCount();
        for (size_t cut : cuts) {
            QfnTest::LogCapture capture(1);
            std::shared_ptr<IObject> object = Data_abstract::deserializeFromStr(text.substr(0, cut));
            EXPECT_FALSE(std::dynamic_pointer_cast<IAddress>(object)) << "cut at " << cut;
            // A whole type record of a known class reads as the missing value; anything less as nothing.
            if (object) {
                EXPECT_EQ(object.get(), DataNull::factory().get()) << "cut at " << cut;
            }
        }
        EXPECT_EQ(Object::getObjectCount(), before);
        EXPECT_TRUE(*Data_abstract::deserializeFromStr(text) == *address);
    }
}

TEST_F(AddressProperty, ARecordThatIsNoValidFieldIsRefused)
{
    const std::string guid = GUIDClass::randomFactory()->toString();
    const std::string cases[] = {
        "LocalUnresolvedAddress\n9bad\na\n",
        "LocalUnresolvedAddress\nok\na/b\n",
        "RemoteUnresolvedAddress\n\nok\na\n",
        "RemoteUnresolvedAddress\nh/x\nok\na\n",
        "LocalResolvedAddress\n\n" + guid + "\n",
        "RemoteResolvedAddress\n" + guid + "\n\n",
        "InternalAddress\n1/a\n",
    };
    // A refused address gives the one DataNull; it exists before the count is taken.
    ASSERT_TRUE(DataNull::factory());
    const uint64_t before = Object::getObjectCount();
    for (const std::string& text : cases) {
        QfnTest::LogCapture capture(1);
        std::shared_ptr<IObject> object = Data_abstract::deserializeFromStr(text);
        EXPECT_FALSE(std::dynamic_pointer_cast<IAddress>(object)) << text;
        EXPECT_TRUE(capture.hasLineEndingWith("cannot deserialize")) << text;
    }
    EXPECT_EQ(Object::getObjectCount(), before);
}
