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

/// Where several values come from, which decides where they can go.
enum class Several {
    Returned,  ///< from a function that returns more than one
    List,      ///< @ a, b @
};
/// Gives several values to the parts of a place. Returned ones go to the elements of the array that the place
/// names or lies in, which is made where there is none; a list goes to the parts of an object that consists
/// of values, else to the elements. Surplus values are reported and dropped.
void distributeToPlace(EngineContext& ctx, const Place& place, std::span<const ValueCell> values,
                       Several from);

}  // namespace kestrel
