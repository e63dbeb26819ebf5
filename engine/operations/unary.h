// "-" and "!".
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// `-value`: anything but a vector counts as its number. The cell's text goes.
void negate(EngineContext& ctx, ValueCell& cell);
/// `!value`: 1 for zero and Nil, 0 for everything else. The cell's text goes.
void invert(EngineContext& ctx, ValueCell& cell);

/// The statement forms `-x;` and `!x;`, which change the variable. A text, and for "!" all but numbers, is
/// reported.
void negateVariable(EngineContext& ctx, Variable& variable);
void invertVariable(EngineContext& ctx, Variable& variable);

}  // namespace kestrel
