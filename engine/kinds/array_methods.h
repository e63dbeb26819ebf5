// The array side of the value methods.
#pragma once

#include "engine/operations/arrays.h"

namespace kestrel {

/// Number of elements that are assigned and not Nil.
[[nodiscard]] std::int64_t countAssigned(const ArrayRecord& array) noexcept;

/// The first three elements, in index order, whose value is a non-zero number; missing components are 0.
[[nodiscard]] VectorValue arrayAsVector(const ArrayRecord& array);

/// Closes the holes (unassigned or Nil elements) of a one-dimensional array.
/// @return 0 when elements moved or the array is no one-dimensional one, 1 without holes, 2 when holes are
///         only at the end
int packArray(ArrayRecord& array) noexcept;

/// Cuts the holes off the end of a one-dimensional array.
/// @return the new element count, 0 when nothing was cut
std::int64_t trimArray(EngineContext& ctx, ArrayRecord& array);

/// Packs a one-dimensional array and sorts its leading run of Integers, Numbers or texts (whatever the first
/// element is); later elements stay where they are.
/// @return 0 after sorting, 1 when there was nothing to sort
int sortArray(ArrayRecord& array, bool ascending);

}  // namespace kestrel
