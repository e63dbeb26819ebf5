// Array storage and indexing.
#pragma once

#include "engine/context/context.h"
#include "engine/values/array_record.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel {

/// Makes an array of these dimensions and enters it in the context. `fill` is the tag of fresh elements (Nil
/// or Uninitialized).
/// @return null after reporting memory exhaustion
ArrayRecord* makeArray(EngineContext& ctx, std::span<const std::int64_t> dims, std::int32_t fill);

/// Grows (or shortens) a one-dimensional array. Growth is amortised; new elements are Nil.
/// @return false after reporting memory exhaustion
bool resizeArray(EngineContext& ctx, ArrayRecord& array, std::int64_t count);

/// Lets go of what an element or record member holds (its text, its object) and makes it Nil.
void clearElement(EngineContext& ctx, ValueCell& element);

/// Stores a value in an element or record member: texts become retained copies, objects are held.
/// The value stays owned by the caller.
void storeValue(EngineContext& ctx, ValueCell& slot, const ValueCell& value);

/// A copy of a stored value for the stack: texts are borrowed, objects shared.
[[nodiscard]] ValueCell borrowValue(const ValueCell& stored) noexcept;

/// Computes the position of the element named by the index list on top of the stack (DimMark, SepMark, i,
/// ...), drops the list, and checks it as compound assignment and "++"/"--" do.
/// @param node  the OP_INDEX node (its variable names the array in messages)
/// @return the 0-based position, or -1 after reporting (the abort flag is set)
std::int64_t elementIndex(EngineContext& ctx, ArrayRecord& array, const CodeNode& node);

/// OP_INDEX.
/// @return the node after which execution continues
const CodeNode* executeIndex(EngineContext& ctx, const CodeNode* node);

/// An index list on the stack: DimMark, SepMark, i, SepMark, j ...
struct IndexList {
    int first = 0;  ///< stack index of the DimMark; below the function's base when there is none
    int count = 0;  ///< number of indexes
    int end = 0;    ///< stack index behind the list
};
/// The list that ends below stack index `end`.
[[nodiscard]] IndexList indexListBelow(EngineContext& ctx, int end);

/// False, after reporting, when there is no list: an index behind a call has none.
[[nodiscard]] bool requireList(EngineContext& ctx, const IndexList& list);

/// The k-th index (from 0), truncated. Reports one that is no number, or missing, and gives nothing.
[[nodiscard]] std::optional<std::int64_t> indexAt(EngineContext& ctx, const Variable& variable,
                                                  const IndexList& list, int k);

/// The 1-based linear position of the element; anything outside 1..count is invalid. Reports an index that is
/// no number or exceeds its dimension and gives nothing. The number of indexes has been checked.
[[nodiscard]] std::optional<std::int64_t> linearPosition(EngineContext& ctx, const ArrayRecord& array,
                                                         const Variable& variable, const IndexList& list);

/// The sizes of an array as messages write them: "[2][3]".
[[nodiscard]] std::string dimensionText(const ArrayRecord& array);

}  // namespace kestrel
