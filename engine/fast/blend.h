// Branches that only choose values become choices without a jump: which way such a branch goes often depends
// on the sample, and a jump that the processor guesses wrong costs more than both ways.
#pragma once

#include "engine/fast/code.h"

namespace kestrel::fast {

/// Lays both sides of an If one after the other, and a Choose for each register that they bring along, where
/// doubles are compared and the sides do nothing but a few cheap operations. A choice among the compared
/// numbers becomes Smaller or Larger; the sum of a choice and a constant is the choice of the sums, where
/// those are at hand.
/// @param code  of which each register that is no constant has its definition: behind removeDead(), before
///              coalesce()
void blend(Code& code);

}  // namespace kestrel::fast
