// Where samples lie: evenly spread, and the same on every run.
#pragma once

#include <cmath>
#include <cstdint>

namespace kestrel::preview {

/// A stream of numbers in 0..1 for one sample of one pixel.
/// Source: SplitMix64
class SampleStream {
public:
    SampleStream(std::int32_t x, std::int32_t y, std::int32_t sample) noexcept
        : state_(mixBits((static_cast<std::uint64_t>(static_cast<std::uint32_t>(x)) << 32) ^
                         static_cast<std::uint32_t>(y)) +
                 static_cast<std::uint64_t>(static_cast<std::uint32_t>(sample)) * kStep) {}

    [[nodiscard]] double next() noexcept {
        state_ += kStep;
        return static_cast<double>(mixBits(state_) >> 11) * 0x1p-53;
    }

private:
    static constexpr std::uint64_t kStep = 0x9e3779b97f4a7c15;
    static constexpr std::uint64_t mixBits(std::uint64_t v) noexcept {
        v = (v ^ (v >> 30)) * 0xbf58476d1ce4e5b9;
        v = (v ^ (v >> 27)) * 0x94d049bb133111eb;
        return v ^ (v >> 31);
    }
    std::uint64_t state_;
};

struct PixelOffset {
    double x;  ///< from the pixel's centre, in pixels
    double y;
};

/// Where sample `index` of `count` lies. Along x the samples fall into `count` strata, along y they follow
/// the bits of the index in reverse; each pixel shifts the pattern by its own amount. A tent as wide as two
/// pixels weights them: the offsets are bent so that a plain average of the samples is the filtered value.
/// One sample alone is at the centre.
[[nodiscard]] PixelOffset pixelOffset(std::int32_t x, std::int32_t y, std::int32_t index, std::int32_t count);

}  // namespace kestrel::preview
