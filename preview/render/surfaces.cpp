#include "preview/render/surfaces.h"

#include "platform/environment.h"
#include "preview/services/services.h"

#include <array>
#include <chrono>
#include <unordered_map>

namespace kestrel::preview {

namespace {

/// Scripts that trace rays into each other's surfaces: deeper ones see plain surfaces, so that neither the
/// stack nor the time grows without a bound.
constexpr int kDeepestScripts = 4;
/// One run of 64 is timed: any of them, since a picture's samples come in patterns, but not the first, which
/// fills caches.
bool isTimed(std::uint64_t run) {
    return ((run + 1) * 0x9e3779b97f4a7c15U) >> 58U == 0;
}

/// What looking at the clock takes by itself.
std::chrono::nanoseconds clockTime() {
    std::chrono::nanoseconds least = std::chrono::seconds(1);
    for (int i = 0; i < 8; ++i) {
        const std::chrono::nanoseconds start = platform::processorTime();
        least = std::min(least, platform::processorTime() - start);
    }
    return least;
}

void fillSample(const Seen& seen, const Surface& surface, ShadingSample& sample) {
    const Hit& hit = seen.hit;
    const Axes& axes = hit.mesh->axes;
    sample.sx = seen.x;
    sample.sy = seen.y;
    store(hit.objectPoint, sample.oPos);
    store(hit.point, sample.wPos);
    store(hit.inside ? -hit.normal : hit.normal, sample.gNorm);
    sample.spotSize = seen.spotSize;
    store(seen.ray.origin, sample.raySource);
    sample.rayLength = hit.distance;
    sample.cosine = -dot(surface.normal, seen.ray.direction);
    const std::array<Vec3, 3> columns{axes.right, axes.up, axes.forward};
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3& c = columns[i];
        sample.oXfrm[i] = c.x;
        sample.oXfrm[3 + i] = c.y;
        sample.oXfrm[6 + i] = c.z;
        store(c, std::span<double, 3>(sample.wXfrm + 3 * i, 3));
    }
    sample.objID = hit.mesh->mesh->item.id;
    sample.polNum = hit.polygon;
    storeSurface(surface, sample);
    sample.illuminate = PreviewServices::illuminateOperation();
    sample.rayTrace = PreviewServices::rayTraceOperation();
}

bool allFinite(const ShadingSample& sample) {
    return std::isfinite(sample.luminous + sample.diffuse + sample.specular + sample.mirror +
                         sample.transparency + sample.eta + sample.roughness) &&
           finite(toVec(sample.color)) && finite(toVec(sample.wNorm));
}

}  // namespace

RenderStatistics& RenderStatistics::operator+=(const RenderStatistics& other) {
    samples += other.samples;
    rays += other.rays;
    scriptRuns += other.scriptRuns;
    badRuns += other.badRuns;
    badSamples += other.badSamples;
    timedRuns += other.timedRuns;
    timedSeconds += other.timedSeconds;
    totalSeconds += other.totalSeconds;
    return *this;
}

Surfaces::Surfaces(const Scene& scene, std::span<const SurfaceShader> shaders) : clockTime_(clockTime()) {
    entries_.reserve(scene.surfaces.size());
    for (const SurfaceEntry& surface : scene.surfaces) entries_.push_back({surface.plain, {}, 0, false});
    setShaders(shaders);
}

void Surfaces::setShaders(std::span<const SurfaceShader> shaders) {
    std::unordered_map<const ShaderHandle*, std::size_t> handles;
    anyTransparent_ = false;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        Entry& entry = entries_[i];
        entry.script = i < shaders.size() ? shaders[i] : SurfaceShader{};
        if (entry.script.shader != nullptr) {
            entry.handle = handles.try_emplace(entry.script.shader, handles.size()).first->second;
        }
        entry.transparent = entry.plain.transparency > 0.0 ||
                            (entry.script.shader != nullptr && preview::mayBeTransparent(entry.script.mask));
        anyTransparent_ = anyTransparent_ || entry.transparent;
    }
    running_.assign(handles.size(), false);
}

const Surfaces::Entry& Surfaces::entry(std::int32_t surface) const {
    const auto number = static_cast<std::size_t>(surface);
    return surface >= 0 && number < entries_.size() ? entries_[number] : none_;
}

bool Surfaces::mayBeTransparent(std::int32_t surface) const {
    return entry(surface).transparent;
}

Surface Surfaces::at(const Seen& seen) {
    const Entry& found = entry(seen.hit.surface);
    Surface surface = found.plain;
    surface.normal = seen.hit.inside ? -seen.hit.shadingNormal : seen.hit.shadingNormal;
    if (found.script.shader == nullptr || plain_ || running_[found.handle] || depth_ >= kDeepestScripts) {
        return surface;
    }
    ShadingSample sample;
    fillSample(seen, surface, sample);
    run(found, seen.hit.surface, sample);
    return surfaceFrom(sample, found.script.mask, surface);
}

/// Looking at the clock takes a good part of a short script's time, so only some runs are timed. A ray that a
/// script traces counts as its time, with the scripts at its end.
void Surfaces::evaluate(const Entry& entry, ShadingSample& sample) {
    if (depth_ > 1 || !isTimed(statistics_.scriptRuns)) {
        entry.script.shader->evaluate(sample);
        return;
    }
    const std::chrono::nanoseconds start = platform::processorTime();
    entry.script.shader->evaluate(sample);
    const std::chrono::duration<double> taken = platform::processorTime() - start - clockTime_;
    statistics_.timedSeconds += std::max(0.0, taken.count());
    ++statistics_.timedRuns;
}

void Surfaces::run(const Entry& entry, std::int32_t surface, ShadingSample& sample) {
    if (observer_ != nullptr) observer_->beforeScript(sample, surface);
    running_[entry.handle] = true;
    ++depth_;
    evaluate(entry, sample);
    --depth_;
    running_[entry.handle] = false;
    if (observer_ != nullptr) observer_->afterScript(sample, surface);
    ++statistics_.scriptRuns;
    if (!allFinite(sample)) ++statistics_.badRuns;
}

}  // namespace kestrel::preview
