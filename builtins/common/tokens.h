// Cutting a text at delimiter characters.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace kestrel::builtins {

/// Calls visit(token) for each piece of `text` between runs of characters of `delims`, in order. Pieces are
/// never empty: delimiters at the beginning or the end make none. Without delimiters the whole text is one.
/// @param visit  takes a std::string_view into `text`
template <class Visit>
void forEachToken(std::string_view delims, std::string_view text, Visit visit) {
    std::array<bool, 256> isDelimiter{};  // one look per character, however many delimiters there are
    for (const char c : delims) isDelimiter[static_cast<unsigned char>(c)] = true;
    const auto delimits = [&isDelimiter](char c) { return isDelimiter[static_cast<unsigned char>(c)]; };
    auto begin = std::find_if_not(text.begin(), text.end(), delimits);
    while (begin != text.end()) {
        const auto end = std::find_if(begin, text.end(), delimits);
        visit(std::string_view(begin, end));
        begin = std::find_if_not(end, text.end(), delimits);
    }
}

}  // namespace kestrel::builtins
