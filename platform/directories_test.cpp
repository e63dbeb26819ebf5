#include "platform/directories.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class Directories : public testing::Test {
protected:
    std::string found(const std::string& pattern) {
        std::string names;
        for (const std::string& name : matchFiles(system_ + pattern))
            names += (names.empty() ? "" : " ") + name;
        return names;
    }

    const test::TemporaryFolder folder_;
    const fs::path& root_ = folder_.path;
    const std::string system_ = systemPath(root_.string());
};

TEST_F(Directories, NamesMatchWithoutRegardToCase) {
    for (const char* name : {"b.PNG", "A.png", "a.txt", ".hidden", "noDot", "aaab"})
        std::ofstream(root_ / name);
    for (const auto& [pattern, names] :
         {std::pair{"\\*.png", "A.png b.PNG"}, std::pair{"\\*", ". .. .hidden A.png a.txt aaab b.PNG noDot"},
          std::pair{"/*.*", ". .. .hidden A.png a.txt aaab b.PNG noDot"}, std::pair{"\\.*", ". .. .hidden"},
          std::pair{"\\?.??t", "a.txt"}, std::pair{"\\NODOT", "noDot"}, std::pair{"\\a*a*b", "aaab"},
          std::pair{"\\a*b?", ""}, std::pair{"\\", ""}, std::pair{"\\none\\*", ""},
          std::pair{"\\a.txt\\*", ""}})
        EXPECT_EQ(found(pattern), names) << pattern;
}

TEST_F(Directories, APatternOfManyStarsTakesNoTime) {
    std::ofstream(root_ / std::string(200, 'a'));
    std::string pattern = "\\";
    for (int i = 0; i < 60; ++i) pattern += "a*";
    EXPECT_EQ(found(pattern + "b"), "");  // would outlast any time limit if each star tried everything
}

TEST_F(Directories, ANewFileNeverReplacesAnything) {
    const FileHandle file = createFile(system_ + "\\x");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fs::status(root_ / "x").permissions(), fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(root_ / "target", root_ / "link");
    for (const char* taken : {"\\x", "\\X", "\\link", "\\none\\x"})
        EXPECT_EQ(createFile(system_ + taken), nullptr) << taken;
    EXPECT_FALSE(fs::exists(root_ / "target"));
    fs::create_directory(root_ / "sub");
    for (const auto& [name, takes] :
         {std::pair("\\fresh", true), std::pair("\\x", true), std::pair("\\link", true),
          std::pair("\\SUB\\fresh", true), std::pair("\\sub", false), std::pair("\\none\\x", false)})
        EXPECT_EQ(takesFile(system_ + name), takes) << name;
    EXPECT_FALSE(fs::exists(root_ / "fresh") || fs::exists(root_ / "sub" / "fresh") ||
                 fs::exists(root_ / "target"));
    EXPECT_TRUE(fs::exists(root_ / "x") && fs::is_symlink(root_ / "link"));
}

}  // namespace kestrel::platform
