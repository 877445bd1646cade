// factoryFromURL: which class each URL reads as, with its parts, its tail and its printed form; the
// URLs that name nothing; this process's own name; the alias tables of the configuration.
#include <gtest/gtest.h>

#include <fstream>

#include "QfnAddress/AddressFixture.h"
#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/IAddress.h"
#include "QfnAddress/ICoordinatorNameAddress.h"
#include "QfnAddress/IHostNameAddress.h"
#include "QfnAddress/IIndexedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnObject/Object.h"
#include "support/LogCapture.h"
#include "support/ScopedDataHome.h"

using Qfn::Address_abstract;
using Qfn::InternalCoordinator;

namespace {

const std::string kMain = "net.quillfern.coordinator.main";

struct URLCase {
    std::string url;
    std::string typeName;
    std::string host;
    std::string coordinator;
    std::string indices;
    std::string tail;
    std::string printed;
};

class AddressURL : public QfnTest::AddressFixture {
protected:
    void expectReadsAs(const URLCase& c)
    {
        SCOPED_TRACE(c.url);
        std::string tail = "stale";
        std::shared_ptr<Qfn::IObject> object = Address_abstract::factoryFromURL(c.url, tail);
        ASSERT_TRUE(object);
        EXPECT_EQ(object->typeName(), c.typeName);
        EXPECT_EQ(tail, c.tail);
        auto address = std::dynamic_pointer_cast<Qfn::IAddress>(object);
        ASSERT_TRUE(address);
        EXPECT_EQ(address->getAsURL(), c.printed);
        EXPECT_EQ(std::dynamic_pointer_cast<Qfn::IHostNameAddress>(object)->getHostName(), c.host);
        EXPECT_EQ(std::dynamic_pointer_cast<Qfn::ICoordinatorNameAddress>(object)->getCoordinatorName(),
                  c.coordinator);
        auto indexed = std::dynamic_pointer_cast<Qfn::IIndexedAddress>(object);
        EXPECT_EQ(indexed ? indexed->getIndicesStr() : "", c.indices);
    }
};

}  // namespace

TEST_F(AddressURL, EachURLReadsAsItsClassWithItsPartsAndTail)
{
    const URLCase cases[] = {
        {"qfn:////", "InternalAddress", "", kMain, "", "", "qfn:////"},
        {"qfn://///tail", "InternalAddress", "", kMain, "", "tail", "qfn:////"},
        {"qfn:////net.quillfern.service.null/0", "InternalAddress", "", kMain, "net.quillfern.service.null/0",
         "", "qfn:////net.quillfern.service.null/0"},
        {"qfn:////net.quillfern.service.null//tail", "InternalAddress", "", kMain,
         "net.quillfern.service.null", "tail", "qfn:////net.quillfern.service.null"},
        {"qfn:////net.quillfern.service.null/1//tail4/tail5", "InternalAddress", "", kMain,
         "net.quillfern.service.null/1", "tail4/tail5", "qfn:////net.quillfern.service.null/1"},
        {"qfn:///SomeCoordinator/net.quillfern.service.null/0//tail111/", "LocalUnresolvedAddress", "",
         "SomeCoordinator", "net.quillfern.service.null/0", "tail111",
         "qfn:///SomeCoordinator/net.quillfern.service.null/0"},
        // The main coordinator of this host is this process.
        {"qfn://localhost/net.quillfern.coordinator.main//tail121/", "InternalAddress", "", kMain, "",
         "tail121", "qfn:////"},
        {"qfn:///net.quillfern.coordinator.main/default", "InternalAddress", "", kMain, "default", "",
         "qfn:////default"},
        {"qfn://somehost.local/net.quillfern.coordinator.main/", "RemoteUnresolvedAddress", "somehost.local",
         kMain, "", "", "qfn://somehost.local/net.quillfern.coordinator.main/"},
        {"qfn://somehost.local/net.quillfern.coordinator.main/net.quillfern.service.null//xtx/",
         "RemoteUnresolvedAddress", "somehost.local", kMain, "net.quillfern.service.null", "xtx",
         "qfn://somehost.local/net.quillfern.coordinator.main/net.quillfern.service.null"},
        {"qfn://127.0.0.1/SomeCoordinator/net.quillfern.service.null/0//xxx/", "LocalUnresolvedAddress", "",
         "SomeCoordinator", "net.quillfern.service.null/0", "xxx",
         "qfn:///SomeCoordinator/net.quillfern.service.null/0"},
        // A remote host without a coordinator means that host's main coordinator.
        {"qfn://somehost", "RemoteUnresolvedAddress", "somehost", kMain, "", "",
         "qfn://somehost/net.quillfern.coordinator.main/"},
        {"qfn://LOCALHOST//a/0//x//y///", "InternalAddress", "", kMain, "a/0", "x/y", "qfn:////a/0"},
        {"  \tqfn:////a/0/b", "InternalAddress", "", kMain, "a/0/b", "", "qfn:////a/0/b"},
    };
    for (const URLCase& c : cases)
        expectReadsAs(c);
}

TEST_F(AddressURL, GUIDFormsReadAsLocalForThisCoordinatorAndRemoteOtherwise)
{
    Qfn::GUIDClass* service = Qfn::GUIDClass::randomFactory();
    Qfn::GUIDClass* other = Qfn::GUIDClass::randomFactory();
    const std::string local = "qfn://" + guidText(fCoordinatorGUID) + "/" + guidText(service);
    const std::string remote = "qfn://" + guidText(other) + "/" + guidText(service);
    expectReadsAs({local + "//t/", "LocalResolvedAddress", "", kMain, "", "t", local});
    expectReadsAs({remote, "RemoteResolvedAddress", "", "", "", "", remote});
    // Any written form of a GUID reads; the print is the default form.
    // Other written forms of a GUID read as well; the print is the default form.
    expectReadsAs({"qfn://{" + fCoordinatorGUID->toString(Qfn::GUIDStringFormat::LOWERCASE) + "}/" +
                       service->toString(Qfn::GUIDStringFormat::LOWERCASE_DASHED) + "/tail",
                   "LocalResolvedAddress", "", kMain, "", "tail", local});
}

TEST_F(AddressURL, URLsThatNameNothingGiveTheEmptyPointer)
{
    const std::string guid = guidText(Qfn::GUIDClass::randomFactory());
    // Another scheme is no address, and says nothing.
    for (const std::string url : {"", "   ", "http://h/c", "/h/c", "qfn", "qfnx://h/c", "QFN:////"}) {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(fromURL(url)) << url;
        EXPECT_TRUE(capture.lines().empty()) << url;
    }
    const std::pair<std::string, std::string> failures[] = {
        {"qfn:////1", "invalid index name"},
        {"qfn:////a/b", "invalid index number"},
        {"qfn:///9lives/a",
         "SANITY_CHECK failed: 'AddressName::isValid(coordinatorName)' evaluates to false"},
        {"qfn://far/9lives/a",
         "SANITY_CHECK failed: 'AddressName::isValid(coordinatorName)' evaluates to false"},
        {"qfn://" + guid + "/notaguid",
         "SANITY_CHECK failed: 'GUIDClass::isGUIDStr(parts.secondGUID)' evaluates to false"},
        {"qfn://" + guid, "SANITY_CHECK failed: 'GUIDClass::isGUIDStr(parts.secondGUID)' evaluates to false"},
    };
    for (const auto& [url, line] : failures) {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(fromURL(url)) << url;
        EXPECT_TRUE(capture.hasLineEndingWith(line)) << url;
        // A class's factory that makes nothing says so once more; a bad GUID is found before that.
        EXPECT_EQ(capture.hasLineEndingWith("SANITY_CHECK failed: 'retVal' evaluates to false"),
                  url.find(guid) == std::string::npos)
            << url;
    }
}

TEST_F(AddressURL, ThisProcesssOwnNameReadsAsInternalAndMainsNameOnlyOnMain)
{
    QfnTest::ScopedCoordinatorName name("net.quillfern.coordinator.other");
    expectReadsAs({"qfn:///net.quillfern.coordinator.main/default", "LocalUnresolvedAddress", "", kMain,
                   "default", "", "qfn:///net.quillfern.coordinator.main/default"});
    expectReadsAs({"qfn:///net.quillfern.coordinator.other/default", "InternalAddress", "",
                   "net.quillfern.coordinator.other", "default", "", "qfn:////default"});
    expectReadsAs({"qfn:////default", "InternalAddress", "", "net.quillfern.coordinator.other", "default", "",
                   "qfn:////default"});
}

TEST_F(AddressURL, ConfigurationAliasesOfURLsAndCoordinatorsApply)
{
    QfnTest::ScopedDataHome dataHome;
    const std::string path = dataHome.path() + "aliases.ini";
    std::ofstream(path) << "[urlMap]\nnullService = qfn:////net.quillfern.service.null/0//t\n"
                           "[coordinatorMap]\nGate = net.quillfern.coordinator.gateway\nme = " +
                               kMain + "\n";
    ASSERT_TRUE(InternalCoordinator::pushConfigFile(path));
    ASSERT_TRUE(InternalCoordinator::registerConfigHostsAndAliases());
    expectReadsAs({"nullService", "InternalAddress", "", kMain, "net.quillfern.service.null/0", "t",
                   "qfn:////net.quillfern.service.null/0"});
    expectReadsAs({"qfn:///gATE/x", "LocalUnresolvedAddress", "", "net.quillfern.coordinator.gateway", "x",
                   "", "qfn:///net.quillfern.coordinator.gateway/x"});
    expectReadsAs({"qfn:///me/x", "InternalAddress", "", kMain, "x", "", "qfn:////x"});
    InternalCoordinator::clearConfigStack();

    // defineShorthand fronts the same table.
    EXPECT_TRUE(Qfn::LocalUnresolvedAddress::defineShorthand("Ping", "net.quillfern.coordinator.ping"));
    EXPECT_EQ(Qfn::LocalUnresolvedAddress::getAdjustedCoordinatorName("PING"),
              "net.quillfern.coordinator.ping");
    EXPECT_EQ(InternalCoordinator::resolveCoordinatorAlias("ping"), "net.quillfern.coordinator.ping");
    EXPECT_EQ(Qfn::LocalUnresolvedAddress::getAdjustedCoordinatorName("pong"), "pong");
}
