// Array storage and indexing.
#pragma once

#include "engine/context/context.h"
#include "engine/operations/place.h"
#include "engine/values/array_record.h"

#include <cstdint>
#include <span>
#include <string>

namespace kestrel {

/// Makes an array of these dimensions and enters it in the context. `fill` is the tag of fresh elements (Nil
/// or Uninitialized).
/// @return null after reporting memory exhaustion
ArrayRecord* makeArray(EngineContext& ctx, std::span<const std::int64_t> dims, std::int32_t fill);

/// Grows (or shortens) a one-dimensional array. Growth is amortised; new elements are Nil.
/// @return false after reporting memory exhaustion
bool resizeArray(EngineContext& ctx, ArrayRecord& array, std::int64_t count);

/// The value of an element, or a character of a text.
/// @param out  receives the value: of an element borrowed, a character is the caller's (TempString)
Reading readElement(EngineContext& ctx, Variable& variable, const IndexList& list, ValueCell& out);

/// `var name[sizes]`: gives the variable an array, unless a repeated declaration keeps the one it made.
/// @return false after reporting sizes that cannot be
bool declareArray(EngineContext& ctx, Variable& variable, const IndexList& list);

/// The sizes of an array as messages write them: "[2][3]".
[[nodiscard]] std::string dimensionText(const ArrayRecord& array);

}  // namespace kestrel
