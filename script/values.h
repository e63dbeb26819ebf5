// Values on their way between scripts and the program that embeds them.
#pragma once

#include "engine/context/context.h"
#include "script/include/kestrel/script.h"

#include <vector>

namespace kestrel::script {

/// Objects that cannot leave their script become nil.
[[nodiscard]] Value valueOf(const ValueCell& cell);

/// Adds the values of cells that lie on the stack: several returned values and lists count as their members.
void appendValues(EngineContext& ctx, int first, int end, std::vector<Value>& values);

/// @throws std::invalid_argument for an array that holds an array
void checkNesting(const Value& value);

/// Pushes a value, with a text or an array of its own. What is left out for lack of memory is reported.
/// @param tag   of arrays: NewArray for one that an assignment adopts, ArrayRef for an argument
/// @param named  of an ArrayRef: what messages call it
/// @return false when memory is exhausted, which has been reported
[[nodiscard]] bool pushValue(EngineContext& ctx, const Value& value, Tag tag, Variable* named = nullptr);

}  // namespace kestrel::script
