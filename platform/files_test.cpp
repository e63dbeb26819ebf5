#include "platform/files.h"

#include "platform/dynamic_library.h"
#include "platform/environment.h"
#include "platform/memory_file.h"
#include "platform/paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

namespace kestrel::platform {

namespace {

std::string temporaryPath() {
    return (std::filesystem::temp_directory_path() / ("kestrel_files_" + std::to_string(processId())))
        .string();
}

}  // namespace

TEST(Files, TextIsReadWithoutCarriageReturnsBeforeNewlines) {
    const std::string path = systemPath(temporaryPath());
    {
        const FileHandle file = openFile(path, "wb");
        ASSERT_NE(file, nullptr);
        std::fputs("a\r\nb\rc\n\r", file.get());
    }
    EXPECT_EQ(readTextFile(path), "a\nb\rc\n\r");
    EXPECT_TRUE(fileExists(path));
    EXPECT_EQ(removeFile(path), 0);
    EXPECT_EQ(removeFile(path), ENOENT);
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

TEST(Files, AFileInMemoryIsFoundByItsPathCannotBeChangedAndGoesWithItsOwner) {
    std::optional<MemoryFile> made = MemoryFile::create("a\nb");
    ASSERT_TRUE(made);
    const MemoryFile file = *std::move(made);
    const std::string path = systemPath(file.path());
    EXPECT_EQ(readTextFile(path), "a\nb");
    EXPECT_EQ(readTextFile(upperCase(path)), "a\nb") << "the form in which messages and states have it";
    const FileHandle writable = openFile(path, "r+");
    EXPECT_TRUE(writable == nullptr || std::fputs("x", writable.get()) < 0 || !flushFile(writable.get()));
    EXPECT_EQ(openFile(path, "w"), nullptr);
    EXPECT_EQ(readTextFile(path), "a\nb");
    std::optional<MemoryFile> empty = MemoryFile::create("");
    ASSERT_TRUE(empty);
    const std::string gone = systemPath(empty->path());
    EXPECT_EQ(readTextFile(gone), "");
    empty.reset();
    EXPECT_FALSE(pathExists(gone));
}

TEST(Files, OnlyKnownLettersOfAModeMeanSomething) {
    const std::string path = systemPath(temporaryPath());
    for (const char* mode : {"", "x", "W", "+w", "bw"}) EXPECT_EQ(openFile(path, mode), nullptr) << mode;
    EXPECT_FALSE(pathExists(path));
    // An 'x' would refuse the second opening, "ccs=" would convert characters.
    for (const char* mode : {"wx", "wx", "a", "r,ccs=UTF-16"})
        EXPECT_NE(openFile(path, mode), nullptr) << mode;
    const FileHandle file = openFile(path, "a?b+");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fputs("text", file.get()), 1);
    EXPECT_EQ(filePosition(file.get()), 4);
    EXPECT_TRUE(seekFile(file.get(), -3, SeekFrom::End));
    EXPECT_EQ(nextByte(file.get()), 'e');
    EXPECT_FALSE(seekFile(file.get(), -1, SeekFrom::Start));
    EXPECT_EQ(fileSize(file.get()), 4);
    EXPECT_EQ(removeFile(path), 0);
}

TEST(Files, APipeWithoutAnotherEndDoesNotMakeUsWait) {
    const std::string native = temporaryPath();
    const std::string path = systemPath(native);
    ASSERT_EQ(::mkfifo(native.c_str(), 0600), 0);
    EXPECT_EQ(openFile(path, "w"), nullptr);
    const FileHandle reader = openFile(path, "r");
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(nextByte(reader.get()), EOF);
    EXPECT_EQ(fileSize(reader.get()), std::nullopt);
    EXPECT_FALSE(seekFile(reader.get(), 0, SeekFrom::Start));
    EXPECT_EQ(removeFile(path), 0);
}

}  // namespace kestrel::platform
