#include "preview/render/camera.h"

#include "preview/render/optics.h"

namespace kestrel::preview {

namespace {

constexpr double kMillimetre = 1e-3;

double heightAtOne(const PosedCamera& camera) {
    return camera.camera->orthographic ? camera.camera->orthographicHeight
                                       : 2.0 * std::tan(0.5 * camera.verticalFov);
}

}  // namespace

CameraRays::CameraRays(const PosedCamera& camera, const Frame& frame, bool depthOfField)
    : camera_(camera), frame_(frame) {
    const double across = frame.width * frame.pixelAspect;
    const double side =
        camera.camera->fitsSmallerSide ? std::min<double>(across, frame.height) : frame.height;
    pixel_ = heightAtOne(camera) / std::max(side, 1e-9);
    if (depthOfField && camera.fStop > 0.0 && camera.focalDistance > 0.0) {
        lensRadius_ = std::max(0.0, 0.5 * camera.focalLength * kMillimetre / camera.fStop);
    }
}

Ray CameraRays::at(double x, double y, UnitPoint lens) const {
    const Axes& axes = camera_.axes;
    const double right = (x - 0.5 * frame_.width) * frame_.pixelAspect * pixel_;
    const double up = (0.5 * frame_.height - y) * pixel_;
    if (camera_.camera->orthographic) {
        return {camera_.position + axes.right * right + axes.up * up, axes.forward, 0.0};
    }
    const Vec3 direction = axes.toWorld({right, up, 1.0});
    if (!(lensRadius_ > 0.0)) return {camera_.position, normalize(direction), 0.0};
    const DiscPoint p = concentricDisc(lens.u, lens.v);
    const Vec3 start = camera_.position + axes.right * (lensRadius_ * p.x) + axes.up * (lensRadius_ * p.y);
    const Vec3 sharp = camera_.position + direction * camera_.focalDistance;
    return {start, normalize(sharp - start), 0.0};
}

}  // namespace kestrel::preview
