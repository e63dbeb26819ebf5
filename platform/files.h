// Files by system path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::platform {

struct FileCloser {
    void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a regular file or device without ever waiting for another process: a named pipe that nobody writes
/// reads as an empty file, one that nobody reads does not open for writing. A directory does not open.
/// @param mode  begins with 'r', 'w' or 'a'; a '+' or 'b' anywhere means what it does for fopen, other
/// letters nothing
/// @return null when it cannot be opened
[[nodiscard]] FileHandle openFile(std::string_view systemPath, std::string_view mode);
/// Writes out what is still buffered and closes.
/// @return 0, or -1 when something could not be written
int closeFile(FileHandle file);

/// Writes out what is still buffered. @return false when something could not be written
bool flushFile(std::FILE* file);

/// What a position counts from; the values are those that scripts use.
enum class SeekFrom { Start = 0, Here = 1, End = 2 };
/// Writes out what is buffered and moves. Between reading and writing one stream there must be one of these.
/// @return false when the file has no such position (a pipe has none)
bool seekFile(std::FILE* file, std::int64_t offset, SeekFrom from);
/// Bytes from the start; -1 where there is no position.
[[nodiscard]] std::int64_t filePosition(std::FILE* file);
/// Size in bytes of a regular file; nothing for pipes and devices.
[[nodiscard]] std::optional<std::int64_t> fileSize(std::FILE* file);

/// The next byte, or EOF. Unlike std::getc it takes no lock: a stream belongs to one thread.
[[nodiscard]] inline int nextByte(std::FILE* file) noexcept {
    return getc_unlocked(file);
}
/// Puts back the byte that was read last, and before it others: the C library of this platform takes three.
inline void unreadByte(std::FILE* file, int byte) noexcept {
    std::ungetc(byte, file);
}
/// Reads the LF that makes one line end with the CR before it.
/// @return false where another byte, or none, follows
inline bool takeLineFeed(std::FILE* file) noexcept {
    const int c = nextByte(file);
    if (c == '\n') return true;
    if (c != EOF) unreadByte(file, c);
    return false;
}

/// Opens a regular file for reading bytes. Anything else does not open: a pipe or a device may never end.
/// @return null when it cannot be opened
[[nodiscard]] FileHandle openRegularFile(std::string_view systemPath);

/// Creates a file that only the user may read, for writing.
/// @return null when it cannot be created, or when anything has that name already
[[nodiscard]] FileHandle createFile(std::string_view systemPath);

/// Whether its directory would take a file of this name, or has something other than a directory by that
/// very name: makes an empty file and takes it away again. Does not look through the directory.
[[nodiscard]] bool takesFile(std::string_view systemPath);

/// Reads a text in pieces as a buffer of fixed size takes them: up to the next LF, which counts as a
/// character and is dropped, with a CR before it.
/// @param most   characters of a piece at most
/// @param piece  receives it
/// @return false at the end of the file
bool readPiece(std::FILE* file, std::size_t most, std::string& piece);

/// The longest text file that is read as a whole, in bytes.
inline constexpr std::size_t kLongestTextFile = std::size_t{256} << 20;
/// Reads a whole text file; a CR before a LF is removed.
/// @param most  bytes of a file that may be longer: what is read ends soon after so many
/// @return nothing when it cannot be opened or read, or is longer than kLongestTextFile
[[nodiscard]] std::optional<std::string> readTextFile(std::string_view systemPath,
                                                      std::size_t most = kLongestTextFile);

/// True for an existing file or directory.
[[nodiscard]] bool pathExists(std::string_view systemPath);
/// True for an existing file that is no directory.
[[nodiscard]] bool fileExists(std::string_view systemPath);
/// @return 0, or the system's number of the error
int removeFile(std::string_view systemPath);

}  // namespace kestrel::platform
