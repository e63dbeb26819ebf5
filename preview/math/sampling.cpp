#include "preview/math/sampling.h"

namespace kestrel::preview {

namespace {

constexpr std::uint32_t reversedBits(std::uint32_t v) {
    v = ((v & 0x55555555U) << 1) | ((v >> 1) & 0x55555555U);
    v = ((v & 0x33333333U) << 2) | ((v >> 2) & 0x33333333U);
    v = ((v & 0x0f0f0f0fU) << 4) | ((v >> 4) & 0x0f0f0f0fU);
    v = ((v & 0x00ff00ffU) << 8) | ((v >> 8) & 0x00ff00ffU);
    return (v << 16) | (v >> 16);
}

/// Source: the finalizer of MurmurHash3
constexpr std::uint32_t hashed(std::uint32_t v) {
    v = (v ^ (v >> 16)) * 0x85ebca6bU;
    v = (v ^ (v >> 13)) * 0xc2b2ae35U;
    return v ^ (v >> 16);
}

/// A permutation in which each bit depends on `seed` and the bits below it alone: an Owen scramble of
/// numbers whose bits are reversed.
constexpr std::uint32_t scrambledUpwards(std::uint32_t v, std::uint32_t seed) {
    v ^= v * 0x3d20adeaU;
    v += seed;
    v *= (seed >> 16) | 1U;
    v ^= v * 0x05526c56U;
    v ^= v * 0x53a22864U;
    return v;
}

/// The second dimension of Sobol's sequence, its bits reversed: the index times Pascal's triangle modulo 2,
/// which is its own pattern at every size, so that five steps replace a matrix.
constexpr std::uint32_t secondReversed(std::uint32_t index) {
    std::uint32_t v = index;
    v ^= v >> 16;
    v ^= (v & 0xff00ff00U) >> 8;
    v ^= (v & 0xf0f0f0f0U) >> 4;
    v ^= (v & 0xccccccccU) >> 2;
    v ^= (v & 0xaaaaaaaaU) >> 1;
    return v;
}

double fraction(std::uint32_t bits) {
    return static_cast<double>(bits) * 0x1p-32;
}

/// Evenly spread 0..1 to a tent over -1..1.
double tent(double u) {
    return u < 0.5 ? std::sqrt(2.0 * u) - 1.0 : 1.0 - std::sqrt(2.0 - 2.0 * u);
}

}  // namespace

PixelSampler::PixelSampler(std::int32_t x, std::int32_t y, std::int32_t index) noexcept
    : pixel_(hashed(hashed(static_cast<std::uint32_t>(x)) + static_cast<std::uint32_t>(y))),
      index_(reversedBits(static_cast<std::uint32_t>(index))) {}

UnitPoint PixelSampler::at(std::uint32_t dimension) const noexcept {
    const std::uint32_t seed = hashed(pixel_ ^ (dimension * 0x9e3779b9U));
    // The order of the samples is shuffled by the same kind of scramble, so that dimensions do not go
    // together.
    const std::uint32_t index = reversedBits(scrambledUpwards(index_, seed));
    const std::uint32_t first = reversedBits(scrambledUpwards(index, hashed(seed ^ 0x68bc21ebU)));
    const std::uint32_t second =
        reversedBits(scrambledUpwards(secondReversed(index), hashed(seed ^ 0x02e5be93U)));
    return {fraction(first), fraction(second)};
}

PixelOffset pixelOffset(UnitPoint place) {
    return {tent(place.u), tent(place.v)};
}

}  // namespace kestrel::preview
