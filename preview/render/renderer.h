// Renders a picture of the scene through its camera.
#pragma once

#include "preview/picture/image.h"
#include "preview/render/shading.h"

#include <functional>
#include <optional>

namespace kestrel::preview {

struct RenderOptions {
    std::int32_t width = 512;
    std::int32_t height = 512;
    std::int32_t samples = 16;  ///< per pixel
};

/// Called after each row with the share that is done, 0..1.
/// @return false to stop
using RenderProgress = std::function<bool(double done)>;

/// The ray through a point of the picture.
/// @param x, y  in pixels from the picture's upper left corner; a pixel's centre is at .5
[[nodiscard]] Ray cameraRay(const PosedCamera& camera, const RenderOptions& options, double x, double y);

/// @param progress  may be empty
/// @return nothing when it was stopped
[[nodiscard]] std::optional<Image> render(const Pose& pose, Shading& shading, const RenderOptions& options,
                                          const RenderProgress& progress);

}  // namespace kestrel::preview
