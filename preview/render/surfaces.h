// The surfaces of a scene as their scripts shade them.
#pragma once

#include "preview/render/raycaster.h"
#include "preview/scene/surface.h"
#include "preview/services/shader_handle.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel::preview {

/// The script of one surface.
struct SurfaceShader {
    ShaderHandle* shader = nullptr;  ///< null: the surface stays plain. Borrowed; surfaces may share one
    std::uint32_t mask = 0;          ///< the values that the script may change; 0 = all
};

/// What was done for a picture so far.
struct RenderStatistics {
    std::uint64_t samples = 0;     ///< rays from the camera
    std::uint64_t rays = 0;        ///< all rays
    std::uint64_t scriptRuns = 0;  ///< samples that a script shaded
    std::uint64_t badRuns = 0;     ///< of these, the ones that left a number that is not finite
    std::uint64_t badSamples =
        0;  ///< rays from the camera whose light was no number, and which count as black
    std::uint64_t timedRuns = 0;  ///< of the scripts' runs, those that were timed
    double timedSeconds = 0.0;
    double totalSeconds = 0.0;  ///< of processor time, as far as whoever renders adds it

    /// In scripts, estimated from the runs that were timed.
    [[nodiscard]] double scriptSeconds() const {
        if (timedRuns == 0) return 0.0;
        return std::min(totalSeconds,
                        timedSeconds * static_cast<double>(scriptRuns) / static_cast<double>(timedRuns));
    }
    [[nodiscard]] double rendererSeconds() const { return totalSeconds - scriptSeconds(); }
    RenderStatistics& operator+=(const RenderStatistics& other);
};

/// Sees every sample before and after its script. It must change nothing that it is shown.
class SampleObserver {
public:
    virtual ~SampleObserver() = default;
    /// @param surface  its number in Scene::surfaces
    virtual void beforeScript(const ShadingSample& sample, std::int32_t surface) = 0;
    virtual void afterScript(const ShadingSample& sample, std::int32_t surface) = 0;
};

/// A place on a surface as a ray found it.
struct Seen {
    const Ray& ray;
    const Hit& hit;
    double spotSize = 0.0;
    std::int32_t x = 0;  ///< pixel
    std::int32_t y = 0;
};

class Surfaces {
public:
    /// @param scene  outlives the surfaces
    Surfaces(const Scene& scene, std::span<const SurfaceShader> shaders);

    /// By surface number; surfaces beyond the end stay plain.
    void setShaders(std::span<const SurfaceShader> shaders);
    /// May be null. Borrowed.
    void setObserver(SampleObserver* observer) noexcept { observer_ = observer; }

    /// The surface at a place, with the normal on the ray's side. A script that is running already, because
    /// it traces the ray that got here, is not run again: its surface is plain then, and so is every surface
    /// once scripts have traced rays into each other a few times.
    [[nodiscard]] Surface at(const Seen& seen);
    /// True while at() runs a script.
    [[nodiscard]] bool scriptRuns() const noexcept { return depth_ > 0; }
    /// While set, all surfaces are plain.
    void setPlain(bool plain) noexcept { plain_ = plain; }
    /// False when no ray can pass through the surface.
    [[nodiscard]] bool mayBeTransparent(std::int32_t surface) const;
    [[nodiscard]] bool anyMayBeTransparent() const noexcept { return anyTransparent_; }

    [[nodiscard]] RenderStatistics& statistics() noexcept { return statistics_; }
    [[nodiscard]] const RenderStatistics& statistics() const noexcept { return statistics_; }

private:
    struct Entry {
        Surface plain;
        SurfaceShader script;
        std::size_t handle = 0;  ///< place in running_ of its script
        bool transparent = false;
    };

    [[nodiscard]] const Entry& entry(std::int32_t surface) const;
    void evaluate(const Entry& entry, ShadingSample& sample);
    void run(const Entry& entry, std::int32_t surface, ShadingSample& sample);

    std::vector<Entry> entries_;
    Entry none_;                 // for a number that no surface has
    std::vector<bool> running_;  // by script
    int depth_ = 0;              // scripts that run inside each other
    bool anyTransparent_ = false;
    bool plain_ = false;
    SampleObserver* observer_ = nullptr;
    RenderStatistics statistics_;
    std::chrono::nanoseconds clockTime_;
};

}  // namespace kestrel::preview
