// For how long the registers of the intermediate code are wanted.
#pragma once

#include "engine/fast/code.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace kestrel::fast {

/// From the first instruction that has to do with a register to the last one. Where a loop uses what comes
/// from before it, to the loop's end: the next round wants it as well. Whatever reads a register stands
/// behind what has written it, on all ways; what rounds of a loop hand on is written before the loop, too.
struct LiveRange {
    static constexpr std::int32_t kNever = std::numeric_limits<std::int32_t>::max();

    std::int32_t first = kNever;
    std::int32_t last = -1;
    double uses = 0.0;  ///< how often something has to do with it; in a loop each counts ten times
};

struct LiveRanges {
    std::vector<LiveRange> of;    ///< by register; constants have none, nor has what is done later
    std::vector<double> callsTo;  ///< by instruction: the calls up to it and with it, in a loop ten times
};

/// @param later  instructions that are done where somebody wants their results: what these read is read there
[[nodiscard]] LiveRanges liveRanges(const Code& code, const std::vector<bool>& later);

}  // namespace kestrel::fast
