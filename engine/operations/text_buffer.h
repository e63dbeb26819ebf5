// Room for new texts in the pool.
#pragma once

#include "engine/context/context.h"

#include <cstddef>
#include <limits>

namespace kestrel {

/// Longest text that a script can make by repetition, joining or padding. A longer one counts as exhausted
/// memory at once, before gigabytes are filled that no host could use.
inline constexpr std::size_t kLongestText = std::size_t{1} << 30;

/// @return false after reporting memory exhaustion (the abort flag is set): a text of that length cannot be
[[nodiscard]] inline bool fitsText(EngineContext& ctx, std::size_t length) {
    constexpr std::size_t kMoreThanAnyPool = std::numeric_limits<std::size_t>::max() / 2;
    return length <= kLongestText || ctx.pool.alloc(kMoreThanAnyPool, false) != nullptr;
}

/// Room for a text of `length` characters, its NUL already written.
/// @return null after reporting memory exhaustion (the abort flag is set)
[[nodiscard]] inline char* makeTextBuffer(EngineContext& ctx, std::size_t length) {
    if (!fitsText(ctx, length)) return nullptr;
    auto* text = static_cast<char*>(ctx.pool.alloc(length + 1, false));
    if (text != nullptr) text[length] = '\0';
    return text;
}

}  // namespace kestrel
