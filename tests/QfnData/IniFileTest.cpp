#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "QfnData/IniFile.h"
#include "QfnUtils/Dirs.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

using List = std::vector<std::string>;

// Gives a file a last-change time of its own, so that a rewrite of the same size within the
// clock's granularity still shows.
bool setChangeTime(const std::string& path, time_t seconds)
{
    const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
    return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
}

class IniFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/qfn-ini-XXXXXX";
        const char* made = ::mkdtemp(pattern);
        ASSERT_NE(made, nullptr);
        fDir = std::string(made) + "/";
        fPath = fDir + "app.ini";
    }
    void TearDown() override { Dirs::rmDir(fDir, DirRecurse::RECURSE); }

    std::string fDir;
    std::string fPath;
};

}  // namespace

TEST_F(IniFileTest, MissingFileStartsEmptyAndSaveWritesTheCanonicalText)
{
    auto iniFile = IniFile::factory(fPath);
    ASSERT_TRUE(iniFile);
    EXPECT_TRUE(iniFile->getSectionNames().empty());
    EXPECT_FALSE(iniFile->getIsDirty());
    EXPECT_FALSE(iniFile->getIsModified());
    EXPECT_FALSE(Dirs::exists(fPath));

    // A change that changes nothing leaves nothing to save.
    EXPECT_FALSE(iniFile->clear("nowhere"));
    EXPECT_FALSE(iniFile->getIsDirty());
    iniFile->setEntry("config", "logLevel", "3");
    EXPECT_TRUE(iniFile->getIsDirty());
    iniFile->setEntryList("urlMap", "home", {"http://a", "http://b"});
    ASSERT_TRUE(iniFile->save());
    EXPECT_FALSE(iniFile->getIsDirty());
    EXPECT_FALSE(iniFile->getIsModified());
    EXPECT_EQ(Dirs::slurpFile(fPath),
              "[config]\r\nlogLevel=\"3\"\r\n[urlMap]\r\nhome=\"http://a\",\"http://b\"\r\n");

    auto again = IniFile::factory(fPath);
    ASSERT_TRUE(again);
    EXPECT_TRUE(*again == *iniFile);
    EXPECT_EQ(again->getEntryList("urlMap", "home"), (List{"http://a", "http://b"}));
}

TEST_F(IniFileTest, UnsavedChangesAreSavedWhenTheFileGoesAway)
{
    const std::string handWritten = "[s]\nk = v   # as typed\n";
    ASSERT_TRUE(Dirs::writeFile(fPath, handWritten));
    {
        auto iniFile = IniFile::factory(fPath);
        EXPECT_EQ(iniFile->getEntry("s", "k"), "v   # as typed");
    }
    // Nothing changed: the file keeps its own layout.
    EXPECT_EQ(Dirs::slurpFile(fPath), handWritten);
    {
        auto iniFile = IniFile::factory(fPath);
        iniFile->setEntry("s", "added", 1, "second");
        iniFile->clear("s", "k");
    }
    EXPECT_EQ(Dirs::slurpFile(fPath), "[s]\r\nadded=\"\",\"second\"\r\n");
}

TEST_F(IniFileTest, ChangesOnDiskAreNoticedAndReadAgain)
{
    ASSERT_TRUE(Dirs::writeFile(fPath, "[s]\nk=1\n"));
    auto iniFile = IniFile::factory(fPath);
    EXPECT_FALSE(iniFile->getIsModified());
    EXPECT_TRUE(iniFile->readUpdate());
    EXPECT_EQ(iniFile->getEntry("s", "k"), "1");

    ASSERT_TRUE(Dirs::writeFile(fPath, "[s]\nk=22\n"));
    EXPECT_TRUE(iniFile->getIsModified());
    EXPECT_EQ(iniFile->getEntry("s", "k"), "1");
    EXPECT_TRUE(iniFile->readUpdate());
    EXPECT_EQ(iniFile->getEntry("s", "k"), "22");
    EXPECT_FALSE(iniFile->getIsModified());

    ASSERT_TRUE(Dirs::writeFile(fPath, "[s]\nk=33\n"));
    ASSERT_TRUE(setChangeTime(fPath, 1000000000));
    EXPECT_TRUE(iniFile->getIsModified());
    EXPECT_TRUE(iniFile->readUpdate());
    EXPECT_EQ(iniFile->getEntry("s", "k"), "33");

    // Another size with the same time: a rewrite within the clock's granularity.
    ASSERT_TRUE(Dirs::writeFile(fPath, "[s]\nk=4444\n"));
    ASSERT_TRUE(setChangeTime(fPath, 1000000000));
    EXPECT_TRUE(iniFile->getIsModified());
    EXPECT_TRUE(iniFile->readUpdate());
    EXPECT_EQ(iniFile->getEntry("s", "k"), "4444");

    ASSERT_EQ(std::remove(fPath.c_str()), 0);
    EXPECT_TRUE(iniFile->getIsModified());
    EXPECT_TRUE(iniFile->readUpdate());
    EXPECT_TRUE(iniFile->getSectionNames().empty());
    EXPECT_FALSE(iniFile->getIsModified());
}

TEST_F(IniFileTest, ReadUpdateKeepsUnsavedChanges)
{
    ASSERT_TRUE(Dirs::writeFile(fPath, "[s]\nk=1\n"));
    auto iniFile = IniFile::factory(fPath);
    iniFile->setEntry("s", "k", "local");
    ASSERT_TRUE(Dirs::writeFile(fPath, "[s]\nk=remote\n"));
    QfnTest::LogCapture log;
    EXPECT_FALSE(iniFile->readUpdate());
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: '! fIsDirty' evaluates to false"));
    EXPECT_EQ(iniFile->getEntry("s", "k"), "local");
    ASSERT_TRUE(iniFile->save());
    EXPECT_TRUE(iniFile->readUpdate());
    EXPECT_EQ(iniFile->getEntry("s", "k"), "local");
}

TEST_F(IniFileTest, PathsThatAreNoFilesFail)
{
    const std::string folderPath = fDir + "folder";
    ASSERT_TRUE(Dirs::mkDir(folderPath));
    QfnTest::LogCapture log;
    auto iniFile = IniFile::factory(folderPath);
    ASSERT_TRUE(iniFile);
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: 'parseFile()' evaluates to false"));
    iniFile->setEntry("s", "k", "v");
    EXPECT_FALSE(iniFile->save());
    EXPECT_TRUE(
        log.hasLineEndingWith("SANITY_CHECK failed: '! Dirs::exists(fFilePath) || "
                              "Dirs::fileExists(fFilePath)' evaluates to false"));
    iniFile.reset();
    EXPECT_TRUE(log.hasLineEndingWith("SANITY_CHECK failed: 'save()' evaluates to false"));
    EXPECT_TRUE(Dirs::dirExists(folderPath));

    EXPECT_FALSE(Dirs::writeIni(folderPath, Ini("[s]\nk=v\n")));
    EXPECT_TRUE(log.hasLineEndingWith(
        "SANITY_CHECK failed: '! Dirs::exists(iniFilePath) || Dirs::fileExists(iniFilePath)' evaluates to "
        "false"));
}

TEST_F(IniFileTest, DirsReadsAndWritesIniFiles)
{
    QfnTest::LogCapture log;
    EXPECT_EQ(Dirs::readIni(fPath), nullptr);
    EXPECT_TRUE(log.hasLineEndingWith("iniFilePath does not exist or is empty: " + fPath));
    ASSERT_TRUE(Dirs::writeFile(fPath, ""));
    log.clear();
    EXPECT_EQ(Dirs::readIni(fPath), nullptr);
    EXPECT_TRUE(log.hasLineEndingWith("iniFilePath does not exist or is empty: " + fPath));

    Ini ini("[s]\nk = \"a\", \"b\"\n[placeholders]\nP=x\n");
    ASSERT_TRUE(Dirs::writeIni(fPath, ini));
    EXPECT_EQ(Dirs::slurpFile(fPath), ini.toString());
    auto read = Dirs::readIni(fPath);
    ASSERT_TRUE(read);
    EXPECT_TRUE(*read == ini);
    EXPECT_EQ(read->getEntryList("s", "k"), (List{"a", "b"}));
}
