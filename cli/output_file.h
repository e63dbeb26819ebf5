// Files that the command makes: complete or not there at all.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::cli {

/// Writes a whole file under a temporary name in the same directory, then renames it, so that nobody ever
/// sees half of it. "-" writes to standard output.
/// @return  false after telling on standard error why it could not be written
[[nodiscard]] bool writeOutput(const std::string& nativePath, std::string_view bytes);

}  // namespace kestrel::cli
