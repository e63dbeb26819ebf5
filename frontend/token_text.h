// How the messages of syntax errors show tokens.
#pragma once

#include <array>
#include <string_view>

namespace kestrel {

inline constexpr int kTerminals = 92;

/// Display texts by symbol number: end of input, error, undefined, the named tokens, the one-character
/// tokens.
/// The rows of RECORD, DECLARE, RECORD_OP, EXPOSE and PPLINE are off by one place, and are meant to be: the
/// table has an "include" that is no token and lacks an entry for PPLINE, and what users see stays as it is.
// clang-format off
inline constexpr std::array<std::string_view, kTerminals> kTokenText = {
    "", "", "",
    "if", "else", "while", "do", "for", "const", "'=='", "'!='", "'<='", "'>='", "'+='", "'-='", "'/='", "'*='",
    "case", "default", "goto", "continue", "break", "return", "'&&'", "'||'", "<string>", "'::'", "'++'", "'--'",
    "'true'", "'false'", "var", "'nil'", "library", "begin", "end", "to", "by", "procedure", "then", "<eos>", "select",
    "when", "switch", "otherwise", "'^='", "'|='", "'&='", "'<<'", "'>>'", "'='", "use", "class", "as", "build", "on",
    "include",   // RECORD
    "record",    // DECLARE
    "declare",   // RECORD_OP
    "'->'",      // EXPOSE
    "expose",    // PPLINE
    "<identifier>", "<number>", "<integer>", "<unary minus>", "",
    "'-'", "'+'", "'*'", "'/'", "'='", "';'", "','", "'{'", "'}'", "'<'", "'>'", "':'", "'('", "')'", "'@'", "'['",
    "']'", "'.'", "'$'", "'&'", "'~'", "'!'", "'%'", "'^'", "'|'", "'?'",
};
// clang-format on

}  // namespace kestrel
