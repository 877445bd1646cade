// scripts/check-layers against the project's own table: the real tree passes, and a scratch tree
// with includes against the table fails, naming each file and include.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "support/ProcessRunner.h"

namespace {

using QfnTest::ProcessRunner;
namespace fs = std::filesystem;

const fs::path kSourceDir = QFN_SOURCE_DIR;

struct CheckResult {
    bool exited = false;
    int status = -1;
    std::string errors;
};

CheckResult runCheckLayers(const std::string& root)
{
    ProcessRunner runner({"/usr/bin/python3", (kSourceDir / "scripts" / "check-layers").string(), root});
    CheckResult result;
    if (!runner.start()) return result;
    result.exited = runner.waitForExit(std::chrono::seconds(60));
    result.status = runner.exitStatus();
    result.errors = runner.standardError();
    return result;
}

void writeFile(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

TEST(CheckLayers, TheProjectTreeKeepsItsLayers)
{
    CheckResult result = runCheckLayers(kSourceDir.string());
    ASSERT_TRUE(result.exited);
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST(CheckLayers, IncludesAgainstTheTableFailWithFileAndInclude)
{
    const fs::path root = fs::temp_directory_path() / ("qfn-layers-" + std::to_string(::getpid()));
    fs::remove_all(root);
    fs::create_directories(root / "docs");
    fs::copy_file(kSourceDir / "docs" / "ARCHITECTURE.md", root / "docs" / "ARCHITECTURE.md");
    // Allowed: downward, within one layer, and the opcode header that sits below its folder.
    writeFile(root / "src/QfnParser/model/Down.cpp",
              "#include \"QfnTask/Task.h\"\n#include \"QfnLogger/Check.h\"\n");
    writeFile(root / "src/QfnParser/model/Same.cpp", "#include \"QfnParser/expressions/OMExpression.h\"\n");
    writeFile(root / "src/QfnObject/Opcodes.cpp", "#include \"QfnMessage/OpCode.h\"\n#include <string>\n");
    {
        CheckResult result = runCheckLayers(root.string());
        ASSERT_TRUE(result.exited);
        EXPECT_EQ(result.status, 0) << result.errors;
    }
    // Upward, into the rest of a folder whose one header sits lower, and from a folder with no row.
    writeFile(root / "src/QfnTask/Up.cpp", "// a task\n  #  include \"QfnParser/model/OMNode.h\"\n");
    writeFile(root / "src/QfnObject/Messages.cpp", "#include \"QfnMessage/Message.h\"\n");
    writeFile(root / "src/QfnNowhere/Lost.cpp", "#include \"QfnLogger/Check.h\"\n");
    CheckResult result = runCheckLayers(root.string());
    ASSERT_TRUE(result.exited);
    EXPECT_NE(result.status, 0);
    EXPECT_NE(result.errors.find("src/QfnTask/Up.cpp:2: includes \"QfnParser/model/OMNode.h\" of layer 6"),
              std::string::npos)
        << result.errors;
    EXPECT_NE(result.errors.find("src/QfnObject/Messages.cpp:1: includes \"QfnMessage/Message.h\""),
              std::string::npos)
        << result.errors;
    EXPECT_NE(result.errors.find("src/QfnNowhere/Lost.cpp: its folder has no layer"), std::string::npos)
        << result.errors;
    EXPECT_EQ(result.errors.find("Down.cpp"), std::string::npos) << result.errors;
    EXPECT_EQ(result.errors.find("Opcodes.cpp"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("check-layers: 3 upward include(s)"), std::string::npos) << result.errors;
    fs::remove_all(root);
}

}  // namespace
