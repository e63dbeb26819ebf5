// What the scanner hands to the parser.
#pragma once

#include "engine/report/message.h"

#include <cstdint>

namespace kestrel {

struct Variable;

/// The value of a token.
union TokenValue {
    double number;         ///< NUMBER
    std::int32_t integer;  ///< INTEGER
    Variable* symbol;      ///< NAME
    const char* text;      ///< STRLIT, owned by the program
};

/// Codes of the tokens with a value, as the parser numbers them (checked in grammar.y).
enum class NamedToken { StringLiteral = 280, Name = 316, Number = 317, Integer = 318 };

struct Token {
    int code = 0;
    TokenValue value = {0.0};
    char first = '\0';        ///< of its text, what messages show after "found"; NUL at the end of input
    std::int64_t number = 0;  ///< how many tokens came before it
    SourcePos pos;
};

/// The place that reaches from the start of one place to the end of another.
[[nodiscard]] inline SourcePos joinPlaces(const SourcePos& first, const SourcePos& last) noexcept {
    SourcePos all = first;
    if (first.file == last.file && first.line == last.line && last.endColumn > all.endColumn)
        all.endColumn = last.endColumn;
    return all;
}

}  // namespace kestrel
