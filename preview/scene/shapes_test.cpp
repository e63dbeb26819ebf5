#include "preview/scene/shapes.h"

#include "preview/render/raycaster.h"
#include "preview/scene/builtin_scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <tuple>

namespace kestrel::preview {
namespace {

using Place = std::tuple<long, long, long>;

Place placeOf(const Float3& p) {
    const auto whole = [](float v) { return std::lround(static_cast<double>(v) * 1e5); };
    return {whole(p.x), whole(p.y), whole(p.z)};
}

/// Every edge is used once in each direction, by places and not by numbers of points.
void expectClosed(const Geometry& geometry, const char* name) {
    std::map<std::pair<Place, Place>, int> edges;
    for (const auto& corner : geometry.triangles) {
        for (std::size_t i = 0; i < 3; ++i) {
            const Place a = placeOf(geometry.points[corner[i]]);
            const Place b = placeOf(geometry.points[corner[(i + 1) % 3]]);
            ++edges[{a, b}];
            --edges[{b, a}];
        }
    }
    std::size_t open = 0;
    for (const auto& [edge, count] : edges) open += count != 0 ? 1 : 0;
    EXPECT_EQ(open, 0U) << name;
}

double volumeOf(const Geometry& geometry) {
    double sum = 0.0;
    for (const auto& corner : geometry.triangles) {
        const Vec3 a = toVec(geometry.points[corner[0]]);
        const Vec3 b = toVec(geometry.points[corner[1]]);
        const Vec3 c = toVec(geometry.points[corner[2]]);
        sum += dot(a, cross(b, c)) / 6.0;  // positive where triangles face away from the origin's side
    }
    return sum;
}

void expectNormalsFit(const Geometry& geometry, double least, const char* name) {
    for (std::size_t t = 0; t < geometry.triangles.size(); ++t) {
        const auto& corner = geometry.triangles[t];
        const Vec3 a = toVec(geometry.points[corner[0]]);
        const Vec3 flat = cross(toVec(geometry.points[corner[1]]) - a, toVec(geometry.points[corner[2]]) - a);
        for (const std::uint32_t i : corner) {
            const Vec3 normal = toVec(geometry.normals[i]);
            ASSERT_NEAR(length(normal), 1.0, 1e-5) << name;
            ASSERT_GT(dot(normal, normalize(flat)), least) << name << ", triangle " << t;
        }
    }
}

TEST(Shapes, AreClosedAndTurnOutwards) {
    const Geometry ball = makeBall();
    const Geometry box = makeBox({1.0, 0.5, 0.25}, 0.1);
    expectClosed(ball, "ball");
    expectClosed(box, "box");
    expectNormalsFit(ball, 0.9, "ball");
    expectNormalsFit(box, 0.9, "box");
    expectNormalsFit(makeBackdrop({}), 0.9, "backdrop");
    EXPECT_GT(volumeOf(ball), 3.0);
    EXPECT_LT(volumeOf(ball), 4.0 / 3.0 * std::numbers::pi) << "a ball from which something was cut";
    EXPECT_NEAR(volumeOf(box), 8.0 * 0.125, 0.03);
    EXPECT_GT(ball.triangles.size(), 15000U);
    EXPECT_LT(ball.triangles.size(), 30000U);
    double lowest = 0.0;
    for (const Float3& p : ball.points) lowest = std::min(lowest, static_cast<double>(p.y));
    EXPECT_NEAR(lowest, kBallBottom, 1e-6);
}

TEST(Shapes, EveryStudioShowsItsObjectInFrontOfTheBackdrop) {
    auto pyramid = std::make_shared<Geometry>();
    pyramid->points = {{100, 50, 100}, {140, 50, 100}, {120, 50, 140}, {120, 90, 115}};
    pyramid->triangles = {{0, 3, 1}, {1, 3, 2}, {2, 3, 0}, {0, 1, 2}};
    const Scene scenes[] = {makePreviewScene(PreviewShape::Ball), makePreviewScene(PreviewShape::Sphere),
                            makePreviewScene(PreviewShape::Cube), makePreviewScene(PreviewShape::Plane),
                            makePreviewScene(pyramid, "Pyramid")};
    for (const Scene& scene : scenes) {
        const SceneIndex index(scene);
        const Pose pose(index, 0.0);
        const RayCaster caster(pose);
        const Vec3& eye = pose.camera.position;
        const Hit object = caster.intersect({eye, normalize(Vec3{0.0, 1.0, 0.0} - eye)});
        ASSERT_NE(object.mesh, nullptr);
        EXPECT_EQ(object.mesh->mesh->item.id, 257U);
        EXPECT_EQ(object.mesh->mesh->item.name, scene.name);
        EXPECT_EQ(object.surface, 0) << scene.name;
        EXPECT_LT(length(object.mesh->toWorld.point(object.objectPoint) - object.point), 1e-9) << scene.name;
        EXPECT_FALSE(object.inside) << scene.name;
        EXPECT_GE(object.polygon, 0);
        EXPECT_LT(object.polygon, object.mesh->mesh->polygons);
        // It stands on the floor, neither in it nor above.
        double lowest = object.mesh->geometry == nullptr ? object.mesh->toWorld.origin.y - 1.0 : 10.0;
        if (object.mesh->geometry != nullptr) {
            for (const Float3& p : object.mesh->geometry->points) {
                lowest = std::min(lowest, object.mesh->toWorld.point(toVec(p)).y);
            }
        }
        EXPECT_NEAR(lowest, 0.0, 1e-3) << scene.name;
        EXPECT_EQ(scene.lights[0].item.id, 513U);
        EXPECT_EQ(scene.lights[1].item.id, 514U);
        EXPECT_EQ(scene.camera().item.id, 769U);
        const Hit behind = caster.intersect({eye, normalize(Vec3{0.0, 2.9, 0.0} - eye)});
        EXPECT_EQ(behind.mesh->mesh->item.id, 258U) << "the backdrop fills the picture";
    }
}

}  // namespace
}  // namespace kestrel::preview
