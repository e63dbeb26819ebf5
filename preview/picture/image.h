// Pictures in memory and as PNG files.
#pragma once

#include "preview/math/vec.h"
#include "preview/picture/tone.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kestrel::preview {

/// Linear RGB, row by row from the top.
class Image {
public:
    Image(std::int32_t width, std::int32_t height);
    [[nodiscard]] std::int32_t width() const noexcept { return width_; }
    [[nodiscard]] std::int32_t height() const noexcept { return height_; }
    [[nodiscard]] Vec3& at(std::int32_t x, std::int32_t y) { return pixels_[index(x, y)]; }
    [[nodiscard]] const Vec3& at(std::int32_t x, std::int32_t y) const { return pixels_[index(x, y)]; }

private:
    [[nodiscard]] std::size_t index(std::int32_t x, std::int32_t y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }
    std::int32_t width_;
    std::int32_t height_;
    std::vector<Vec3> pixels_;
};

/// The bytes of an 8-bit PNG file. Errors: throws std::runtime_error when the picture is larger than the
/// format allows
[[nodiscard]] std::string encodePng(const Image& image, const Tone& tone = {});

}  // namespace kestrel::preview
