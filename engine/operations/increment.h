// "++" and "--".
#pragma once

#include "engine/context/context.h"
#include "engine/operations/place.h"

namespace kestrel {

/// Changes what a place holds by 1. `op` is OP_POSTINC ... OP_PREINC.
/// @param out  receives the old or the new value
/// @return false where there is none, which has been reported
bool incrementPlace(EngineContext& ctx, const Place& place, std::int32_t op, ValueCell& out);

/// Changes a number, or the parts of a vector, by `step`.
/// @return false for other kinds; nothing has happened then
bool countUp(ValueCell& value, double step) noexcept;
/// "++" or "--" on a number or vector that is stored.
/// @param out  receives what the operator leaves
/// @return false for other kinds; nothing has happened then
bool incrementStored(std::int32_t op, ValueCell& stored, ValueCell& out);

}  // namespace kestrel
