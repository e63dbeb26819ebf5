// The words of the language, from its tables.
#pragma once

#include <string>
#include <vector>

namespace kestrel::fuzz {

/// Each word once, in order. What is added to the language is in it by itself.
[[nodiscard]] std::vector<std::string> dictionary();

}  // namespace kestrel::fuzz
