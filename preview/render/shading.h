// Turns rays into light: follows them from surface to surface and gathers what arrives there.
#pragma once

#include "preview/math/sampling.h"
#include "preview/render/environment.h"
#include "preview/render/lights.h"
#include "preview/render/raycaster.h"
#include "preview/render/surfaces.h"
#include "preview/services/services.h"

#include <vector>

namespace kestrel::preview {

/// Light at the places that rays find. What is seen there is
///
///     color * (luminous + diffuse * L)   where the surface is neither transparent nor a mirror,
///     + specular * highlights            of lights that have no size in reflections,
///     + specular * polish * R            a reflection of all else, as of lacquer, weak but at flat angles,
///     + mirror * R + transparency * T
///
/// L: light scattered by a white surface: from the lights, the sky and, once or twice around, other surfaces;
/// R, T: what the reflected and the refracted ray see, spread by roughness.
/// Source of the combination of sky and bounced light: Veach's multiple importance sampling, power heuristic
class Shading final : public ShadingOperations {
public:
    /// @param pose, caster  outlive the shading
    /// @param shaders       by surface number; surfaces beyond the end are plain
    Shading(const Pose& pose, const RayCaster& caster, std::span<const SurfaceShader> shaders);

    void setShaders(std::span<const SurfaceShader> shaders) { surfaces_.setShaders(shaders); }
    /// May be null. Borrowed.
    void setObserver(SampleObserver* observer) noexcept { surfaces_.setObserver(observer); }
    /// The pixel that is being rendered and the angle that it covers, in radians.
    /// @param width  what it covers in a picture without perspective, where the angle is 0
    void setPixel(std::int32_t x, std::int32_t y, double angle, double width = 0.0) noexcept;

    /// Begins with another ray from the camera. What it hits is shaded by its script once, however many
    /// samples of its light are taken, and what has no chance in it is traced once.
    /// @param sampler  for what is done once
    void look(const Ray& ray, const PixelSampler& sampler);
    /// A sample of the light that comes back along that ray; black when it would be no number.
    /// @param rare  for light that other surfaces send, which costs most and counts least: samples of a ray
    /// with
    ///              the same one share it
    [[nodiscard]] Vec3 light(const PixelSampler& sampler, const PixelSampler& rare);

    [[nodiscard]] const RenderStatistics& statistics() const noexcept { return surfaces_.statistics(); }

    /// The light as it arrives at the point, from the middle of the light; its colour is 0 in shadow, and for
    /// an item that is no light.
    void illuminate(HostItemID light, const Vec3& point, Vec3& vector, Vec3& color) override;
    /// What a script sees along a ray. For a script that was not run from here all surfaces are plain, since
    /// it must not be run again.
    double traceRay(const Vec3& point, const Vec3& direction, Vec3& color) override;

private:
    /// How a ray came to be.
    struct Path {
        int depth = 0;             // rays before it
        int bounces = 0;           // of them, scattered ones
        double weight = 1.0;       // the share of the pixel that it can still change
        double travelled = 0.0;    // distance from the camera, for the size of the sample
        double density = 0.0;      // with which a scattered ray was drawn; 0 for other rays
        bool skyCounts = true;     // false: light from the sky and from areas was counted without the ray
        std::uint32_t branch = 1;  // a number that no other ray of the sample has, for its dimensions
    };
    /// What is left to chance at a place, as dimensions of the sampler.
    enum class Choice : std::uint32_t {
        Dissolve,
        Sky,
        Bounce,
        Survival,
        Polish,
        Mirror,
        Glass,
        Side,
        Light,
        Lights
    };

    /// A place that is being shaded.
    struct Place {
        Place(const Ray& r, const Hit& h, const Path& p, const Surface& s)
            : ray(r), hit(h), path(p), surface(s), geometric(h.inside ? -h.normal : h.normal) {}
        const Ray& ray;
        const Hit& hit;
        const Path& path;
        const Surface& surface;
        Vec3 geometric;  // the true normal on the ray's side
        [[nodiscard]] Vec3 towardsEye() const { return -ray.direction; }
    };
    struct Lit {
        Vec3 diffuse;
        Vec3 highlight;
    };
    /// The ray from the camera and what is known of it so far.
    struct Look {
        Ray ray;
        PixelSampler sampler{0, 0, 0};
        std::optional<Hit> hit;
        Surface surface;
        PixelSampler rare{0, 0, 0};
        std::optional<Vec3> bounced;  // with `rare`
        std::optional<Vec3> smooth;   // what a surface without roughness reflects and lets through
    };

    [[nodiscard]] UnitPoint chance(const Path& path, Choice choice, std::uint32_t number = 0) const;
    [[nodiscard]] static Path following(const Place& place, std::uint32_t way, double share);
    [[nodiscard]] static Ray leaving(const Place& place, const Vec3& direction);

    [[nodiscard]] Hit nearest(const Ray& ray, const Path& path);
    [[nodiscard]] Vec3 radiance(const Ray& ray, const Path& path, double* distance = nullptr);
    [[nodiscard]] Vec3 fromFar(const Vec3& direction, const Path& path) const;
    [[nodiscard]] std::optional<SeenLight> areaSeen(const Ray& ray, const Path& path, double before) const;
    [[nodiscard]] Vec3 cameraLight();
    [[nodiscard]] Vec3 shade(const Place& place);
    [[nodiscard]] Vec3 reflectedAndRefracted(const Place& place);
    [[nodiscard]] Surface surfaceAt(const Ray& ray, const Hit& hit, const Path& path);

    [[nodiscard]] Lit directLight(const Place& place, bool scatters);
    void addLight(const Place& place, const PosedLight& light, UnitPoint spot, bool scatters, double share,
                  Lit& lit);
    [[nodiscard]] Vec3 skyLight(const Place& place);
    [[nodiscard]] Vec3 bouncedLight(const Place& place, double share);
    [[nodiscard]] Vec3 scatteredRay(const Place& place, double share);
    [[nodiscard]] Vec3 passing(const Ray& ray, const Place& place);
    [[nodiscard]] Vec3 mirrored(const Place& place, Choice choice, std::uint32_t way, double share);
    [[nodiscard]] Vec3 throughGlass(const Place& place);

    const Pose& pose_;
    const Scene& scene_;
    const RayCaster& caster_;
    Surfaces surfaces_;
    Environment environment_;
    std::vector<const PosedLight*> areas_;  // those that reflections show
    bool plainShadows_ = true;              // every mesh throws its shadow on every other and itself
    std::int32_t x_ = 0;
    std::int32_t y_ = 0;
    double pixelAngle_ = 0.001;
    double pixelWidth_ = 0.0;
    PixelSampler sampler_{0, 0, 0};
    Look look_;
    Path asking_;  // how the place came to be seen whose script runs
};

}  // namespace kestrel::preview
