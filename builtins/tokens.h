// Cutting a text at delimiter characters.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kestrel::builtins {

/// Calls visit(token) for each piece of `text` between runs of characters of `delims`, in order. Pieces are
/// never empty: delimiters at the beginning or the end make none. Without delimiters the whole text is one.
/// @param visit  takes a std::string_view into `text`
template <class Visit>
void forEachToken(std::string_view delims, std::string_view text, Visit visit) {
    std::size_t begin = text.find_first_not_of(delims);
    while (begin != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(delims, begin), text.size());
        visit(text.substr(begin, end - begin));
        begin = text.find_first_not_of(delims, end);
    }
}

}  // namespace kestrel::builtins
