#include "platform/paths.h"

#include "platform/environment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class Paths : public testing::Test {
protected:
    void SetUp() override {
        root_ = fs::temp_directory_path() / ("kestrel_paths_" + std::to_string(processId()));
        fs::create_directories(root_ / "Scripts" / "lib");
        for (const char* name : {"Scripts/Marble.ks", "Scripts/lib/b.ks", "Scripts/lib/B.ks"})
            std::ofstream(root_ / name) << name;
    }
    void TearDown() override { fs::remove_all(root_); }

    fs::path root_;
};

TEST_F(Paths, ASystemPathFindsItsFileWhateverTheCase) {
    const std::string base = systemPath(root_.string());
    struct Case {
        const char* asked;
        const char* found;
    };
    for (const Case& c :
         {Case{"\\Scripts\\Marble.ks", "/Scripts/Marble.ks"},  // exact
          Case{"\\SCRIPTS\\MARBLE.KS", "/Scripts/Marble.ks"},  // each component by itself
          Case{"\\scripts\\lib\\b.ks", "/Scripts/lib/b.ks"},   // an exact name beats an earlier one
          Case{"\\scripts\\lib\\b.KS", "/Scripts/lib/B.ks"},   // the first in byte order
          Case{"\\scripts/lib\\..\\marble.ks", "/Scripts/lib/../Marble.ks"},
          Case{"\\scripts\\New.KS", "/Scripts/New.KS"},  // what does not exist keeps its letters
          Case{"\\None\\Lib\\b.ks", "/None/Lib/b.ks"}}) {
        EXPECT_EQ(nativePath(base + c.asked), root_.string() + c.found);
    }
    // The whole path in upper case, as saved states carry it.
    EXPECT_EQ(nativePath(upperCase(base + "\\Scripts\\Marble.ks")), root_.string() + "/Scripts/Marble.ks");
}

TEST_F(Paths, ANativePathBecomesAbsoluteWithBackslashes) {
    EXPECT_EQ(systemPath("/a/B/./c.ks"), "\\a\\B\\c.ks");
    EXPECT_EQ(systemPath("/"), "\\");
    EXPECT_EQ(systemPath("/a/../b/"), "\\a\\..\\b\\");
    EXPECT_EQ(systemPath("x.ks"), currentDirectory() + "\\x.ks");
}

TEST_F(Paths, PartsAndCase) {
    EXPECT_EQ(baseName("\\a\\b.ks"), "b.ks");
    EXPECT_EQ(baseName("C:b.ks"), "b.ks");
    EXPECT_EQ(baseName("b.ks"), "b.ks");
    EXPECT_EQ(directoryOf("\\a\\b.ks"), "\\a\\");
    EXPECT_EQ(directoryOf("b.ks"), "");
    EXPECT_EQ(upperCase("\\aZ\xe9"), "\\AZ\xe9");
}

}  // namespace kestrel::platform
