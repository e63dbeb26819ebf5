// The hint that follows an arithmetic error: what both sides were.
#pragma once

#include "engine/context/context.h"
#include "engine/values/value.h"

#include <cstdint>

namespace kestrel {

/// Says what stood left and right of an operator that has just failed in the instruction being run, and names
/// the variables. Costs nothing where nobody wants hints; once for each place.
/// @param op  a plain operator, such as OP_ADD
void adviseOnOperands(EngineContext& ctx, std::int32_t op, const ValueCell& left, const ValueCell& right);

}  // namespace kestrel
