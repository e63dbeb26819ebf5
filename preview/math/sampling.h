// Where samples lie: evenly spread, and the same on every run.
#pragma once

#include <cmath>
#include <cstdint>

namespace kestrel::preview {

/// A place in the unit square: both parts in 0..1, 1 excluded.
struct UnitPoint {
    double u;
    double v;
};

/// Places in the unit square for all that is left to chance in one sample of one pixel. A dimension is one
/// such choice, such as the place on a light. For each of them the samples of a pixel are spread so evenly
/// that of any aligned 2^k of them one lies in each of 2^k equal boxes, whichever way the square is divided
/// into boxes by powers of two. Dimensions and pixels have nothing to do with each other. Source: Burley,
/// "Practical Hash-based Owen Scrambling" (2020), with the permutation of Vegdahl (2021)
class PixelSampler {
public:
    PixelSampler(std::int32_t x, std::int32_t y, std::int32_t index) noexcept;

    [[nodiscard]] UnitPoint at(std::uint32_t dimension) const noexcept;
    bool operator==(const PixelSampler&) const = default;

private:
    std::uint32_t pixel_;
    std::uint32_t index_;
};

struct PixelOffset {
    double x;  ///< from the pixel's centre, in pixels
    double y;
};

/// Where a sample lies. A tent as wide as two pixels weights them: the offsets are bent so that a plain
/// average of the samples is the filtered value.
/// @param place  evenly spread
[[nodiscard]] PixelOffset pixelOffset(UnitPoint place);

}  // namespace kestrel::preview
