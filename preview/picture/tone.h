// How light becomes the bytes of a picture.
#pragma once

#include "preview/math/vec.h"

#include <array>
#include <cstdint>

namespace kestrel::preview {

enum class View {
    Raw,    ///< linear values cut to bytes, for data
    Srgb,   ///< the standard curve; what is brighter than white is cut
    Filmic  ///< the standard curve after what is bright was brought below white, with its hue
};

struct Tone {
    View view = View::Srgb;
    double exposure = 0.0;  ///< in stops: one more is twice the light
};

/// The color of a screen, linear, 0..1, for light of any brightness: equal to it up to three quarters of
/// white, and brighter for brighter light without an end. Very bright colors fade towards white. Source: the
/// Khronos PBR neutral tone mapper without its toe, which takes away what a uniform room would reflect in
/// every surface; ours has no such room
[[nodiscard]] Vec3 filmic(const Vec3& light);

/// A linear value 0..1 as a byte of sRGB; outside it is cut, and what is no number is 0.
[[nodiscard]] std::uint8_t toSrgb(double linear);

[[nodiscard]] std::array<std::uint8_t, 3> toBytes(const Vec3& light, const Tone& tone);

}  // namespace kestrel::preview
