// What handlers ask of their arguments.
#pragma once

#include "engine/context/builtin.h"

namespace kestrel::builtins {

/// A last argument that stands for several values: those of a `return a, b` (closed by a ReturnCount) or of
/// an inline list `@ a, b @` (between two ListMarks).
struct Values {
    int first = 0;  ///< stack index of the first value, or of the opening ListMark
    int count = 0;  ///< values
};

/// Makes the call reach down to the first argument when its last one stands for several values.
/// @return where they are; count is -1 when the last argument is one plain value or the values are incomplete
Values widen(BuiltinCall& call);

}  // namespace kestrel::builtins
