// Inputs to begin with, from the files of the tree.
#pragma once

#include "fuzz/target.h"

namespace kestrel::fuzz {

/// @return nothing of a file that cannot be read
[[nodiscard]] std::string bytesOf(const std::filesystem::path& file);

/// Adds the scripts below a folder, in the order of their files.
void addScripts(Seeds& seeds, const std::filesystem::path& folder);

}  // namespace kestrel::fuzz
