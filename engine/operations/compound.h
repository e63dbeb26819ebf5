// Compound assignment: what "+=" and its like do to each sort of place.
#pragma once

#include "engine/context/context.h"
#include "engine/operations/place.h"

namespace kestrel {

/// Combines a value into what a place holds. The value stays owned by the caller.
/// @param code  the compound assignment or its plain operator
void combinePlace(EngineContext& ctx, const Place& place, int code, const ValueCell& value);

/// What a stored value keeps whatever it is combined with.
enum class Keeps {
    Kind,     ///< variables: what they hold decides, and stays of its kind
    Nothing,  ///< elements and record members: numbers may become vectors, Nil and objects stay what they are
};

/// Combines a value into a stored one that is no array.
/// @return false after reporting an error
bool combineStored(EngineContext& ctx, int code, ValueCell& stored, const ValueCell& value, Keeps keeps);

}  // namespace kestrel
