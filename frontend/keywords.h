// The words of the language, from keywords.def.
#pragma once

#include <string_view>

namespace kestrel {

/// The token of a keyword, as the parser numbers them; 0 for what is a name.
[[nodiscard]] int keywordToken(std::string_view word) noexcept;

/// The keyword that a name is but for its case; empty for other names.
[[nodiscard]] std::string_view keywordInSmall(std::string_view name) noexcept;

}  // namespace kestrel
