// The configuration stack's lookup order, the node name from the environment, host names and the
// alias tables.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>

#include "QfnCoordinator/InternalCoordinator.h"
#include "support/ScopedDataHome.h"
#include "support/LogCapture.h"

using Qfn::InternalCoordinator;

namespace {

// Config files in a data folder of the test's own; the stack is emptied afterwards.
class ConfigStack : public ::testing::Test {
protected:
    void TearDown() override
    {
        InternalCoordinator::clearConfigStack();
        InternalCoordinator::clearHostNamesAndAliases();
        InternalCoordinator::setQuillfernNodeIniSuffix("");
    }

    void push(const std::string& name, const std::string& text)
    {
        std::string path = fDataHome.path() + name;
        std::ofstream(path) << text;
        ASSERT_TRUE(InternalCoordinator::pushConfigFile(path));
    }

    static std::string entry(const std::string& key)
    {
        return InternalCoordinator::getEntryFromConfigStack("config", key, "default");
    }

    QfnTest::ScopedDataHome fDataHome;
};

}  // namespace

TEST_F(ConfigStack, PlainThenWildCardsThenFullNameAndLaterFilesWin)
{
    const std::string full = "[config." + InternalCoordinator::getName() + "]\n";
    push("a.ini", "[config]\na=plain\nb=plain\nc=plain\nd=plain\n"
                  "[config.*]\nb=star\nc=star\n"
                  "[config.net.quillfern.*]\nc=longer\n" + full + "d=full\n"
                  "[config.net.quillfern.coordinator.other]\na=other\n");
    EXPECT_EQ(entry("a"), "plain") << "another coordinator's section does not apply";
    EXPECT_EQ(entry("b"), "star");
    EXPECT_EQ(entry("c"), "longer") << "wild cards apply in sorted order";
    EXPECT_EQ(entry("d"), "full");
    EXPECT_EQ(entry("e"), "default");
    // A later file overrides only what it says itself, even in its plain section.
    push("b.ini", "[config]\nb=second\ne=${HOME_DIR}x\n");
    EXPECT_EQ(entry("b"), "second");
    EXPECT_EQ(entry("d"), "full");
    EXPECT_EQ(entry("e"), std::string(getenv("HOME")) + "/x");
    EXPECT_EQ(InternalCoordinator::getConfigStack().size(), 2u);
}

TEST_F(ConfigStack, NodeNameFromTheEnvironment)
{
    const char* saved = getenv("QUILLFERN_CONFIG_NODE_NAME");
    std::string savedValue = saved ? saved : "";
    for (const char* local : {"localhost", "127.0.0.1", "::1", ""}) {
        setenv("QUILLFERN_CONFIG_NODE_NAME", local, 1);
        ASSERT_TRUE(InternalCoordinator::readNodeName());
        EXPECT_EQ(InternalCoordinator::getQuillfernNodeIniSuffix(), "") << local;
    }
    setenv("QUILLFERN_CONFIG_NODE_NAME", "BuildBox", 1);
    ASSERT_TRUE(InternalCoordinator::readNodeName());
    EXPECT_EQ(InternalCoordinator::getQuillfernNodeIniSuffix(), ".buildbox");
    EXPECT_TRUE(InternalCoordinator::isLocalHost("BUILDBOX"));
    // A key of that node wins over the plain key.
    push("node.ini", "[config]\nk=plain\nk.buildbox=node\nk.otherbox=other\n");
    EXPECT_EQ(entry("k"), "node");
    if (saved) setenv("QUILLFERN_CONFIG_NODE_NAME", savedValue.c_str(), 1);
    else unsetenv("QUILLFERN_CONFIG_NODE_NAME");
}

TEST_F(ConfigStack, HostNamesAndAliases)
{
    ASSERT_TRUE(InternalCoordinator::registerLocalHostName("localhost"));
    EXPECT_TRUE(InternalCoordinator::isLocalHost("127.0.0.1"));
    ASSERT_TRUE(InternalCoordinator::registerHostName("Build", "10.0.0.7"));
    ASSERT_TRUE(InternalCoordinator::registerHostName("build-alias", "10.0.0.7"));
    EXPECT_EQ(InternalCoordinator::getHostAddress("BUILD"), "10.0.0.7");
    EXPECT_FALSE(InternalCoordinator::isLocalHost("build"));
    // A name registered for a local address is local as well.
    ASSERT_TRUE(InternalCoordinator::registerHostName("me", "localhost"));
    EXPECT_TRUE(InternalCoordinator::isLocalHost("me"));
    EXPECT_TRUE(QfnTest::logsError("! ipAddress.empty()",
                                   [] { EXPECT_FALSE(InternalCoordinator::registerHostName("x", "")); }));

    ASSERT_TRUE(InternalCoordinator::registerCoordinatorAlias("Gate", "net.quillfern.coordinator.gateway"));
    EXPECT_EQ(InternalCoordinator::resolveCoordinatorAlias("gATE"), "net.quillfern.coordinator.gateway");
    EXPECT_EQ(InternalCoordinator::resolveCoordinatorAlias("other"), "other");
    ASSERT_TRUE(InternalCoordinator::registerUrlAlias("home", "qfn://host/x"));
    EXPECT_EQ(InternalCoordinator::resolveUrlAlias("home"), "qfn://host/x");
}
