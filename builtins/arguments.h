// What handlers ask of their arguments, and what they leave beyond one value.
#pragma once

#include "engine/builtin.h"

#include <string_view>

namespace kestrel::builtins {

/// Reports an error whose only argument is the line; the call yields Nil.
void fail(BuiltinCall& call, std::string_view format);
/// The same for functions that share a handler: the name follows the line.
void failNamed(BuiltinCall& call, std::string_view format);

/// A new text (TempString), one of the cells for results(). Without memory it is Nil.
[[nodiscard]] ValueCell ownedText(EngineContext& ctx, std::string_view text);

/// Ends a call with the pieces of a text between delimiters, as several values.
void resultTokens(BuiltinCall& call, std::string_view delims, std::string_view text);

/// A last argument that stands for several values: those of a `return a, b` (closed by a ReturnCount) or of
/// an inline list `@ a, b @` (between two ListMarks).
struct Values {
    int first = 0;  ///< stack index of the first value, or of the opening ListMark
    int count = 0;  ///< values
};

/// Makes the call reach down to the first argument when its last one stands for several values.
/// @return where they are; count is -1 when the last argument is one plain value or the values are incomplete
Values widen(BuiltinCall& call);

/// Pushes one of many texts that a call leaves.
/// @return false when there was no room for it, which has been reported and ends the run
[[nodiscard]] bool pushResultText(EngineContext& ctx, std::string_view text);

}  // namespace kestrel::builtins
