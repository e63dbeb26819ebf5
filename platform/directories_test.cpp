#include "platform/directories.h"

#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class Directories : public testing::Test {
protected:
    void SetUp() override {
        root_ = fs::temp_directory_path() / ("kestrel_directories_" + std::to_string(processId()));
        fs::create_directories(root_);
        system_ = systemPath(root_.string());
    }
    void TearDown() override { fs::remove_all(root_); }

    std::string found(const std::string& pattern) {
        std::string names;
        for (const std::string& name : matchFiles(system_ + pattern))
            names += (names.empty() ? "" : " ") + name;
        return names;
    }

    fs::path root_;
    std::string system_;
};

TEST_F(Directories, NamesMatchWithoutRegardToCase) {
    for (const char* name : {"b.PNG", "A.png", "a.txt", ".hidden", "noDot", "aaab"})
        std::ofstream(root_ / name);
    struct Case {
        const char* pattern;
        const char* names;
    };
    for (const Case& c :
         {Case{"\\*.png", "A.png b.PNG"}, Case{"\\*", ". .. .hidden A.png a.txt aaab b.PNG noDot"},
          Case{"/*.*", ". .. .hidden A.png a.txt aaab b.PNG noDot"}, Case{"\\.*", ". .. .hidden"},
          Case{"\\?.??t", "a.txt"}, Case{"\\NODOT", "noDot"}, Case{"\\a*a*b", "aaab"}, Case{"\\a*b?", ""},
          Case{"\\", ""}, Case{"\\none\\*", ""}, Case{"\\a.txt\\*", ""}})
        EXPECT_EQ(found(c.pattern), c.names) << c.pattern;
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
}

}  // namespace kestrel::platform
