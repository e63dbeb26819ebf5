// Light against what it must be by formula.
#include "preview/render/renderer.h"
#include "preview/scene/builtin_scene.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

namespace kestrel::preview {
namespace {

using std::numbers::pi;

PosedLight posed(const LightItem& light, const Vec3& position, const Axes& axes = {}) {
    return {&light, position, axes, light.color.at(0.0)};
}

/// The average of a function over many evenly spread places.
template <class Value>
double average(int count, const Value& value) {
    double sum = 0.0;
    for (int i = 0; i < count; ++i) sum += value(PixelSampler(0, 0, i).at(0));
    return sum / count;
}

/// The share of the half space above a point that a rectangle fills, weighted by the cosine; the point lies
/// below a corner, in a plane that is parallel to it. Source: Howell's catalog of configuration factors, B-3
double cornerFactor(double width, double height, double distance) {
    const double a = width / distance;
    const double b = height / distance;
    const double rootA = std::sqrt(1.0 + a * a);
    const double rootB = std::sqrt(1.0 + b * b);
    return (a / rootA * std::atan(b / rootA) + b / rootB * std::atan(a / rootB)) / (2.0 * pi);
}

/// The light on what a ray meets, in the average of so many samples.
Vec3 lightOn(const Scene& scene, const Ray& ray, int count) {
    const SceneIndex index(scene);
    const Pose pose(index, 0.0);
    const RayCaster caster(pose);
    Shading shading(pose, caster, {});
    Vec3 sum;
    for (int i = 0; i < count; ++i) {
        shading.look(ray, PixelSampler(0, 0, i));
        sum += shading.light(PixelSampler(0, 0, i), PixelSampler(0, 0, i)) * (1.0 / count);
    }
    return sum;
}

/// Light of the sky alone on a white sphere that fills the picture.
struct WhiteSphere {
    explicit WhiteSphere(const Sky& sky) {
        scene = makeSphereScene();
        scene.meshes.resize(1);
        scene.lights.clear();
        scene.sky = sky;
        scene.surfaces[0].plain.color = {1.0, 1.0, 1.0};
        scene.surfaces[0].plain.diffuse = 1.0;
        scene.surfaces[0].plain.specular = 0.0;
    }
    Image picture(std::int32_t samples) {
        const SceneIndex index(scene);
        const Pose pose(index, 0.0);
        const RayCaster caster(pose);
        Shading shading(pose, caster, {});
        RenderOptions options;
        options.width = options.height = 16;
        options.samples = samples;
        options.region = Tile{4, 4, 12, 12};
        return *render(pose, shading, options, {});
    }
    Scene scene;
};

TEST(Light, AWhiteSphereInAWhiteRoomIsWhite) {
    Sky sky;
    sky.horizon = sky.zenith = {1.0, 1.0, 1.0};
    const Image image = WhiteSphere(sky).picture(4);
    for (std::int32_t i = 4; i < 12; ++i) EXPECT_EQ(image.at(i, 15 - i), (Vec3{1.0, 1.0, 1.0})) << i;
    sky.horizon = {};
    sky.zenith = {};
    EXPECT_EQ(WhiteSphere(sky).picture(4).at(8, 8), Vec3{});
}

TEST(Light, TheBrightPartsOfASkyAreFoundWithoutChangingItsLight) {
    Sky sky;
    sky.softboxes.push_back({lookAt({}, {-0.3, 0.4, -1.0}), 0.2, 0.2, 1e-3, {50.0, 50.0, 50.0}});
    WhiteSphere sphere(sky);
    const Image image = sphere.picture(64);
    // A softbox that is small enough is a distant light.
    const SceneIndex index(sphere.scene);
    const Pose pose(index, 0.0);
    const RayCaster caster(pose);
    const CameraRays camera(pose.camera, {16, 16, 1.0}, false);
    const Vec3 normal = caster.intersect(camera.at(7.5, 7.5)).normal;
    double expected = 0.0;  // by brute force
    constexpr int kSide = 64;
    for (int i = 0; i < kSide * kSide; ++i) {
        const double x = ((i % kSide + 0.5) / kSide - 0.5) * 0.4;
        const double y = ((i / kSide + 0.5) / kSide - 0.5) * 0.4;
        const double distance = std::sqrt(1.0 + x * x + y * y);
        const Vec3 direction = sky.softboxes[0].axes.toWorld({x / distance, y / distance, 1.0 / distance});
        expected += 50.0 * std::max(0.0, dot(direction, normal)) * std::pow(distance, -3) * 0.16 / pi /
                    (kSide * kSide);
    }
    EXPECT_NEAR(image.at(7, 7).x, expected, 0.03 * expected);
}

TEST(Light, TheEnvironmentsDensityIsOneOverTheSphereAndMatchesWhatItDraws) {
    Scene scene = makeSphereScene();
    auto panorama = std::make_shared<Panorama>();
    panorama->width = 8;
    panorama->height = 4;
    panorama->pixels.assign(32, {0.1F, 0.1F, 0.1F});
    panorama->pixels[11] = {9.0F, 5.0F, 1.0F};
    Sky pictured;
    pictured.panorama = panorama;
    for (const Sky& sky : {scene.sky, pictured}) {
        const Environment environment(sky);
        ASSERT_TRUE(environment.varied());
        const double whole = average(1 << 16, [&](UnitPoint u) {
            const double height = 1.0 - 2.0 * u.v;
            const double away = std::sqrt(1.0 - height * height);
            return 4.0 * pi *
                   environment.density(
                       {away * std::sin(2 * pi * u.u), height, away * std::cos(2 * pi * u.u)});
        });
        EXPECT_NEAR(whole, 1.0, 0.01);
        double direct = 0.0;
        const double drawn = average(4096, [&](UnitPoint u) {
            const Environment::Drawn found = environment.draw(u);
            EXPECT_NEAR(length(found.direction), 1.0, 1e-9);
            EXPECT_NEAR(environment.density(found.direction), found.density, 1e-3 + 0.2 * found.density);
            return sky.color(found.direction).x / found.density;
        });
        direct = average(1 << 16, [&](UnitPoint u) {
            const double height = 1.0 - 2.0 * u.v;
            const double away = std::sqrt(1.0 - height * height);
            return 4.0 * pi *
                   sky.color({away * std::sin(2 * pi * u.u), height, away * std::cos(2 * pi * u.u)}).x;
        });
        EXPECT_NEAR(drawn, direct, 0.01 * direct);
    }
}

TEST(Light, AnAreaLightsAPlaneAsTheClosedFormSays) {
    LightItem light;
    light.type = LightItem::Type::Area;
    light.falloff = LightItem::Falloff::Square;
    light.range = 2.0;
    light.size = {3.0, 1.6, 0.0};
    light.color = Vec3{0.5, 0.5, 0.5};
    const PosedLight above = posed(light, {0.0, 2.5, 0.0}, lookAt({0.0, 2.5, 0.0}, {0.0, 0.0, 0.0}));
    const Vec3 point{0.4, 0.0, 0.3};
    const double got = average(1 << 14, [&](UnitPoint u) {
        const std::optional<Arriving> from = arriving(above, point, u);
        return from ? from->color.x * from->direction.y : 0.0;
    });
    double factor = 0.0;
    const double x = std::abs(dot(point, above.axes.right));
    const double y = std::abs(dot(point, above.axes.up));
    for (const double side : {-1.0, 1.0}) {
        for (const double end : {-1.0, 1.0}) factor += cornerFactor(1.5 + side * x, 0.8 + end * y, 2.5);
    }
    const double radiance = 0.5 * pi * 4.0 / (3.0 * 1.6);
    EXPECT_NEAR(got, radiance * factor, 1e-3 * got);
    // What mirrors show of it is the same light.
    const std::optional<SeenLight> shown = seen(above, {point, {0.0, 1.0, 0.0}});
    ASSERT_TRUE(shown);
    EXPECT_NEAR(shown->color.x, radiance, 1e-9);
    EXPECT_NEAR(shown->distance, 2.5, 1e-12);
    EXPECT_FALSE(seen(above, {point, {0.0, -1.0, 0.0}}));
    EXPECT_FALSE(seen(above, {{0.4, 5.0, 0.3}, {0.0, -1.0, 0.0}})) << "from behind";
}

TEST(Light, LightsShineAsTheirTypeSays) {
    LightItem light;
    light.color = Vec3{1.0, 1.0, 1.0};
    const auto at = [&](const Vec3& point, UnitPoint u = {0.5, 0.5}) {
        const std::optional<Arriving> from = arriving(posed(light, {}), point, u);
        return from ? from->color.x : 0.0;
    };
    EXPECT_EQ(at({0.0, 0.0, 9.0}), 1.0);
    EXPECT_EQ(at({}), 0.0) << "no direction";
    EXPECT_EQ(at({std::numeric_limits<double>::quiet_NaN(), 0.0, 0.0}), 0.0);
    light.falloff = LightItem::Falloff::Linear;
    light.range = 4.0;
    EXPECT_EQ(at({0.0, 1.0, 0.0}), 0.75);
    EXPECT_EQ(at({0.0, 5.0, 0.0}), 0.0);
    light.falloff = LightItem::Falloff::Square;
    EXPECT_EQ(at({0.0, 8.0, 0.0}), 0.25);
    EXPECT_TRUE(std::isfinite(at({1e-200, 0.0, 0.0})));
    light.falloff = LightItem::Falloff::None;
    light.type = LightItem::Type::Spot;
    light.coneRadius = 0.5;
    light.coneEdge = 0.2;
    EXPECT_EQ(at({std::tan(0.29), 0.0, 1.0}), 1.0);
    EXPECT_NEAR(at({std::tan(0.4), 0.0, 1.0}), 0.5, 1e-9);
    EXPECT_EQ(at({std::tan(0.51), 0.0, 1.0}), 0.0);
    EXPECT_EQ(at({0.0, 0.0, -1.0}), 0.0);
    light.type = LightItem::Type::Area;
    EXPECT_EQ(at({0.0, 0.0, 3.0}), 1.0) << "without a size it is a point that shines ahead";
    EXPECT_EQ(at({0.0, 0.0, -3.0}), 0.0);
    light.type = LightItem::Type::Linear;
    EXPECT_EQ(at({3.0, 0.0, 0.0}), 0.0) << "along itself";
    light.type = LightItem::Type::Distant;
    light.radius = 0.1;
    const std::optional<Arriving> far = arriving(posed(light, {}), {7.0, 8.0, 9.0}, {0.99, 0.4});
    ASSERT_TRUE(far);
    EXPECT_NEAR(std::acos(-far->direction.z), 0.1, 0.01);
    EXPECT_EQ(far->color.x, 1.0);
}

TEST(Light, AGlowingSurfaceLightsTheFloor) {
    Scene scene = makeSphereScene();
    scene.lights.clear();
    scene.sky = {};
    scene.surfaces[0].plain.luminous = 1.0;
    scene.surfaces[0].plain.color = {1.0, 0.5, 0.25};
    scene.surfaces[0].plain.diffuse = scene.surfaces[0].plain.specular = 0.0;
    scene.surfaces[1].plain.color = {1.0, 1.0, 1.0};
    scene.surfaces[1].plain.diffuse = 1.0;
    const Vec3 eye{0.0, 2.0, -4.0};
    const Vec3 sum = lightOn(scene, {eye, normalize(Vec3{0.0, 0.0, -2.0} - eye)}, 1 << 14);
    // A sphere that the horizon does not cut fills the share sin^2 of the half space, by the cosine of its
    // centre.
    const double expected = 1.0 / 5.0 * (1.0 / std::sqrt(5.0));
    EXPECT_NEAR(sum.x, expected, 0.02 * expected);
    EXPECT_NEAR(sum.z, 0.25 * expected, 0.005 * expected);
}

TEST(Light, DissolveAndShadowBitsDecideWhatIsSeen) {
    Scene scene = makeSphereScene();
    const Vec3 key = scene.lights.front().item.motion.position.at(0.0);
    const Vec3 point = Vec3{0.0, 1.0, 0.0} + (Vec3{0.0, 1.0, 0.0} - key) * (1.0 / (key.y - 1.0));
    const auto shadowAt = [&] {
        return lightOn(scene, {point + Vec3{0.0, 3.0, 0.0}, {0.0, -1.0, 0.0}}, 64).x;
    };
    const double dark = shadowAt();
    scene.meshes[0].shadows = 5;  // casts none
    const double lit = shadowAt();
    EXPECT_GT(lit, 1.5 * dark);
    scene.meshes[0].shadows = 7;
    scene.meshes[1].shadows = 3;  // the ground receives none
    EXPECT_NEAR(shadowAt(), lit, 0.05 * lit);
    scene.meshes[1].shadows = 7;
    scene.meshes[0].dissolve = 0.5;
    const double half = shadowAt();
    EXPECT_GT(half, 1.15 * dark);
    EXPECT_LT(half, 0.9 * lit);
}

}  // namespace
}  // namespace kestrel::preview
