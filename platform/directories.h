// Directories by system path.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

/// Makes a directory the current one of the whole process.
bool changeDirectory(std::string_view systemPath);
/// Makes a directory that everybody may use, as far as the user's file mode mask allows.
bool makeDirectory(std::string_view systemPath);
/// Removes an empty directory.
bool removeDirectory(std::string_view systemPath);

/// The names in a directory that match a pattern.
/// @param searchText  directory and pattern; the last "\" or "/" separates them. In the pattern `*` stands
///                    for any characters, `?` for one, letter case makes no difference, and "*.*" matches
///                    every name
/// @return "." and ".." first where they match, then the names in byte order; nothing for a directory that
///         is not there or cannot be read
[[nodiscard]] std::vector<std::string> matchFiles(std::string_view searchText);

}  // namespace kestrel::platform
