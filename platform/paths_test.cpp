#include "platform/paths.h"

#include "platform/environment.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class Paths : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root_ / "Scripts" / "lib");
        for (const char* name : {"Scripts/Marble.ks", "Scripts/lib/b.ks", "Scripts/lib/B.ks"})
            std::ofstream(root_ / name) << name;
    }

    const test::TemporaryFolder folder_;
    const fs::path& root_ = folder_.path;
};

TEST_F(Paths, ASystemPathFindsItsFileWhateverTheCase) {
    const std::string base = systemPath(root_.string());
    for (const auto& [asked, found] :
         {std::pair{"\\Scripts\\Marble.ks", "/Scripts/Marble.ks"},  // exact
          std::pair{"\\SCRIPTS\\MARBLE.KS", "/Scripts/Marble.ks"},  // each component by itself
          std::pair{"\\scripts\\lib\\b.ks", "/Scripts/lib/b.ks"},   // an exact name beats an earlier one
          std::pair{"\\scripts\\lib\\b.KS", "/Scripts/lib/B.ks"},   // the first in byte order
          std::pair{"\\scripts/lib\\..\\marble.ks", "/Scripts/lib/../Marble.ks"},
          std::pair{"\\scripts\\New.KS", "/Scripts/New.KS"},  // what does not exist keeps its letters
          std::pair{"\\None\\Lib\\b.ks", "/None/Lib/b.ks"}}) {
        EXPECT_EQ(nativePath(base + asked), root_.string() + found);
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
