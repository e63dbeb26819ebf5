// Turns rays into light: fills samples, lets the script change them, and shades what comes out.
#pragma once

#include "preview/math/sampling.h"
#include "preview/render/raycaster.h"
#include "preview/scene/surface.h"
#include "preview/services/services.h"
#include "preview/services/shader_handle.h"

namespace kestrel::preview {

class Shading final : public ShadingOperations {
public:
    /// @param pose, caster  outlive the shading
    /// @param shader        shades surface 0; null: it keeps the plain surface
    Shading(const Pose& pose, const RayCaster& caster, ShaderHandle* shader);

    /// The values that the script may change; 0 = all.
    void setMask(std::uint32_t mask) noexcept { mask_ = mask; }
    /// The pixel that is being rendered and the angle that it covers, in radians.
    void setPixel(std::int32_t x, std::int32_t y, double angle) noexcept;

    /// Light that comes back along a ray from the camera.
    [[nodiscard]] Vec3 color(const Ray& ray, SampleStream& stream);

    /// The light as it arrives at the point; its colour is 0 in shadow, and for an item that is no light.
    void illuminate(HostItemID light, const Vec3& point, Vec3& vector, Vec3& color) override;
    /// What a script sees along a ray. The module takes no second sample while a script runs, so the scripted
    /// mesh shows its plain surface here.
    double traceRay(const Vec3& point, const Vec3& direction, Vec3& color) override;

private:
    /// How a ray came to be.
    struct Path {
        int depth = 0;
        double weight = 1.0;     ///< the share of the pixel that it can still change
        double travelled = 0.0;  ///< distance from the camera, for the size of the sample
    };
    struct Lit {
        Vec3 diffuse;
        Vec3 highlight;
    };

    [[nodiscard]] Vec3 radiance(const Ray& ray, const Path& path, SampleStream& stream,
                                double* distance = nullptr);
    [[nodiscard]] Vec3 shadeMesh(const Ray& ray, const Hit& hit, const Path& path, SampleStream& stream);
    [[nodiscard]] Vec3 shadeGround(const Ray& ray, const Hit& hit, const Path& path, SampleStream& stream);
    [[nodiscard]] Surface surfaceAt(const Ray& ray, const Hit& hit, const Path& path);
    void fillSample(const Ray& ray, const Hit& hit, const Path& path, const Surface& surface);

    [[nodiscard]] Lit directLight(const Vec3& point, const Vec3& geometric, const Surface& surface,
                                  const Vec3& towardsEye, const Path& path, SampleStream& stream);
    [[nodiscard]] Vec3 lightShare(const PosedLight& light, const Vec3& point, const Path& path,
                                  SampleStream& stream);
    [[nodiscard]] Vec3 passing(const Ray& ray, const Path& path);
    [[nodiscard]] Vec3 ambientLight(const Vec3& point, const Vec3& normal) const;
    [[nodiscard]] Vec3 mirrored(const Ray& ray, const Vec3& point, const Vec3& geometric,
                                const Surface& surface, const Path& path, double share, SampleStream& stream);
    [[nodiscard]] Vec3 throughGlass(const Ray& ray, const Hit& hit, const Vec3& geometric,
                                    const Surface& surface, const Path& path, SampleStream& stream);

    const Pose& pose_;
    const Scene& scene_;
    const RayCaster& caster_;
    ShaderHandle* shader_;
    std::uint32_t mask_ = 0;
    double pixelAngle_ = 0.001;
    ShadingSample sample_{};
    bool scriptRuns_ = false;
};

}  // namespace kestrel::preview
