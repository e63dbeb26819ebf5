// Rays that a camera sends through the points of a picture.
#pragma once

#include "preview/math/sampling.h"
#include "preview/render/raycaster.h"

namespace kestrel::preview {

/// The form of a picture.
struct Frame {
    std::int32_t width = 512;  ///< in pixels
    std::int32_t height = 512;
    double pixelAspect = 1.0;  ///< width of a pixel by its height
};

class CameraRays {
public:
    /// @param depthOfField  whether what is not at the focal distance is blurred; a unit of the scene is a
    /// metre
    CameraRays(const PosedCamera& camera, const Frame& frame, bool depthOfField);

    /// The ray through a point of the picture.
    /// @param x, y  in pixels from the picture's upper left corner; a pixel's centre is at .5
    /// @param lens  place on the lens, evenly spread; its middle is the lens's middle
    [[nodiscard]] Ray at(double x, double y, UnitPoint lens = {0.5, 0.5}) const;

    /// What a pixel covers: an angle in radians, and a width where there is no perspective.
    [[nodiscard]] double pixelAngle() const { return camera_.camera->orthographic ? 0.0 : pixel_; }
    [[nodiscard]] double pixelWidth() const { return camera_.camera->orthographic ? pixel_ : 0.0; }

private:
    const PosedCamera& camera_;
    Frame frame_;
    double pixel_;  // height of a pixel, in the plane at distance 1 where there is perspective
    double lensRadius_ = 0.0;
};

}  // namespace kestrel::preview
