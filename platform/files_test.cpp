#include "platform/files.h"

#include "platform/dynamic_library.h"
#include "platform/environment.h"
#include "platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace kestrel::platform {

TEST(Files, TextIsReadWithoutCarriageReturnsBeforeNewlines) {
    const std::string path = systemPath(
        (std::filesystem::temp_directory_path() / ("kestrel_files_" + std::to_string(processId()))).string());
    {
        const FileHandle file = openFile(path, "wb");
        ASSERT_NE(file, nullptr);
        std::fputs("a\r\nb\rc\n\r", file.get());
    }
    EXPECT_EQ(readTextFile(path), "a\nb\rc\n\r");
    EXPECT_TRUE(fileExists(path));
    EXPECT_TRUE(removeFile(path));
    EXPECT_FALSE(pathExists(path));
    EXPECT_EQ(readTextFile(path), std::nullopt);
}

TEST(Files, ADirectoryExistsButIsNoFile) {
    const std::string directory = temporaryDirectory();
    EXPECT_TRUE(pathExists(directory));
    EXPECT_FALSE(fileExists(directory));
    EXPECT_EQ(openFile(directory, "r"), nullptr);
    EXPECT_FALSE(pathExists(""));
}

TEST(Files, TheTemporaryDirectoryIsTmpAsItStands) {
    const std::string native = std::filesystem::temp_directory_path().string();
    setEnvironment("TMP", "relative/Kept\\As Is");
    EXPECT_EQ(temporaryDirectory(), "relative/Kept\\As Is");
    setEnvironment("TMP", "");
    EXPECT_TRUE(pathExists(temporaryDirectory()));
    setEnvironment("TMP", native);
}

TEST(Files, ALibraryThatDoesNotLoadSaysWhy) {
    std::string error;
    EXPECT_EQ(DynamicLibrary::open("/nowhere/none.so", error), nullptr);
    EXPECT_NE(error.find("none.so"), std::string::npos);
}

}  // namespace kestrel::platform
