#include "platform/replace_file.h"

#include "tests/temporary_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace kestrel::platform {

namespace {

namespace fs = std::filesystem;

class ReplaceFile : public ::testing::Test {
protected:
    void SetUp() override { chmod(folder_.c_str(), 0700); }

    [[nodiscard]] std::string path(const char* name) const { return (folder_ / name).string(); }
    [[nodiscard]] std::string bytesOf(const char* name) const {
        std::ifstream in(folder_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    [[nodiscard]] std::size_t entries() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), {}));
    }
    [[nodiscard]] unsigned permissions(const char* name) const {
        struct stat info {};
        EXPECT_EQ(stat(path(name).c_str(), &info), 0);
        return info.st_mode & 07777u;
    }

    const test::TemporaryFolder made_;
    const fs::path& folder_ = made_.path;
};

}  // namespace

TEST_F(ReplaceFile, KeepsThePermissionsOfTheOldFileAndGivesANewOneTheUsualOnes) {
    const mode_t mask = umask(027);
    EXPECT_EQ(replaceFile(path("a"), "one"), "");
    EXPECT_EQ(permissions("a"), 0640u);
    for (const mode_t mode : {0600u, 0666u, 0755u, 0444u}) {
        chmod(path("a").c_str(), mode);
        EXPECT_EQ(replaceFile(path("a"), "two"), "");
        EXPECT_EQ(permissions("a"), mode);
    }
    chmod(path("a").c_str(), 06755);
    EXPECT_EQ(replaceFile(path("a"), "three"), "");
    EXPECT_EQ(permissions("a"), 0755u) << "whose file it runs as is not for data to say";
    umask(mask);
    EXPECT_EQ(bytesOf("a"), "three");
    EXPECT_EQ(entries(), 1u);
}

TEST_F(ReplaceFile, FollowsALinkButNotThatOfAStrangerWhereEverybodyWrites) {
    fs::create_directory(folder_ / "deep");
    fs::create_symlink("deep/a", folder_ / "link");
    EXPECT_EQ(replaceFile(path("link"), "one"), "");
    EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
    EXPECT_EQ(bytesOf("deep/a"), "one");
    fs::create_symlink("loop", folder_ / "loop");
    EXPECT_NE(replaceFile(path("loop"), "one"), "");
    if (geteuid() != 0) GTEST_SKIP() << "only root can make a stranger's link";
    chmod(folder_.c_str(), 01777);
    EXPECT_EQ(replaceFile(path("link"), "two"), "");
    ASSERT_EQ(lchown(path("link").c_str(), 4711, 4711), 0);
    EXPECT_EQ(replaceFile(path("link"), "three"), "is a link that another user made");
    EXPECT_EQ(whyNotReplaceable(path("link")), "is a link that another user made");
    EXPECT_EQ(bytesOf("deep/a"), "two");
}

TEST_F(ReplaceFile, LeavesTheOldFileAndNothingElseWhenItFails) {
    std::ofstream(folder_ / "a") << "old";
    EXPECT_EQ(replaceFile(folder_.string(), "x"), "Is a directory");
    EXPECT_EQ(whyNotReplaceable(folder_.string()), "is a directory");
    EXPECT_EQ(replaceFile(path("none/b"), "x"), "No such file or directory");
    EXPECT_EQ(whyNotReplaceable(path("none/b")), "there is no directory " + path("none"));
    EXPECT_EQ(replaceFile("/dev/full", "x"), "No space left on device");
    EXPECT_EQ(whyNotReplaceable("/dev/full"), "");
    EXPECT_EQ(replaceFile(path(std::string(300, 'n').c_str()), "x"), "File name too long");
    EXPECT_EQ(bytesOf("a"), "old");
    EXPECT_EQ(entries(), 1u);
    EXPECT_EQ(replaceFile("/dev/null", "x"), "");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

}  // namespace kestrel::platform
