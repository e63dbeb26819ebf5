// Reading: the value of each sort of place.
#pragma once

#include "engine/context/context.h"
#include "engine/operations/place.h"

namespace kestrel {

/// The value that a place holds.
/// @param out  receives it: texts borrowed, or the caller's (TempString)
Reading readPlace(EngineContext& ctx, const Place& place, ValueCell& out);

/// The same for a plain variable: one that was never assigned becomes Nil, but for strict scripts, which are
/// told.
Reading readVariable(EngineContext& ctx, Variable& variable, ValueCell& out);

}  // namespace kestrel
