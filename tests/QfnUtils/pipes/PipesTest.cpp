#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "support/LogCapture.h"
#include "support/ScopedPipeFolder.h"

using namespace Qfn;

TEST(PipesNaming, SocketPathIsAHashOfTheMarkerPathInTheRuntimeFolder)
{
    QfnTest::ScopedPipeFolder folder;
    const std::string marker = folder.markerPath("net.quillfern.coordinator.main");
    const std::string raw = Pipes::getRawNamedPipePath(marker);
    const std::string socketFolder =
        std::string(::getenv("XDG_RUNTIME_DIR")) + "/qfn-" + std::to_string(::getuid()) + "/";
    ASSERT_EQ(raw.substr(0, socketFolder.size()), socketFolder);
    const std::string name = raw.substr(socketFolder.size());
    EXPECT_EQ(name.size(), 16u + 5u);
    EXPECT_EQ(name.find_first_not_of("0123456789abcdef"), 16u);
    EXPECT_TRUE(name.ends_with(".sock"));
    EXPECT_EQ(raw, Pipes::getRawNamedPipePath(marker));
    EXPECT_NE(raw, Pipes::getRawNamedPipePath(marker + "x"));
    // FNV-1a of the empty path is its offset basis.
    EXPECT_EQ(Pipes::getRawNamedPipePath("").substr(socketFolder.size()), "cbf29ce484222325.sock");

    ::unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(Pipes::getRawNamedPipePath(marker), "/tmp/qfn-" + std::to_string(::getuid()) + "/" + name);
}

TEST(PipesMarker, ExistsIsActiveAndDeleteFollowTheMarkerAndTheSocket)
{
    QfnTest::ScopedPipeFolder folder;
    const std::string marker = folder.markerPath("net.quillfern.coordinator.other");
    EXPECT_FALSE(Pipes::namedPipeExists(marker));
    ASSERT_TRUE(Dirs::writeFile(marker, "not a marker\n"));
    EXPECT_FALSE(Pipes::namedPipeExists(marker)) << "a file without namedPipeProxyPath is no pipe";
    const std::string entry = "[config]\r\nnamedPipeProxyPath=\"/nowhere.sock\"\r\n";
    ASSERT_TRUE(Dirs::writeFile(marker, entry + std::string(5000, '#')));
    EXPECT_FALSE(Pipes::namedPipeExists(marker)) << "a large file is not read as a marker";
    ASSERT_TRUE(Dirs::writeFile(marker, entry));
    EXPECT_TRUE(Pipes::namedPipeExists(marker));
    EXPECT_FALSE(Pipes::namedPipeIsActive(marker)) << "nothing listens there";

    const int handle = Pipes::openReadNamedPipe(marker);
    ASSERT_NE(handle, 0);
    EXPECT_TRUE(Pipes::namedPipeExists(marker));
    EXPECT_TRUE(Pipes::namedPipeIsActive(marker));
    {
        QfnTest::LogCapture capture(2);
        EXPECT_FALSE(Pipes::namedPipeExists(marker + "/", TrailingPathCharHandling::Check));
        EXPECT_EQ(
            capture.countContaining("EXPECTED failed: 'trailingPathCharHandling == "
                                    "TrailingPathCharHandling::Ignore || *(namedPipePath.rbegin()) != '/''"),
            1u);
    }

    // Handles name one kind of pipe each.
    std::string text;
    bool isComplete = true;
    EXPECT_FALSE(Pipes::writeToNamedPipe(handle, "to a read pipe"));
    EXPECT_EQ(Pipes::getWritePipeStatus(handle), Pipes::WriteStatus::None);
    EXPECT_TRUE(Pipes::readFromNamedPipe(text, handle, isComplete, 10));
    EXPECT_FALSE(isComplete);
    EXPECT_FALSE(Pipes::closeNamedPipe(handle + 1000));

    ASSERT_TRUE(Pipes::deleteNamedPipe(marker));
    EXPECT_FALSE(Pipes::namedPipeExists(marker));
    EXPECT_FALSE(Pipes::namedPipeIsActive(marker));
    EXPECT_FALSE(Dirs::exists(Pipes::getRawNamedPipePath(marker)));
    {
        QfnTest::LogCapture capture(1);
        EXPECT_FALSE(Pipes::deleteNamedPipe(marker));
        EXPECT_TRUE(capture.hasLineEndingWith(
            "VERIFY failed: 'remove(namedPipePath.c_str()) == 0' evaluates to false"));
        EXPECT_EQ(Pipes::openWriteNamedPipe(marker, 0, ""), 0) << "no pipe to write to";
        EXPECT_TRUE(capture.hasLineEndingWith(
            "VERIFY failed: 'Pipes::namedPipeExists(fNamedPipePath)' evaluates to false"));
    }
    EXPECT_TRUE(Pipes::closeNamedPipe(handle));
}
