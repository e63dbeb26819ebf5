// Inputs to begin with, from the files of the tree.
#pragma once

#include "fuzz/target.h"

namespace kestrel::fuzz {

/// @return nothing of a file that cannot be read
[[nodiscard]] std::string bytesOf(const std::filesystem::path& file);

/// Adds the scripts below a folder, in the order of their names. A file with "// --- " lines holds several;
/// what stands above the first one belongs to each.
void addScripts(Seeds& seeds, const std::filesystem::path& folder);

}  // namespace kestrel::fuzz
