// Renders a picture of the scene through its camera.
#pragma once

#include "preview/picture/image.h"
#include "preview/render/camera.h"
#include "preview/render/shading.h"

#include <functional>
#include <optional>
#include <span>

namespace kestrel::preview {

/// Pixels x0..x1-1 of the rows y0..y1-1.
struct Tile {
    std::int32_t x0 = 0;
    std::int32_t y0 = 0;
    std::int32_t x1 = 0;
    std::int32_t y1 = 0;
};

struct RenderOptions {
    std::int32_t width = 512;
    std::int32_t height = 512;
    std::int32_t samples = 16;   ///< per pixel; one alone is at the pixel's centre
    std::optional<Tile> region;  ///< the part that is rendered; none: all
    double pixelAspect = 1.0;    ///< width of a pixel by its height
    bool depthOfField = false;

    [[nodiscard]] Frame frame() const { return {width, height, pixelAspect}; }
    /// The region, or all, inside the picture.
    [[nodiscard]] Tile rendered() const;
    [[nodiscard]] std::size_t pixels() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
};

/// Adds samples to the sums of their pixels. A sample of a pixel is the same whenever it is taken, so the
/// sums are the same to the last bit however the picture is divided into tiles and the samples into passes,
/// as long as the samples of each pixel come in their order.
/// @param tile         what lies outside the picture or its region is left out
/// @param firstSample  0 for the first
/// @param sums         of the whole picture, row by row from the top
void renderTile(const Pose& pose, Shading& shading, const RenderOptions& options, const Tile& tile,
                std::int32_t firstSample, std::int32_t sampleCount, std::span<Float3> sums);

/// The picture of sums of that many samples each.
[[nodiscard]] Image averaged(const RenderOptions& options, std::span<const Float3> sums,
                             std::int32_t samples);

/// Called after each row with the share that is done, 0..1.
/// @return false to stop
using RenderProgress = std::function<bool(double done)>;

/// All samples of all pixels; black outside the region.
/// @param progress  may be empty
/// @return nothing when it was stopped
[[nodiscard]] std::optional<Image> render(const Pose& pose, Shading& shading, const RenderOptions& options,
                                          const RenderProgress& progress);

}  // namespace kestrel::preview
