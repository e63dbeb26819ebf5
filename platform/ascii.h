// Letters, digits and white space of ASCII, whatever the locale says.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kestrel::ascii {

// All take a character or what getc() returns: EOF and bytes beyond ASCII are nothing of all this.

[[nodiscard]] constexpr bool isDigit(int c) noexcept {
    return c >= '0' && c <= '9';
}
[[nodiscard]] constexpr bool isLetter(int c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
/// Blank, tab, LF, VT, FF, CR.
[[nodiscard]] constexpr bool isSpace(int c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
[[nodiscard]] constexpr char lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] constexpr char upper(char c) noexcept {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
/// Without blanks and tabs at both ends.
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}
[[nodiscard]] constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace kestrel::ascii
