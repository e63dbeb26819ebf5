// Files that are made as a whole.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::platform {

/// Puts a file with these bytes in the place of whatever file has the name, or none has it yet. It is written
/// beside under a name that cannot be guessed and renamed at the end, so nobody ever sees half of it, and
/// when something fails the old file is as it was. The new file keeps the permissions of the old one. A
/// symbolic link stays, and what it leads to is replaced; one that a stranger has put into a directory where
/// everybody may write is not followed. A device or a pipe is written through.
/// @param nativePath  taken as it stands, without regard to the system's form of paths
/// @return empty, or a plain reason, such as "No space left on device"
[[nodiscard]] std::string replaceFile(const std::string& nativePath, std::string_view bytes);

/// Whether replaceFile() could make a file there, as far as that can be told without making it.
/// @return as replaceFile()
[[nodiscard]] std::string whyNotReplaceable(const std::string& nativePath);

}  // namespace kestrel::platform
