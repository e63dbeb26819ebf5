#include "preview/scene/surface.h"

namespace kestrel::preview {

namespace {

double positive(double value) {
    return std::isfinite(value) ? std::max(0.0, value) : 0.0;
}
double share(double value) {
    return std::min(1.0, positive(value));
}

}  // namespace

void storeSurface(const Surface& surface, ShadingSample& sample) {
    store(surface.normal, sample.wNorm);
    store(surface.color, sample.color);
    sample.luminous = surface.luminous;
    sample.diffuse = surface.diffuse;
    sample.specular = surface.specular;
    sample.mirror = surface.mirror;
    sample.transparency = surface.transparency;
    sample.eta = surface.eta;
    sample.roughness = surface.roughness;
}

Surface surfaceFrom(const ShadingSample& sample, std::uint32_t mask, const Surface& before) {
    const auto admitted = [mask](HxShaderFlag flag) {
        return mask == 0 || (mask & static_cast<std::uint32_t>(flag)) != 0;
    };
    Surface surface = before;
    if (admitted(HXSF_NORMAL)) {
        const Vec3 normal = toVec(sample.wNorm);
        const double size = length(normal);
        if (std::isfinite(size) && size > 1e-12) surface.normal = normal * (1.0 / size);
    }
    if (admitted(HXSF_COLOR)) {
        surface.color = {positive(sample.color[0]), positive(sample.color[1]), positive(sample.color[2])};
    }
    if (admitted(HXSF_LUMINOUS)) surface.luminous = positive(sample.luminous);
    if (admitted(HXSF_DIFFUSE)) surface.diffuse = positive(sample.diffuse);
    if (admitted(HXSF_SPECULAR)) surface.specular = positive(sample.specular);
    if (admitted(HXSF_MIRROR)) surface.mirror = share(sample.mirror);
    if (admitted(HXSF_TRANSPARENT)) surface.transparency = share(sample.transparency);
    if (admitted(HXSF_ETA)) surface.eta = positive(sample.eta);
    if (admitted(HXSF_ROUGHNESS)) surface.roughness = share(sample.roughness);
    return surface;
}

}  // namespace kestrel::preview
