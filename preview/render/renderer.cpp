#include "preview/render/renderer.h"

namespace kestrel::preview {

namespace {

/// The tangent, at the picture's edge, of the angle that the smaller side covers: the sphere always fits.
double tangentPerPixel(const PosedCamera& camera, const RenderOptions& options) {
    return 2.0 * std::tan(0.5 * camera.verticalFov) / std::min(options.width, options.height);
}

Vec3 renderPixel(const Pose& pose, Shading& shading, const RenderOptions& options, std::int32_t x,
                 std::int32_t y) {
    Vec3 sum;
    for (std::int32_t i = 0; i < options.samples; ++i) {
        const PixelOffset offset = pixelOffset(x, y, i, options.samples);
        SampleStream stream(x, y, i);
        const Ray ray = cameraRay(pose.camera, options, x + 0.5 + offset.x, y + 0.5 + offset.y);
        const Vec3 light = shading.color(ray, stream);
        // A highlight far above white would leave a jagged edge however many samples are taken.
        sum += Vec3{std::min(light.x, 4.0), std::min(light.y, 4.0), std::min(light.z, 4.0)};
    }
    return sum * (1.0 / options.samples);
}

}  // namespace

Ray cameraRay(const PosedCamera& camera, const RenderOptions& options, double x, double y) {
    const double scale = tangentPerPixel(camera, options);
    const Vec3 inCamera{(x - 0.5 * options.width) * scale, (0.5 * options.height - y) * scale, 1.0};
    return {camera.position, normalize(camera.axes.toWorld(inCamera))};
}

std::optional<Image> render(const Pose& pose, Shading& shading, const RenderOptions& options,
                            const RenderProgress& progress) {
    Image image(options.width, options.height);
    const double pixelAngle = tangentPerPixel(pose.camera, options);
    for (std::int32_t y = 0; y < options.height; ++y) {
        for (std::int32_t x = 0; x < options.width; ++x) {
            shading.setPixel(x, y, pixelAngle);
            image.at(x, y) = renderPixel(pose, shading, options, x, y);
        }
        if (progress && !progress(static_cast<double>(y + 1) / options.height)) return std::nullopt;
    }
    return image;
}

}  // namespace kestrel::preview
