#include "preview/import/scene_fixture.h"
#include "preview/scene/pose.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>

namespace kestrel::preview {

using GltfFiles = SceneFiles;

namespace {

/// A triangle (points, then a sparse place and value, then byte indices) in one buffer.
const std::string kTriangleBytes = packed<float>({0, 0, 0, 1, 0, 0, 0, 1, 0}) + packed<float>({0, 2, 0}) +
                                   packed<std::uint8_t>({2, 0, 0, 0}) + packed<std::uint8_t>({0, 1, 2, 0});

std::string triangleJson(const std::string& rest) {
    return R"({"asset":{"version":"2.0"},"buffers":[{"byteLength":56}],
        "bufferViews":[{"buffer":0,"byteLength":36},{"buffer":0,"byteOffset":36,"byteLength":12},
            {"buffer":0,"byteOffset":48,"byteLength":1},{"buffer":0,"byteOffset":52,"byteLength":3}],
        "accessors":[{"bufferView":0,"componentType":5126,"type":"VEC3","count":3,
            "sparse":{"count":1,"indices":{"bufferView":2,"componentType":5121},"values":{"bufferView":1}}},
            {"bufferView":3,"componentType":5121,"type":"SCALAR","count":3}],
        "meshes":[{"primitives":[{"attributes":{"POSITION":0},"indices":1}]}],
        "scenes":[{"nodes":[0]}],)" +
           rest + "}";
}

}  // namespace

TEST_F(GltfFiles, BringHierarchyMaterialsLightsAndCamerasIntoOurSpace) {
    const Scene scene = read(
        write("a.glb",
              glb(triangleJson(
                      R"("materials":[{"name":"Oak","pbrMetallicRoughness":{"baseColorFactor":[1,0.5,0.25,1]},
            "extensions":{"KHR_materials_transmission":{"transmissionFactor":0.5}},"extras":{"kestrel":"oak.ks"}}],
            "extensions":{"KHR_lights_punctual":{"lights":[{"type":"spot","intensity":3.14159265,
                "spot":{"innerConeAngle":0.2,"outerConeAngle":0.5}}]}},
            "cameras":[{"type":"perspective","perspective":{"yfov":0.8,"znear":0.1,"aspectRatio":2}}],
            "nodes":[{"name":"Group","translation":[0,0,5],"children":[1,2,3,4]},{"mesh":0},{"mesh":0,"name":"Leaf"},
                {"camera":0,"rotation":[0,0.7071068,0,0.7071068]},
                {"extensions":{"KHR_lights_punctual":{"light":0}}}])"),
                  kTriangleBytes)));
    ASSERT_EQ(scene.meshes.size(), 3U);
    EXPECT_TRUE(scene.meshes[0].hidden);
    EXPECT_EQ(scene.meshes[0].item.name, "Group");
    EXPECT_EQ(scene.meshes[1].item.name, "Mesh 1");
    EXPECT_EQ(scene.meshes[2].item.parent, scene.meshes[0].item.id);
    EXPECT_EQ(scene.meshes[1].geometry, scene.meshes[2].geometry) << "shared, not copied";
    const Geometry& geometry = *scene.meshes[1].geometry;
    EXPECT_EQ(geometry.points[2].y, 2.0F) << "the sparse value";
    EXPECT_LT(cross(toVec(geometry.points[geometry.triangles[0][1]]),
                    toVec(geometry.points[geometry.triangles[0][2]]))
                  .z,
              0.0);
    EXPECT_NEAR(scene.surfaces.at(0).plain.transparency, 0.5, 1e-12);
    EXPECT_EQ(scene.surfaces[0].plain.eta, 1.5);
    EXPECT_EQ(std::filesystem::path(scene.surfaces[0].script), folder_ / "oak.ks");
    const SceneIndex index(scene);
    const Pose pose(index, 0.0);
    EXPECT_EQ(pose.camera.position, (Vec3{0.0, 0.0, -5.0}));
    // Turned left by a right angle there: from -z to -x, which is left here too.
    EXPECT_LT(length(pose.camera.axes.forward - Vec3{-1.0, 0.0, 0.0}), 1e-6);
    EXPECT_EQ(scene.settings.width, 1024);
    const LightItem& light = scene.lights.at(0);
    EXPECT_LT(length(pose.lights.at(0).axes.forward - Vec3{0.0, 0.0, 1.0}), 1e-12);
    EXPECT_EQ(light.type, LightItem::Type::Spot);
    EXPECT_NEAR(light.intensity.at(0.0), 1.0, 1e-6);
    EXPECT_NEAR(light.coneEdge, 0.3, 1e-12);
    EXPECT_EQ(light.falloff, LightItem::Falloff::Square);
}

TEST_F(GltfFiles, BendMeshesWithTheirBonesOverTime) {
    // A triangle of which one corner follows the second joint; that turns by a right angle about z in a
    // second.
    const float h = std::sqrt(0.5F);
    const std::string bytes = packed<float>({0, 0, 0, 1, 0, 0, 0, 2, -3}) +
                              packed<std::uint8_t>({0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}) +
                              packed<float>({1, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0}) +
                              packed<float>({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0,  0, 1,  //
                                             1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, -1, 0, 1}) +
                              packed<float>({0, 1}) + packed<float>({0, 0, 0, 1, 0, 0, h, h});
    (void)write("b.bin", bytes);
    const Scene scene = read(write("b.gltf", R"({"asset":{"version":"2.0"},
        "buffers":[{"byteLength":264,"uri":"b%2Ebin"}],
        "bufferViews":[{"buffer":0,"byteLength":36},{"buffer":0,"byteOffset":36,"byteLength":12},
            {"buffer":0,"byteOffset":48,"byteLength":48},{"buffer":0,"byteOffset":96,"byteLength":128},
            {"buffer":0,"byteOffset":224,"byteLength":8},{"buffer":0,"byteOffset":232,"byteLength":32}],
        "accessors":[{"bufferView":0,"componentType":5126,"type":"VEC3","count":3},
            {"bufferView":1,"componentType":5121,"type":"VEC4","count":3},
            {"bufferView":2,"componentType":5126,"type":"VEC4","count":3},
            {"bufferView":3,"componentType":5126,"type":"MAT4","count":2},
            {"bufferView":4,"componentType":5126,"type":"SCALAR","count":2},
            {"bufferView":5,"componentType":5126,"type":"VEC4","count":2}],
        "meshes":[{"primitives":[{"attributes":{"POSITION":0,"JOINTS_0":1,"WEIGHTS_0":2}}]}],
        "skins":[{"joints":[1,2],"inverseBindMatrices":3}],
        "nodes":[{"mesh":0,"skin":0,"translation":[9,9,9]},{"name":"Root","children":[2]},
            {"name":"Tip","translation":[0,1,0],"children":[3]},{"mesh":0}],
        "animations":[{"channels":[{"sampler":0,"target":{"node":2,"path":"rotation"}}],
            "samplers":[{"input":4,"output":5}]}],
        "scenes":[{"nodes":[0,1]}]})"));
    ASSERT_EQ(scene.bones.size(), 2U);
    EXPECT_EQ(scene.bones[1].item.parent, scene.bones[0].item.id);
    EXPECT_EQ(scene.meshes[0].bones,
              (std::vector<HostItemID>{scene.bones[0].item.id, scene.bones[1].item.id}));
    EXPECT_EQ(scene.meshes[1].item.parent, scene.bones[1].item.id) << "what hangs from a joint";
    EXPECT_EQ(scene.bones[0].restLength, 1.0);
    EXPECT_EQ(scene.settings.frameEnd, 30);
    EXPECT_EQ(scene.meshes[0].geometry->influences[0].weight[0], 1.0F) << "weights that sum to 2 are shares";
    const SceneIndex index(scene);
    for (const double time : {0.0, 1.0}) {
        const Pose pose(index, time);
        std::vector<Vec3> points;
        for (const Float3& p : pose.meshes.at(0).geometry->points) {
            points.push_back(pose.meshes[0].toWorld.point(toVec(p)));
        }
        // Not where the node of a skinned mesh stands, but where its bones do. A turn about z is the same
        // here.
        const Vec3 tip = time == 0.0 ? Vec3{0.0, 2.0, 3.0} : Vec3{-1.0, 1.0, 3.0};
        EXPECT_TRUE(std::any_of(points.begin(), points.end(), [&](const Vec3& p) {
            return length(p - tip) < 1e-5;
        })) << time;
        EXPECT_TRUE(
            std::any_of(points.begin(), points.end(), [](const Vec3& p) { return length(p) < 1e-5; }));
    }
}

TEST_F(GltfFiles, RefuseWhatTheyDoNotHold) {
    const auto broken = [&](std::string json, const std::string& from, const std::string& to) {
        const std::size_t at = json.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return errorOf("a.glb", glb(json.replace(at, from.size(), to), kTriangleBytes));
    };
    const std::string json = triangleJson(R"("nodes":[{"mesh":0}])");
    EXPECT_EQ(broken(json, "\"count\":3", "\"count\":4"),
              "a.glb:/accessors/0: reaches beyond its buffer view");
    EXPECT_EQ(broken(json, "\"count\":3", "\"count\":999999999999"), "a.glb: has more than 16000000 points");
    EXPECT_EQ(broken(json, R"("bufferView":0,"componentType":5126,"type":"VEC3","count":3)",
                     R"("componentType":5126,"type":"VEC3","count":15000000)"),
              "a.glb:/accessors/0: has no buffer view and too many elements");
    EXPECT_EQ(broken(json, "\"byteLength\":56", "\"byteLength\":60"),
              "a.glb:/buffers/0: says that it has 60 bytes, but there are 56");
    EXPECT_EQ(broken(json, "\"byteOffset\":36", "\"byteOffset\":900000000000"),
              "a.glb:/bufferViews/1: reaches beyond its buffer");
    EXPECT_EQ(broken(json, "\"POSITION\":0", "\"POSITION\":7"),
              "a.glb:/meshes/0/primitives/0/attributes/POSITION: there is no element 7 in /accessors");
    EXPECT_EQ(broken(json, "\"POSITION\":0", "\"POSITION\":1"),
              "a.glb:/accessors/1/type: must be VEC3 for what it is used for");
    EXPECT_EQ(broken(json, R"("nodes":[{"mesh":0}])", R"("nodes":[{"children":[0]}])"),
              "a.glb:/nodes/0/children/0: the node hangs in two places");
    EXPECT_EQ(broken(json, R"("nodes":[{)", R"("nodes":[{"matrix":[1,0,0,0,1,1,0,0,0,0,1,0,0,0,0,1],)"),
              "a.glb:/nodes/0/matrix: shears, which no item can");
    EXPECT_EQ(
        broken(json, R"("asset")", R"("extensionsRequired":["KHR_draco_mesh_compression"],"asset")"),
        "a.glb:/extensionsRequired/0: needs the extension KHR_draco_mesh_compression, which cannot be read");
    std::string indices = kTriangleBytes;
    indices[53] = 3;
    EXPECT_EQ(errorOf("a.glb", glb(json, indices)),
              "a.glb:/meshes/0/primitives/0/indices: points to a point that is not there");
    const std::string whole = glb(json, kTriangleBytes);
    EXPECT_EQ(errorOf("a.glb", whole.substr(0, 11)), "a.glb: is cut off in its header");
    EXPECT_EQ(errorOf("a.glb", whole.substr(0, whole.size() - 4)), "a.glb: is shorter than its header says");
}

TEST_F(GltfFiles, OpenNothingButFilesBesideThem) {
    for (const std::string uri :
         {"/dev/zero", "../a.bin", "x/../../a.bin", "file:///etc/passwd", "%2e%2e/a.bin", ""}) {
        EXPECT_EQ(errorOf("a.gltf",
                          R"({"asset":{"version":"2.0"},"buffers":[{"byteLength":4,"uri":")" + uri + "\"}]}"),
                  "a.gltf:/buffers/0/uri: must be the name of a file beside this one");
    }
    ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf("a.gltf", R"({"asset":{"version":"2.0"},"buffers":[{"byteLength":4,"uri":"pipe"}]})"),
              "pipe: cannot be read, or is not a file");
    std::filesystem::rename(folder_ / "pipe", folder_ / "pipe.glb");
    std::string error;
    EXPECT_FALSE(readScene((folder_ / "pipe.glb").string(), error).has_value());
}

}  // namespace kestrel::preview
