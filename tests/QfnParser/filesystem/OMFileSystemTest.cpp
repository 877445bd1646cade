#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/filesystem/OMFileSystem.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/access/AccessOMNodeReadOnlyResolvedByAttrTask.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Dirs.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

using namespace Qfn;

namespace {

using Node = std::shared_ptr<IOMNode>;
constexpr auto kSingle = ReferenceType::OM_REF_SELECTOR_SINGLE_ELEMENT_OR_ARRAY;
constexpr auto kArray = ReferenceType::OM_REF_SELECTOR_ARRAY;

const char* const kNotes = "hello file system\n";

// Builds under a temporary folder:  notes.txt, sub/{x.log (10 bytes), y.log, z.txt}, empty/.
// Every node made by a test must be gone when it ends.
class OMFileSystemTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fStoredCount = OMStored::getOMStoredCount();
        fFileSystemCount = OMFileSystem::getOMFileSystemCount();
        char pattern[] = "/tmp/qfn-omfs-XXXXXX";
        const char* made = ::mkdtemp(pattern);
        ASSERT_NE(made, nullptr);
        fRoot = made;
        ASSERT_TRUE(Dirs::writeFile(fRoot + "/notes.txt", kNotes));
        ASSERT_TRUE(Dirs::mkDir(fRoot + "/sub"));
        ASSERT_TRUE(Dirs::mkDir(fRoot + "/empty"));
        ASSERT_TRUE(Dirs::writeFile(fRoot + "/sub/x.log", "0123456789"));
        ASSERT_TRUE(Dirs::writeFile(fRoot + "/sub/y.log", "abc"));
        ASSERT_TRUE(Dirs::writeFile(fRoot + "/sub/z.txt", ""));
    }
    void TearDown() override
    {
        Task::deregisterAllTasks();
        EXPECT_EQ(OMFileSystem::getOMFileSystemCount(), fFileSystemCount)
            << "file-system nodes were not freed";
        EXPECT_EQ(OMStored::getOMStoredCount(), fStoredCount) << "nodes were not freed";
        if (!fRoot.empty()) Dirs::rmDir(fRoot, DirRecurse::RECURSE);
    }

    Node root() const { return OMFileSystem::factoryFromFilePath(fRoot); }

    std::string fRoot;

private:
    int64_t fStoredCount = 0;
    int64_t fFileSystemCount = 0;
};

std::vector<std::string> keysOf(const Node& node)
{
    std::vector<std::string> keys;
    for (auto iter = node->getNodeIterator(); iter && !iter->atEnd(); (*iter)++)
        keys.push_back(iter->getKey());
    return keys;
}

std::vector<std::string> sortedStrings(const Node& array)
{
    std::vector<std::string> values;
    for (auto iter = array->getNodeIterator(); iter && !iter->atEnd(); (*iter)++)
        values.push_back((**iter)->getAsString());
    std::sort(values.begin(), values.end());
    return values;
}

}  // namespace

TEST_F(OMFileSystemTest, AFolderAndAFileShowTheirAttributes)
{
    const std::vector<std::string> attributes = {"name",   "path",     "isDir",    "isFile",
                                                 "isPipe", "fileSize", "fileList", "contents"};
    Node folder = root();
    EXPECT_EQ(folder->getType(), OMType::Map);
    EXPECT_EQ(folder->getSize(), 8u);
    EXPECT_EQ(folder->getMapKeys(), attributes);
    EXPECT_EQ(keysOf(folder), attributes);

    EXPECT_TRUE(folder->getOMNode("isDir")->getBool());
    EXPECT_FALSE(folder->getOMNode("isFile")->getBool());
    EXPECT_FALSE(folder->getOMNode("isPipe")->getBool());
    EXPECT_EQ(folder->getOMNode("fileSize")->getInt(), 0);
    EXPECT_EQ(folder->getOMNode("contents")->getType(), OMType::Undefined);
    EXPECT_EQ(folder->getOMNode("path")->getString(), fRoot);
    EXPECT_EQ(folder->getOMNode("name")->getString(), Dirs::getPathSegmentFromRight(fRoot, 0));
    Node list = folder->getOMNode("fileList");
    ASSERT_EQ(list->getType(), OMType::Map);
    std::vector<std::string> names = list->getMapKeys();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"empty", "notes.txt", "sub"}));

    Node file = list->getOMNode("notes.txt");
    EXPECT_TRUE(file->getOMNode("isFile")->getBool());
    EXPECT_FALSE(file->getOMNode("isDir")->getBool());
    EXPECT_EQ(file->getOMNode("name")->getString(), "notes.txt");
    EXPECT_EQ(file->getOMNode("path")->getString(), fRoot + "/notes.txt");
    EXPECT_EQ(file->getOMNode("contents")->getString(), kNotes);
    EXPECT_EQ(static_cast<int64_t>(file->getOMNode("contents")->getString().size()),
              file->getOMNode("fileSize")->getInt());
    Node fileList = file->getOMNode("fileList");
    EXPECT_EQ(fileList->getType(), OMType::Map);
    EXPECT_EQ(fileList->getSize(), 0u);

    // A folder path that ends in the separator gives children without a doubled one.
    Node slashed = OMFileSystem::factoryFromFilePath(fRoot + "/");
    EXPECT_EQ(slashed->getOMNode("fileList")->getOMNode("sub")->getOMNode("path")->getString(),
              fRoot + "/sub");
    EXPECT_EQ(slashed->getOMNode("name")->getString(), Dirs::getPathSegmentFromRight(fRoot, 0));
}

TEST_F(OMFileSystemTest, AMissingPathReadsFalseZeroAndEmpty)
{
    Node missing = OMFileSystem::factoryFromFilePath(fRoot + "/nothing");
    EXPECT_FALSE(missing->getOMNode("isDir")->getBool());
    EXPECT_FALSE(missing->getOMNode("isFile")->getBool());
    EXPECT_EQ(missing->getOMNode("fileSize")->getInt(), 0);
    EXPECT_EQ(missing->getOMNode("fileList")->getType(), OMType::Map);
    EXPECT_EQ(missing->getOMNode("fileList")->getSize(), 0u);
    EXPECT_EQ(missing->getOMNode("contents")->getType(), OMType::Undefined);
    EXPECT_EQ(missing->getOMNode("name")->getString(), "nothing");
    // Without a separator the name is the whole path.
    EXPECT_EQ(OMFileSystem::factoryFromFilePath("plain")->getOMNode("name")->getString(), "plain");
}

TEST_F(OMFileSystemTest, AnUnknownAttributeGivesNothing)
{
    Node folder = root();
    QfnTest::LogCapture capture;
    Node node = OMStored::factory(1);
    EXPECT_FALSE(folder->accessOMNodeReadOnlyResolved(nullptr, nullptr, "owner", node));
    EXPECT_EQ(node, nullptr);
    EXPECT_FALSE(AccessOMNodeReadOnlyResolvedByAttrTask::call(folder, nullptr, nullptr, "owner", node));
    EXPECT_EQ(node, nullptr);
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(folder->getOMNode("owner")->getType(), OMType::Error);
    EXPECT_TRUE(capture.hasLineEndingWith("access to attr owner failed"));
    EXPECT_FALSE(folder->exists("owner"));
    EXPECT_TRUE(folder->exists("fileList"));
    EXPECT_EQ(folder->getType("fileList"), OMType::Map);
    EXPECT_EQ(folder->getType("owner"), OMType::Undefined);
}

TEST_F(OMFileSystemTest, AttributesAreASnapshotFromTheirFirstRead)
{
    Node folder = OMFileSystem::factoryFromFilePath(fRoot + "/sub");
    Node list = folder->getOMNode("fileList");
    Node x = list->getOMNode("x.log");
    EXPECT_EQ(x->getOMNode("fileSize")->getInt(), 10);
    // The listing read no child attribute: a change before the first read shows.
    ASSERT_TRUE(Dirs::writeFile(fRoot + "/sub/y.log", "abcdef"));
    EXPECT_EQ(list->getOMNode("y.log")->getOMNode("fileSize")->getInt(), 6);

    ASSERT_TRUE(Dirs::writeFile(fRoot + "/sub/x.log", "0123456789abc"));
    ASSERT_TRUE(Dirs::writeFile(fRoot + "/sub/new.txt", "n"));
    EXPECT_EQ(x->getOMNode("fileSize")->getInt(), 10);
    EXPECT_EQ(folder->getOMNode("fileList").get(), list.get());
    EXPECT_EQ(list->getSize(), 3u);

    Node fresh = OMFileSystem::factoryFromFilePath(fRoot + "/sub");
    EXPECT_EQ(fresh->getOMNode("fileList")->getSize(), 4u);
    EXPECT_EQ(fresh->getOMNode("fileList")->getOMNode("x.log")->getOMNode("fileSize")->getInt(), 13);
}

TEST_F(OMFileSystemTest, WritesAreRefused)
{
    Node folder = root();
    const std::string name = folder->getOMNode("name")->getString();
    QfnTest::LogCapture capture;
    Node value = OMStored::factory("renamed");
    EXPECT_FALSE(folder->accessOMNodeResolved(nullptr, nullptr, AccessType::SET, "name", value));
    EXPECT_TRUE(capture.hasLineEndingWith("file-system node is read-only: " + fRoot));
    Node created;
    EXPECT_FALSE(folder->accessOMNodeResolved(nullptr, nullptr, AccessType::GET_CREATE, "extra", created));
    EXPECT_EQ(created, nullptr);
    EXPECT_FALSE(folder->set(static_cast<int64_t>(3)));
    EXPECT_EQ(folder->set(OMStored::factory(3)), nullptr);
    EXPECT_FALSE(folder->setEmptyMap());
    EXPECT_FALSE(folder->deleteOMNode("name"));
    EXPECT_FALSE(folder->push(OMStored::factory(1)));

    OMAccessor accessor(folder);
    Node replacement = OMStored::factory("renamed");
    EXPECT_FALSE(accessor.setPath("name", replacement));
    EXPECT_EQ(folder->getType(), OMType::Map);
    EXPECT_EQ(folder->getSize(), 8u);
    EXPECT_EQ(folder->getOMNode("name")->getString(), name);
}

TEST_F(OMFileSystemTest, PathQueriesWalkTheDisk)
{
    OMAccessor accessor(root());
    Node size = accessor.get("fileList/sub/fileList/x.log/fileSize", kSingle);
    ASSERT_NE(size, nullptr);
    EXPECT_EQ(size->getInt(), 10);

    Node names = accessor.get("fileList/sub/fileList/$\\.log$/name", kArray);
    ASSERT_NE(names, nullptr);
    EXPECT_EQ(sortedStrings(names), (std::vector<std::string>{"x.log", "y.log"}));
    Node count = accessor.get("count()/fileList/sub/fileList/$\\.log$", kSingle);
    ASSERT_NE(count, nullptr);
    EXPECT_EQ(count->getInt(), 2);
    // The keys of the matches, as members of their listing.
    Node keys = accessor.get("name()/fileList/sub/fileList/$\\.txt$", kSingle);
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(keys->getAsString(), "z.txt");
    Node textFiles = accessor.get("fileList/$txt$/contents", kArray);
    ASSERT_NE(textFiles, nullptr);
    EXPECT_EQ(sortedStrings(textFiles), std::vector<std::string>{kNotes});

    Node x = accessor.get("fileList/sub/fileList/x.log/name", kSingle);
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->getSelector(), "/fileList/sub/fileList/x.log/name");

    EXPECT_EQ(accessor.get("fileList/nothing/name", kSingle), nullptr);
    EXPECT_EQ(accessor.get("fileList/sub/owner", kSingle), nullptr);
}

TEST_F(OMFileSystemTest, ALongListingIsBuiltAcrossSlices)
{
    const int kEntries = 200;
    for (int i = 0; i < kEntries; ++i)
        ASSERT_TRUE(Dirs::writeFile(fRoot + "/empty/f" + std::to_string(i), ""));
    Node folder = OMFileSystem::factoryFromFilePath(fRoot + "/empty");
    Node list;
    auto task = AccessOMNodeReadOnlyResolvedByAttrTask::factory(folder, nullptr, nullptr, "fileList", list);
    ASSERT_NE(task, nullptr);
    int slices = 0;
    while (!task->getIsTaskCompleted() && slices < 100000) {
        task->runTimeslice(1);
        ++slices;
    }
    ASSERT_TRUE(task->getIsTaskCompleted());
    EXPECT_GT(slices, 1) << "the listing never suspended";
    EXPECT_TRUE(task->getRetValBool());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->getSize(), static_cast<uint64_t>(kEntries));
    EXPECT_EQ(folder->getOMNode("fileList").get(), list.get());
    EXPECT_EQ(list->getOMNode("f7")->getOMNode("path")->getString(), fRoot + "/empty/f7");
}

TEST_F(OMFileSystemTest, TextFormsHoldTheAttributesAroundTheContents)
{
    Node file = OMFileSystem::factoryFromFilePath(fRoot + "/sub/x.log");
    const std::string path = fRoot + "/sub/x.log";
    EXPECT_EQ(OMAccessor::stringify(*file),
              "{\"contents\":\"0123456789\", \"fileList\":{}, \"fileSize\":10, \"isDir\":false, "
              "\"isFile\":true, \"isPipe\":false, \"name\":\"x.log\", \"path\":\"" +
                  path + "\"}");
    EXPECT_GT(OMAccessor::stringify(*file).size(), static_cast<size_t>(Dirs::fileSize(path)));
    EXPECT_EQ(OMAccessor::toString(*file),
              "{\"name\":\"x.log\",\"path\":\"" + path +
                  "\",\"isDir\":false,\"isFile\":true,\"isPipe\":false,\"fileSize\":10,\"fileList\":{},"
                  "\"contents\":\"0123456789\"}");
    EXPECT_NE(file->toString().find("\"contents\": \"0123456789\""), std::string::npos);
}

TEST_F(OMFileSystemTest, ScriptsReadItsAttributes)
{
    std::shared_ptr<OMScope> scope = InternalCoordinator::scopeFactory();
    ASSERT_NE(scope, nullptr);
    ASSERT_TRUE(scope->bindMember("fs", root()));
    QfnTest::ScriptResult result = QfnTest::runScript(
        "n = fs.fileList; s = fs.name; k = fs.fileList[\"sub\"].fileList[\"x.log\"].fileSize; "
        "t = typeof fs; d = fs.fileList.sub.isDir && !fs.isFile; e = \"\" + fs.fileList[\"empty\"];",
        scope);
    ASSERT_TRUE(result.completed);
    ASSERT_NE(result.variable("n"), nullptr);
    EXPECT_EQ(result.variable("n")->getType(), OMType::Map);
    EXPECT_EQ(result.variable("n")->getSize(), 3u);
    EXPECT_EQ(result.variable("s")->getAsString(), Dirs::getPathSegmentFromRight(fRoot, 0));
    EXPECT_EQ(result.variable("k")->getInt(), 10);
    EXPECT_EQ(result.variable("t")->getAsString(), "object");
    EXPECT_TRUE(result.variable("d")->getAsBool());
    // Its text, made while the script runs, reads every attribute on the way.
    ASSERT_NE(result.variable("e"), nullptr);
    EXPECT_EQ(result.variable("e")->getAsString(),
              "{ \"contents\": undefined, \"fileList\": {  }, \"fileSize\": 0, \"isDir\": true, "
              "\"isFile\": false, \"isPipe\": false, \"name\": \"empty\", \"path\": \"" +
                  fRoot + "/empty\" }");

    QfnTest::LogCapture capture;
    QfnTest::ScriptResult write = QfnTest::runScript("fs.name = \"x\"", scope);
    EXPECT_TRUE(write.completed);
    EXPECT_EQ(write.value, nullptr);
    EXPECT_TRUE(capture.hasLineEndingWith("file-system node is read-only: " + fRoot));
    EXPECT_TRUE(capture.hasLineEndingWith("cannot write fs.name"));
    QfnTest::ScriptResult reread = QfnTest::runScript("r = fs.name", scope);
    ASSERT_NE(reread.variable("r"), nullptr);
    EXPECT_EQ(reread.variable("r")->getAsString(), Dirs::getPathSegmentFromRight(fRoot, 0));
}
