#include "preview/import/scene_fixture.h"
#include "preview/scene/pose.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kestrel::preview {

using Descriptions = SceneFiles;

TEST_F(Descriptions, SayEverythingThatASceneHolds) {
    using std::numbers::pi;
    write("strip.obj", "v -1 0 0\nv 1 0 0\nv 1 4 0\nv -1 4 0\nusemtl Skin\nf 1 2 3 4\n");
    const Scene scene = read(write("all.json", R"({"version": 1, "name": "All",
        "settings": {"frames": {"start": 5, "end": 50, "step": 5}, "framesPerSecond": 25, "size": [320, 200],
            "pixelAspect": 1.2, "samples": [4, 9], "limitedRegion": [10, 20, 100, 120], "renderType": "quick",
            "renderOptions": ["shadows", "refraction"]},
        "surfaces": {"Red": {"script": "red.ks", "color": [1, 0, 0], "mirror": 0.5}, "Grey": {"color": 0.4}},
        "images": [{"file": "sky.png"}, {"name": "B", "file": "b.png"}],
        "environment": {"file": "studio.hdr", "intensity": 2, "rotation": 90},
        "ambient": {"keys": [{"frame": 0, "value": 0}, {"frame": 25, "value": [1, 0.5, 0]}]},
        "meshes": [
            {"name": "Top", "position": [0, 1, 0]},
            {"name": "Ball", "shape": "sphere", "size": 2, "parent": "Top", "surface": "Red", "scale": 2, "dissolve":
                {"keys": [{"time": 0, "value": 0}, {"time": 1, "value": 1}], "interpolation": "step"},
                "shadows": {"cast": false}, "limits": {"rotation": {"min": [-90, null, 0], "max": [90, 5, 0]}}},
            {"name": "Strip", "file": "strip.obj", "surfaces": {"Skin": "Grey"}, "goal": "Ball", "bones": [
                {"name": "Upper", "parent": "Lower", "position": [0, 0, 2], "rotation": [0, 0, 90], "length": 2,
                    "rest": {"position": [0, 0, 2]}},
                {"name": "Lower", "rest": {"rotation": [0, -90, 0]}, "length": 2, "reach": [0.5, 3], "goal": "Sun"}]}],
        "lights": [{"name": "Sun", "type": "distant", "angle": 10, "target": "Ball", "position": [0, 9, 0]},
            {"name": "Spot", "type": "spot", "cone": 60, "edge": 10, "shadow": "none", "falloff": "linear", "range": 7},
            {"name": "Tube", "type": "linear", "length": 3}, {"name": "Panel", "type": "area", "size": [2, 1]}],
        "cameras": [{"name": "Lens", "focalLength": 12, "fStop": 2.8, "position":
            {"keys": [{"frame": 0, "value": [0, 0, 0]}, {"frame": 25, "value": [1, 0, 0]}, {"frame": 50, "value": [0, 0, 0]}],
             "interpolation": "smooth"}}]})"));

    const SceneSettings& settings = scene.settings;
    EXPECT_EQ(settings.limitedRegion, (std::array<std::int32_t, 4>{10, 20, 100, 120}));
    EXPECT_EQ((std::array{settings.frameStart, settings.frameEnd, settings.frameStep, settings.maxSamples}),
              (std::array{5, 50, 5, 9}));
    EXPECT_EQ((std::pair{settings.renderType, settings.renderOptions}), (std::pair{1, 5U}));
    EXPECT_EQ(std::filesystem::path(scene.surfaces.at(1).script), folder_ / "red.ks");
    EXPECT_EQ(scene.images.at(0).name, "sky");
    EXPECT_NEAR(scene.environment.rotation, pi / 2, 1e-12);
    EXPECT_LT(length(scene.ambient.at(0.5) - Vec3{0.5, 0.25, 0.0}), 1e-12);

    const MeshItem& ball = scene.meshes.at(1);
    EXPECT_TRUE(scene.meshes[0].hidden) << "a group";
    EXPECT_EQ(ball.item.parent, scene.meshes[0].item.id);
    EXPECT_EQ(ball.shape, MeshItem::Shape::Mesh) << "a scaled sphere is made of triangles";
    EXPECT_EQ(ball.polygons, 64 * 128);
    EXPECT_EQ(ball.shadows, 5U);
    EXPECT_EQ((std::pair{ball.dissolve.at(0.99), ball.dissolve.at(1.0)}), (std::pair{0.0, 1.0}));
    EXPECT_EQ(ball.item.limits[1].unlimited, 2U);
    EXPECT_NEAR(ball.item.limits[1].min.x, -pi / 2, 1e-12);
    EXPECT_EQ(scene.meshes[2].item.goal, ball.item.id);

    EXPECT_TRUE(scene.lights.at(0).item.aims);
    EXPECT_NEAR(scene.lights[0].radius, 5.0 / 180.0 * pi, 1e-12);
    EXPECT_NEAR(scene.lights[1].coneRadius, pi / 6, 1e-12);
    EXPECT_EQ(scene.lights[2].size.x, 3.0);
    EXPECT_EQ(scene.lights[3].size.y, 1.0);
    const CameraItem& camera = scene.cameras.at(0);
    EXPECT_NEAR(camera.verticalFov.at(0.0), pi / 2, 1e-12) << "12 mm on a film of 24 mm";
    EXPECT_GT(camera.item.motion.position.at(0.2).x, 0.0);
    EXPECT_LT(camera.item.motion.position.at(0.1).x, 0.1) << "starts at rest";

    const BoneItem& upper = scene.bones.at(0);
    EXPECT_EQ(upper.item.parent, scene.bones[1].item.id) << "parents may come later";
    EXPECT_EQ(scene.bones[1].item.parent, scene.meshes[2].item.id);
    EXPECT_EQ((std::pair{scene.bones[1].flags, scene.bones[1].outerLimit}), (std::pair{3U, 3.0}));
    EXPECT_EQ(scene.bones[1].item.goal, scene.lights[0].item.id);
    const SceneIndex index(scene);
    const Pose pose(index, 0.0);
    // The lower bone lies along y; the upper one turns by a right angle about it, and its points with it.
    const Geometry& bent = *pose.meshes.at(1).geometry;
    EXPECT_TRUE(std::any_of(bent.points.begin(), bent.points.end(), [](const Float3& p) {
        return length(toVec(p) - Vec3{0.0, 4.0, 1.0}) < 0.1 || length(toVec(p) - Vec3{0.0, 4.0, -1.0}) < 0.1;
    }));
}

TEST_F(Descriptions, NameTheFileThePlaceAndWhatIsWrong) {
    const auto wrong = [&](const std::string& text) { return errorOf("s.json", text); };
    EXPECT_EQ(wrong("{\"meshes\": [\n  {\"shape\" \"cube\"}]}").substr(0, 12), "s.json:2:17:");
    EXPECT_EQ(wrong(R"({"meshs": []})").substr(0, 33), "s.json:/meshs: unknown key; known");
    EXPECT_EQ(wrong(R"({"name": "a", "name": "b"})"), "s.json: the key \"name\" stands twice in one object");
    EXPECT_EQ(wrong(R"({"meshes": [{"shape": "torus"}]})"),
              "s.json:/meshes/0/shape: must be one of: sphere, ground, plane, cube");
    EXPECT_EQ(wrong(R"({"meshes": [{"position": [0, 1e999, 0]}]})").substr(0, 7), "s.json:");
    EXPECT_EQ(wrong(R"({"meshes": [{"position": [0, 1e40, 0]}]})"),
              "s.json:/meshes/0/position: a number is too large");
    EXPECT_EQ(wrong(R"({"meshes": [{"name": "a"}, {"name": "a"}]})"),
              "s.json:/meshes/1/name: another item is called \"a\"");
    EXPECT_EQ(wrong(R"({"meshes": [{"parent": "b"}]})"), "s.json:/meshes/0/parent: there is no item \"b\"");
    EXPECT_EQ(wrong(R"({"meshes": [{"name": "a", "parent": "b"}, {"name": "b", "parent": "a"}]})"),
              "s.json: \"a\" is among its own parents, or has more than 1000 of them");
    EXPECT_EQ(wrong(R"({"lights": [{"type": "area", "size": [1, 0]}]})"),
              "s.json:/lights/0/size/1: must be more than 0");
    EXPECT_EQ(wrong(R"({"lights": [{"type": "point", "cone": 5}]})"),
              "s.json:/lights/0/cone: only spot lights have this");
    EXPECT_EQ(wrong(R"({"meshes": [{"file": "none.obj"}]})"),
              "s.json:/meshes/0/file: none.obj: cannot be read, or is not a file");
    EXPECT_EQ(wrong(R"({"meshes": [{"shape": "cube", "surface": "x"}]})"),
              "s.json:/meshes/0/surface: there is no surface \"x\"");
    EXPECT_EQ(
        wrong(R"({"cameras": [{"fov": {"keys": [{"frame": 1, "value": 30}, {"time": 0, "value": 40}]}}]})"),
        "s.json:/cameras/0/fov/keys/1: must be later than the key before it");
    EXPECT_EQ(wrong(std::string(1'000'000, '[')), "s.json:1:65: nested deeper than 64 levels");
    EXPECT_EQ(wrong("{\"meshes\":[" + std::string(5'000'000, ',') + "]}").substr(0, 9), "s.json:1:");
    write("v.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_EQ(
        wrong(R"({"meshes": [{"name": "m"}, {"file": "v.obj", "bones": [{"name": "b", "parent": "m"}]}]})"),
        "s.json: the parent of bone \"b\" must be its mesh or another bone of it");
    EXPECT_EQ(wrong(R"({"meshes": [{"file": "v.obj", "surfaces": {"Skin": "x"}}]})"),
              "s.json:/meshes/0/surfaces: names a surface that the file has not; it has: Surface 1");
}

TEST_F(Descriptions, AChainOfParentsMayBeLongButNotEndless) {
    const auto chain = [](int length) {
        std::string text = R"({"meshes": [{"name": "0"})";
        for (int i = 1; i < length; ++i) {
            text += ",{\"name\":\"" + std::to_string(i) + "\",\"parent\":\"" + std::to_string(i - 1) + "\"}";
        }
        return text + "]}";
    };
    EXPECT_EQ(read(write("ok.json", chain(1000))).meshes.size(), 1000U);
    EXPECT_NE(errorOf("s.json", chain(1002)).find("parents"), std::string::npos);
}

}  // namespace kestrel::preview
