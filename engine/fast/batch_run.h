// Samples in order, in groups where that can be.
#pragma once

#include "engine/fast/fast_process.h"

#include <algorithm>
#include <cstddef>

namespace kestrel::fast {

/// Shades samples. What cannot be shaded in groups, and what is left behind the last whole group, is shaded
/// one by one, so that everything happens in the samples' order.
/// @param single  shades the sample of an index without a group; false: it is the last one
/// @return the index behind the last one that was shaded
template <class Single>
std::size_t shadeBatch(FastProcess& process, const Columns& columns, std::size_t first, std::size_t end,
                       const Single& single) {
    constexpr std::size_t kBetweenPolls = 1024;  // samples after which is looked whether the run is to end
    BatchCode* bound = nullptr;
    int made = 0;
    std::size_t at = first;
    while (at < end) {
        std::size_t until = std::min(end, at + BatchCode::kMostLanes);
        if (BatchCode* code = process.batch()) {
            if (code != bound || made != process.counts().lowered) code->bind(columns);
            bound = code;
            made = process.counts().lowered;
            const std::size_t lanes = code->lanes();
            const std::size_t groups = std::min(end - at, kBetweenPolls) / lanes * lanes;
            const std::size_t stopped = code->run(at, at + groups);
            const bool left = stopped != at + groups;
            process.noteBatch(stopped - at, left ? lanes : 0);
            at = stopped;
            if (!left && end - at >= lanes) continue;
            until = std::min(end, at + lanes);
        }
        for (; at < until; ++at)
            if (!single(at)) return at + 1;
    }
    return end;
}

}  // namespace kestrel::fast
