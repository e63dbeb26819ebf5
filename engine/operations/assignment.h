// Assignment: what "=" does to each sort of place.
#pragma once

#include "engine/context/context.h"
#include "engine/operations/place.h"

#include <span>

namespace kestrel {

/// Stores one value in a place. What the place cannot hold is reported.
/// @param position  1-based member of an assignment block, 0 outside blocks
void assignPlace(EngineContext& ctx, const Place& place, const ValueCell& value, int position = 0);

/// Stores one value in a variable with the rules of "=": texts are copied, record instances copied,
/// everything else shared. The value stays owned by the caller.
void assignVariable(EngineContext& ctx, Variable& variable, const ValueCell& value);

/// The same for whoever is no script: an array goes without the warning of a script's own assignment.
/// @return false when there is no memory for a text; nothing has changed then
bool assignFromOutside(EngineContext& ctx, Variable& variable, const ValueCell& value);

/// Gives several values to the elements of a variable's array, which is made where there is none; surplus
/// ones are reported and dropped.
void distributeToArray(EngineContext& ctx, Variable& variable, std::span<const ValueCell> values);
/// Gives the values of a list to a variable: to the parts of an object that consists of values, else to the
/// elements of its array. Surplus values are dropped.
void distributeToVariable(EngineContext& ctx, Variable& variable, std::span<const ValueCell> values);

}  // namespace kestrel
