#include "preview/services/scene_services.h"

#include "preview/import/scene_fixture.h"
#include "preview/services/file_dialog.h"
#include "preview/services/services.h"

#include <cmath>
#include <numbers>

namespace kestrel::preview {

class SceneServices : public SceneFiles {
protected:
    Scene describe() const {
        (void)write("m.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
        return read(write("s.json", R"({"settings": {"size": [200, 100]},
            "images": [{"name": "A", "file": "a.png"}, {"name": "B", "file": "b.png"}],
            "meshes": [{"name": "Group"}, {"name": "Skin", "file": "m.obj", "position": [0, 0, 10], "bones": [
                {"name": "One", "rest": {"position": [0, 2, 0], "rotation": [90, 0, 0]}, "position": [5, 5, 5],
                 "limits": {"position": {"min": [0, -1, 0], "max": [null, 1, 9]}}},
                {"name": "Two", "parent": "One"}]},
                {"name": "Other", "file": "m.obj", "bones": [{"name": "Three"}]}],
            "lights": [{"name": "Spot", "type": "spot", "cone": 60, "edge": 5, "parent": "Group",
                "color": {"keys": [{"time": 0, "value": 0}, {"time": 2, "value": [2, 4, 0]}]}, "intensity": 0.5}],
            "cameras": [{"name": "Lens", "position": [0, 5, -9], "rotation": [30, 20, 0], "target": "Spot", "aims": false, "zoom": 2, "fStop": 4, "focalDistance": {"keys": [
                {"time": 0, "value": 1}, {"time": 1, "value": 3}]}}]})"));
    }

    template <class Service>
    const Service& service(const char* name) const {
        return *static_cast<const Service*>(services_.global()(name, HX_USE_KEEP));
    }

    const Scene scene_ = describe();
    const SceneIndex index_{scene_};
    FileDialog dialog_{{}, false};
    PreviewServices services_{index_, dialog_, {}};
};

TEST_F(SceneServices, ListBonesOfTheirMeshAndImagesInOrder) {
    const ItemInfo& items = service<ItemInfo>(HX_SERVICE_ITEM_INFO);
    const HostItemID skin = items.next(items.first(HX_MESH, 0));
    EXPECT_STREQ(items.name(skin), "Skin");
    const HostItemID one = items.first(HX_BONE, skin);
    EXPECT_EQ(items.type(one), HX_BONE);
    EXPECT_STREQ(items.name(items.next(one)), "Two");
    EXPECT_EQ(items.next(items.next(one)), 0U) << "the next bone is another mesh's";
    EXPECT_STREQ(items.name(items.first(HX_BONE, items.next(skin))), "Three");
    EXPECT_EQ(items.first(HX_BONE, items.first(HX_MESH, 0)), 0U);
    EXPECT_EQ(items.firstChild(skin), one);
    EXPECT_EQ(service<ObjectInfo>(HX_SERVICE_OBJECT_INFO).filename(items.first(HX_MESH, 0)), nullptr)
        << "a group";

    const ImageList& images = service<ImageList>(HX_SERVICE_IMAGE_LIST);
    const HxImageID second = images.next(images.first());
    EXPECT_STREQ(images.name(second), "B");
    EXPECT_EQ(std::filesystem::path(images.filename(second)), folder_ / "b.png");
    EXPECT_EQ(images.next(second), nullptr);
    EXPECT_EQ(images.name(nullptr), nullptr);
}

TEST_F(SceneServices, KnowWhatThereIsNot) {
    const ItemInfo& items = service<ItemInfo>(HX_SERVICE_ITEM_INFO);
    EXPECT_EQ(items.name(12345), nullptr);
    EXPECT_EQ(items.next(12345), 0U);
    EXPECT_EQ(service<ObjectInfo>(HX_SERVICE_OBJECT_INFO).numPolygons(12345), 0);
    EXPECT_NE(service<DirectoryInfoService>(HX_SERVICE_DIRECTORY_INFO).dirInfo("Temp"), nullptr);
    EXPECT_EQ(service<DirectoryInfoService>(HX_SERVICE_DIRECTORY_INFO).dirInfo("Elsewhere"), nullptr);
    EXPECT_EQ(services_.global()(HX_SERVICE_PANELS, HX_USE_KEEP), nullptr);
    EXPECT_EQ(services_.global()(HX_SERVICE_SYSTEM_INFO, HX_USE_ONCE), nullptr)
        << "the word 0: the animation program";
}

TEST_F(SceneServices, TellRestAndLimitsOfBones) {
    const ItemInfo& items = service<ItemInfo>(HX_SERVICE_ITEM_INFO);
    const BoneInfo& bones = service<BoneInfo>(HX_SERVICE_BONE_INFO);
    const HostItemID one = items.first(HX_BONE, items.next(items.first(HX_MESH, 0)));
    std::array<double, 3> out{};
    bones.restParam(one, HXIP_POSITION, out.data());
    EXPECT_EQ(out, (std::array{0.0, 2.0, 0.0}));
    bones.restParam(one, HXIP_ROTATION, out.data());
    EXPECT_NEAR(out[0], std::numbers::pi / 2, 1e-12);
    bones.restParam(one, HXIP_W_POSITION, out.data());
    EXPECT_NEAR(out[2], 10.0, 1e-9) << "where its mesh stands";
    bones.restParam(one, HXIP_W_FORWARD, out.data());
    EXPECT_NEAR(out[0], 1.0, 1e-12);
    items.param(one, HXIP_W_POSITION, 0.0, out.data());
    EXPECT_NEAR(out[2], 15.0, 1e-9);
    std::array<double, 3> min{};
    std::array<double, 3> max{};
    EXPECT_EQ(items.limits(one, HXIP_POSITION, min.data(), max.data()), 1U);
    EXPECT_EQ((std::pair{min[1], max[2]}), (std::pair{-1.0, 9.0}));
    EXPECT_EQ(items.limits(one, HXIP_SCALING, min.data(), max.data()), 7U);
}

TEST_F(SceneServices, FollowLightsAndLensesOverTime) {
    const ItemInfo& items = service<ItemInfo>(HX_SERVICE_ITEM_INFO);
    const LightInfo& lights = service<LightInfo>(HX_SERVICE_LIGHT_INFO);
    const HostItemID spot = items.first(HX_LIGHT, 0);
    std::array<double, 3> color{};
    lights.color(spot, 1.0, color.data());
    EXPECT_EQ(color, (std::array{0.5, 1.0, 0.0})) << "with its intensity";
    double radius = 0.0;
    double edge = 0.0;
    lights.coneAngles(spot, &radius, &edge);
    EXPECT_NEAR(radius, std::numbers::pi / 6, 1e-12);
    EXPECT_EQ(lights.type(spot), 2);
    EXPECT_STREQ(items.name(items.parent(spot)), "Group");

    const CameraInfo& cameras = service<CameraInfo>(HX_SERVICE_CAMERA_INFO);
    const HostItemID lens = items.first(HX_CAMERA, 0);
    EXPECT_NEAR(cameras.zoomFactor(lens, 0.0), 2.0, 1e-12);
    EXPECT_EQ(cameras.focalDistance(lens, 0.5), 2.0);
    EXPECT_EQ(cameras.fStop(lens, 0.5), 4.0);
    double horizontal = 0.0;
    double vertical = 0.0;
    cameras.fovAngles(lens, 0.0, &horizontal, &vertical);
    EXPECT_NEAR(horizontal, std::numbers::pi / 2, 1e-12) << "twice as wide as high, and a zoom of 2";
    EXPECT_EQ(services_.sceneInfo().numPoints, 6);
    // Heading, pitch and bank lead back to the direction in which the camera looks.
    std::array<double, 3> rotation{};
    std::array<double, 3> forward{};
    items.param(lens, HXIP_ROTATION, 0.0, rotation.data());
    items.param(lens, HXIP_W_FORWARD, 0.0, forward.data());
    EXPECT_NEAR(std::sin(rotation[0]) * std::cos(rotation[1]), forward[0], 1e-12);
    EXPECT_NEAR(-std::sin(rotation[1]), forward[1], 1e-12);
    EXPECT_NEAR(rotation[0], std::numbers::pi / 6, 1e-12);
    EXPECT_EQ(items.target(lens), spot);
}

}  // namespace kestrel::preview
