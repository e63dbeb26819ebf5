#include "preview/render/renderer.h"

#include <algorithm>

namespace kestrel::preview {

namespace {

constexpr std::uint32_t kPixelDimension = 0;
constexpr std::uint32_t kLensDimension = 1;  // the shading's own begin with 257

Tile common(const Tile& a, const Tile& b) {
    return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

constexpr std::int32_t kLeastRays = 16;        // through a pixel, before they share
constexpr std::int32_t kSamplesPerBounce = 2;  // that share light from other surfaces, along one ray
constexpr std::int32_t kMostLightSamples = 4;  // along one of them

/// With many samples several share one ray from the camera: its edges and the script's pattern are smooth
/// with fewer of them than light and shadow are.
std::int32_t samplesPerRay(const RenderOptions& options) {
    return std::clamp(options.samples / kLeastRays, 1, kMostLightSamples);
}

Ray rayThrough(const CameraRays& camera, const RenderOptions& options, std::int32_t x, std::int32_t y,
               const PixelSampler& sampler) {
    if (options.samples <= 1) return camera.at(x + 0.5, y + 0.5);
    const PixelOffset offset = pixelOffset(sampler.at(kPixelDimension));
    const UnitPoint lens = options.depthOfField ? sampler.at(kLensDimension) : UnitPoint{0.5, 0.5};
    return camera.at(x + 0.5 + offset.x, y + 0.5 + offset.y, lens);
}

void addSamples(const CameraRays& camera, Shading& shading, const RenderOptions& options, std::int32_t x,
                std::int32_t y, std::int32_t first, std::int32_t end, Float3& sum) {
    const std::int32_t perRay = samplesPerRay(options);
    const std::int32_t bouncesPerRay = (perRay + kSamplesPerBounce - 1) / kSamplesPerBounce;
    for (std::int32_t i = first; i < end; ++i) {
        if (i == first || i % perRay == 0) {
            const PixelSampler sampler(x, y, i / perRay);
            shading.look(rayThrough(camera, options, x, y, sampler), sampler);
        }
        // Numbered without gaps: every other one of evenly spread samples would not be spread evenly.
        const PixelSampler rare(x, y, i / perRay * bouncesPerRay + i % perRay / kSamplesPerBounce);
        const Float3 light = toFloat3(shading.light(PixelSampler(x, y, i), rare));
        sum = {sum.x + light.x, sum.y + light.y, sum.z + light.z};
    }
}

}  // namespace

Tile RenderOptions::rendered() const {
    const Tile all{0, 0, width, height};
    return region ? common(*region, all) : all;
}

void renderTile(const Pose& pose, Shading& shading, const RenderOptions& options, const Tile& tile,
                std::int32_t firstSample, std::int32_t sampleCount, std::span<Float3> sums) {
    const CameraRays camera(pose.camera, options.frame(), options.depthOfField);
    const Tile part = common(tile, options.rendered());
    for (std::int32_t y = part.y0; y < part.y1; ++y) {
        for (std::int32_t x = part.x0; x < part.x1; ++x) {
            shading.setPixel(x, y, camera.pixelAngle(), camera.pixelWidth());
            Float3& sum = sums[static_cast<std::size_t>(y) * static_cast<std::size_t>(options.width) +
                               static_cast<std::size_t>(x)];
            addSamples(camera, shading, options, x, y, firstSample, firstSample + sampleCount, sum);
        }
    }
}

Image averaged(const RenderOptions& options, std::span<const Float3> sums, std::int32_t samples) {
    Image image(options.width, options.height);
    const double share = 1.0 / std::max(samples, 1);
    std::size_t i = 0;
    for (std::int32_t y = 0; y < options.height; ++y) {
        for (std::int32_t x = 0; x < options.width; ++x) image.at(x, y) = toVec(sums[i++]) * share;
    }
    return image;
}

std::optional<Image> render(const Pose& pose, Shading& shading, const RenderOptions& options,
                            const RenderProgress& progress) {
    std::vector<Float3> sums(options.pixels());
    for (std::int32_t y = 0; y < options.height; ++y) {
        renderTile(pose, shading, options, {0, y, options.width, y + 1}, 0, options.samples, sums);
        if (progress && !progress(static_cast<double>(y + 1) / options.height)) return std::nullopt;
    }
    return averaged(options, sums, options.samples);
}

}  // namespace kestrel::preview
