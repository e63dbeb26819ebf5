#include "preview/picture/tone.h"

namespace kestrel::preview {

namespace {

/// As bytes show them best: no number is black, and too large a one is white.
double plain(double value) {
    constexpr double kMost = 1e30;
    return value > 0.0 ? std::min(value, kMost) : 0.0;
}

std::uint8_t cut(double linear) {
    return static_cast<std::uint8_t>(std::clamp(linear, 0.0, 1.0) * 255.0 + 0.5);
}

}  // namespace

Vec3 filmic(const Vec3& light) {
    constexpr double kUnchanged = 0.76;
    constexpr double kFading = 0.15;  // how soon bright colors become white
    const double peak = largest(light);
    if (peak <= kUnchanged) return light;
    constexpr double kRoom = 1.0 - kUnchanged;
    const double lowered = 1.0 - kRoom * kRoom / (peak + kRoom - kUnchanged);
    const double fade = 1.0 - 1.0 / (kFading * (peak - lowered) + 1.0);
    return mix(light * (lowered / peak), Vec3{lowered, lowered, lowered}, fade);
}

std::uint8_t toSrgb(double linear) {
    if (!(linear > 0.0)) return 0;
    if (linear >= 1.0) return 255;
    const double encoded = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(encoded * 255.0 + 0.5);
}

std::array<std::uint8_t, 3> toBytes(const Vec3& light, const Tone& tone) {
    const double scale = std::exp2(tone.exposure);
    const Vec3 exposed{plain(light.x * scale), plain(light.y * scale), plain(light.z * scale)};
    switch (tone.view) {
        case View::Raw:
            return {cut(exposed.x), cut(exposed.y), cut(exposed.z)};
        case View::Srgb:
            return {toSrgb(exposed.x), toSrgb(exposed.y), toSrgb(exposed.z)};
        case View::Filmic:
            break;
    }
    const Vec3 shown = filmic(exposed);
    return {toSrgb(shown.x), toSrgb(shown.y), toSrgb(shown.z)};
}

}  // namespace kestrel::preview
