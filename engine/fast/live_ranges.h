// Which registers of the intermediate code may lie in the same place, since one is never needed where the
// other is: what allocates registers for the machine takes time that grows with their number times that of
// the branches, and code of a thousand lines has thousands of them.
#pragma once

#include "engine/fast/code.h"

#include <cstdint>
#include <vector>

namespace kestrel::fast {

/// @param fused  of fusedConditions(): what these read is read where they are taken over
/// @param masks  of maskConditions(): these lie where doubles do
/// @return for each register the number of its place, for constants any. Those of a place have one class
[[nodiscard]] std::vector<std::int32_t> sharedPlaces(const Code& code, const std::vector<bool>& fused,
                                                     const std::vector<bool>& masks);

}  // namespace kestrel::fast
