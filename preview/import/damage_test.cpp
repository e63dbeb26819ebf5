// Files that are cut off or changed anywhere: an error with the file's name, or a scene in which everything
// that refers to something refers to something that is there.
#include "preview/import/input_file.h"
#include "preview/import/scene_fixture.h"
#include "preview/scene/pose.h"

#include <random>

namespace kestrel::preview {

namespace {

void checkGeometry(const MeshItem& mesh, const Geometry& geometry) {
    const std::size_t points = geometry.points.size();
    const std::size_t triangles = geometry.triangles.size();
    EXPECT_TRUE(geometry.normals.empty() || geometry.normals.size() == points);
    EXPECT_TRUE(geometry.influences.empty() || geometry.influences.size() == points);
    EXPECT_TRUE(geometry.polygonOf.empty() || geometry.polygonOf.size() == triangles);
    EXPECT_TRUE(geometry.surfaceOf.empty() || geometry.surfaceOf.size() == triangles);
    for (const Float3& point : geometry.points) ASSERT_TRUE(finite(toVec(point)));
    for (const Float3& normal : geometry.normals) ASSERT_NEAR(length(toVec(normal)), 1.0, 1e-3);
    for (std::uint32_t i = 0; i < triangles; ++i) {
        for (const std::uint32_t corner : geometry.triangles[i]) ASSERT_LT(corner, points);
        ASSERT_LT(geometry.surface(i), mesh.surfaces.size());
        ASSERT_GE(geometry.polygon(i), 0);
        ASSERT_LT(geometry.polygon(i), mesh.polygons);
    }
    for (const Influence& influence : geometry.influences) {
        for (const std::uint16_t bone : influence.bone)
            ASSERT_TRUE(mesh.bones.empty() || bone < mesh.bones.size());
    }
}

void checkScene(Scene& scene) {
    const SceneIndex index(scene);
    ASSERT_FALSE(scene.cameras.empty());
    for (const MeshItem& mesh : scene.meshes) {
        EXPECT_FALSE(mesh.item.name.empty());
        for (const std::int32_t surface : mesh.surfaces) {
            ASSERT_GE(surface, 0);
            ASSERT_LT(static_cast<std::size_t>(surface), scene.surfaces.size());
        }
        for (const HostItemID bone : mesh.bones) ASSERT_NE(index.bone(bone), nullptr);
        if (mesh.geometry != nullptr) checkGeometry(mesh, *mesh.geometry);
        ASSERT_TRUE(mesh.item.parent == 0 || index.item(mesh.item.parent) != nullptr);
    }
    for (const BoneItem& bone : scene.bones) ASSERT_NE(index.mesh(bone.mesh), nullptr);
    const Pose pose(index, 0.7);  // must not read beyond anything either
    EXPECT_LE(pose.meshes.size(), scene.meshes.size());
}

}  // namespace

class DamagedFiles : public SceneFiles {
protected:
    /// Truncates and changes a file of the examples, always in the same ways.
    void damage(const std::string& name, const std::string& bytes, int rounds) {
        std::string undamaged;
        ASSERT_TRUE(readScene(write(name, bytes), undamaged).has_value()) << undamaged;
        std::mt19937 random(20);
        int good = 0;
        for (int round = 0; round < rounds; ++round) {
            std::string damaged = bytes;
            if (round % 4 == 0) damaged.resize(random() % bytes.size());
            for (unsigned i = 0; i < 1 + random() % 3 && !damaged.empty(); ++i) {
                const std::size_t at = random() % damaged.size();
                // Digits for digits make the cases that go furthest.
                const bool digit = damaged[at] >= '0' && damaged[at] <= '9' && round % 2 == 1;
                damaged[at] =
                    digit ? static_cast<char>('0' + random() % 10) : static_cast<char>(random() % 256);
            }
            std::string error;
            std::optional<Scene> scene = readScene(write(name, damaged), error);
            if (scene) checkScene(*scene);
            EXPECT_TRUE(scene || error.starts_with(folder_.string())) << error;
            good += scene ? 1 : 0;
            if (HasFatalFailure()) FAIL() << name << ", round " << round;
        }
        EXPECT_GT(good, 0) << name
                           << ": some damage must do no harm, or nothing beyond the first check was tried";
        EXPECT_LT(good, rounds);
    }

    static std::string example(const std::string& name) {
        return readBytes(std::string(PREVIEW_EXAMPLE_SCENES) + "/" + name);
    }
};

TEST_F(DamagedFiles, Obj) {
    write("vase.mtl", example("vase.mtl"));
    damage("vase.obj", example("vase.obj"), 150);
}

TEST_F(DamagedFiles, Gltf) {
    // Without its long base64 text, so that what is changed is what says how things hang together.
    std::string json = example("tower.gltf");
    const std::size_t from = json.find("base64,") + 7;
    const std::size_t to = json.find('"', from);
    const std::optional<std::string> binary = decodeBase64(std::string_view(json).substr(from, to - from));
    ASSERT_TRUE(binary.has_value());
    write("tower.bin", *binary);
    const std::size_t uri = json.find("data:");
    json.replace(uri, to - uri, "tower.bin");
    damage("tower.gltf", json, 250);
    damage("tower.glb", glb(json.replace(json.find("\"uri\": \"tower.bin\""), 18, "\"extras\": 1"), *binary),
           300);
}

TEST_F(DamagedFiles, Description) {
    for (const char* file : {"vase.obj", "vase.mtl"}) write(file, example(file));
    damage("still_life.json", example("still_life.json"), 200);
}

}  // namespace kestrel::preview
