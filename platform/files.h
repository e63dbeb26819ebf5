// Files by system path.
#pragma once

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

/// Opens a regular file or device; a directory does not open. `mode` as for fopen.
/// @return null when it cannot be opened
[[nodiscard]] FileHandle openFile(std::string_view systemPath, const char* mode);

/// Opens a regular file for reading bytes. Anything else does not open: a pipe or a device may never end.
/// @return null when it cannot be opened
[[nodiscard]] FileHandle openRegularFile(std::string_view systemPath);

/// Reads a whole text file the way the original text layer does: a CR before a LF is removed.
/// @return nothing when it cannot be opened or read
[[nodiscard]] std::optional<std::string> readTextFile(std::string_view systemPath);

/// True for an existing file or directory.
[[nodiscard]] bool pathExists(std::string_view systemPath);
/// True for an existing file that is no directory.
[[nodiscard]] bool fileExists(std::string_view systemPath);
bool removeFile(std::string_view systemPath);

}  // namespace kestrel::platform
