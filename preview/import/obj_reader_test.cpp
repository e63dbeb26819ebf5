#include "preview/import/polygon.h"
#include "preview/import/scene_fixture.h"
#include "preview/scene/pose.h"

namespace kestrel::preview {

using ObjFiles = SceneFiles;

namespace {

Vec3 faceNormal(const Geometry& geometry, std::size_t triangle) {
    const auto& [a, b, c] = geometry.triangles[triangle];
    const Vec3 origin = toVec(geometry.points[a]);
    return cross(toVec(geometry.points[b]) - origin, toVec(geometry.points[c]) - origin);
}

}  // namespace

TEST_F(ObjFiles, AreMirroredAndKeepTheirPolygonsAndMaterials) {
    write("m.mtl", "newmtl Red\nKd 1 0 0\nKe 0 0 0\nd 0.25\nNi 1.5\nkestrel ../red.ks\n");
    const Scene scene = read(write("quad.OBJ",
                                   "# a quad that faces +z and a triangle\r\nmtllib m.mtl\r\no Leaf\n"
                                   "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 -2\n"
                                   "usemtl Red\nf 1 2 3 \\\n 4\nusemtl Other\nf -5/1 -4/2 -1/3\nf 1 2\n"));
    ASSERT_EQ(scene.meshes.size(), 1U);
    const MeshItem& mesh = scene.meshes[0];
    EXPECT_EQ(mesh.item.name, "Leaf");
    EXPECT_EQ(mesh.item.id, 0x01000001U);
    EXPECT_EQ(mesh.points, 5);
    EXPECT_EQ(mesh.polygons, 2);
    const Geometry& geometry = *mesh.geometry;
    ASSERT_EQ(geometry.triangles.size(), 3U);
    EXPECT_EQ(geometry.polygonOf, (std::vector<std::int32_t>{0, 0, 1}));
    EXPECT_TRUE(geometry.normals.empty()) << "flat";
    EXPECT_LT(faceNormal(geometry, 0).z, 0.0) << "what faced +z faces -z";
    EXPECT_LT(faceNormal(geometry, 1).z, 0.0);
    EXPECT_EQ(geometry.points[4].z, 2.0F);
    EXPECT_EQ(geometry.surfaceOf, (std::vector<std::uint16_t>{0, 0, 1}));
    ASSERT_EQ(scene.surfaces.size(), 2U);
    EXPECT_EQ(scene.surfaces[0].name, "Red");
    EXPECT_EQ(scene.surfaces[0].plain.transparency, 0.75);
    EXPECT_EQ(scene.surfaces[0].plain.eta, 1.5);
    EXPECT_EQ(std::filesystem::path(scene.surfaces[0].script), folder_.parent_path() / "red.ks");
}

TEST_F(ObjFiles, SmoothWhatIsOneGroupAndLeaveTheRestFlat) {
    // Two walls of a corner that are smooth together, and a third that is not.
    const Scene scene = read(write("corner.obj",
                                   "v 0 0 0\nv 0 1 0\nv 1 0 0\nv 0 0 1\n"
                                   "s 1\nf 1 2 3\nf 1 4 2\ns off\nf 1 3 4\n"));
    const Geometry& geometry = *scene.meshes.at(0).geometry;
    ASSERT_EQ(geometry.normals.size(), geometry.points.size());
    EXPECT_EQ(scene.meshes[0].points, 4);
    const Vec3 shared = toVec(geometry.normals[geometry.triangles[0][0]]);
    EXPECT_LT(length(shared - normalize(Vec3{1.0, 0.0, -1.0} * -1.0)), 1e-6)
        << shared.x << " " << shared.y << " " << shared.z;
    const Vec3 flat = toVec(geometry.normals[geometry.triangles[2][0]]);
    EXPECT_LT(length(flat - normalize(faceNormal(geometry, 2))), 1e-6);
}

TEST_F(ObjFiles, GiveGroupsNamesAndALightAndACameraThatSeesAll) {
    const Scene scene =
        read(write("groups.obj",
                   "v 0 0 0\nv 100 0 0\nv 0 10 0\nv 0 0 -7\ng a\nf 1 2 3\ng b\nf 1 2 4\ng a\nf 2 3 4\n"
                   "g\nf 1 3 4\n"));
    ASSERT_EQ(scene.meshes.size(), 3U);
    EXPECT_EQ(scene.meshes[0].item.name, "a");
    EXPECT_EQ(scene.meshes[0].polygons, 2);
    EXPECT_EQ(scene.meshes[2].item.name, "Mesh 1");
    ASSERT_EQ(scene.lights.size(), 1U);
    EXPECT_EQ(scene.lights[0].item.name, "Key");
    const SceneIndex index(scene);
    const Pose pose(index, 0.0);
    const double covered = std::tan(0.5 * pose.camera.verticalFov);
    for (const PosedMesh& mesh : pose.meshes) {
        for (const Float3& point : mesh.geometry->points) {
            const Vec3 seen = pose.camera.axes.toObject(toVec(point) - pose.camera.position);
            EXPECT_GT(seen.z, 0.0);
            EXPECT_LT(std::max(std::abs(seen.x), std::abs(seen.y)), covered * seen.z);
        }
    }
}

TEST_F(ObjFiles, SayInWhichLineTheyAreBroken) {
    EXPECT_EQ(errorOf("a.obj", "v 0 0 0\nv 1 x 0\n"), "a.obj:2: \"x\" is no number that can be used");
    EXPECT_EQ(errorOf("a.obj", "v 0 0\n"), "a.obj:1: a number is missing");
    EXPECT_EQ(errorOf("a.obj", "v 0 0 nan\n"), "a.obj:1: \"nan\" is no number that can be used");
    EXPECT_EQ(errorOf("a.obj", "v 0 0 1e30\n"), "a.obj:1: a coordinate is too large");
    EXPECT_EQ(errorOf("a.obj", "v 0 0 0\nf 1 1 2\n"), "a.obj:2: there is no point \"2\"");
    EXPECT_EQ(errorOf("a.obj", "v 0 0 0\nf 0 1 1\n"), "a.obj:2: there is no point \"0\"");
    EXPECT_EQ(errorOf("a.obj", "v 0 0 0\nf 1//1 1 1\n"), "a.obj:2: there is no normal \"1\"");
    write("m.mtl", "newmtl a\nKd 1 0\n");
    EXPECT_EQ(errorOf("a.obj", "mtllib m.mtl\n"), "m.mtl:2: a number is missing");
}

TEST(Polygons, ConcaveOnesKeepTheirShape) {
    // A comb of five teeth: ear by ear, the area is the polygon's, and every triangle turns as it does.
    std::vector<Vec3> comb{{0.0, 0.0, 0.0}, {10.0, 0.0, 0.0}};
    for (int tooth = 5; tooth-- > 0;) {
        comb.push_back({2.0 * tooth + 2.0, 5.0, 0.0});
        comb.push_back({2.0 * tooth + 1.0, 1.0, 0.0});
    }
    std::vector<std::array<std::uint32_t, 3>> triangles;
    triangulate(comb, triangles);
    ASSERT_EQ(triangles.size(), comb.size() - 2);
    double area = 0.0;
    for (const auto& [a, b, c] : triangles) {
        const double part = 0.5 * cross(comb[b] - comb[a], comb[c] - comb[a]).z;
        EXPECT_GE(part, 0.0);
        area += part;
    }
    double whole = 0.0;
    for (std::size_t i = 0; i < comb.size(); ++i)
        whole += 0.5 * cross(comb[i], comb[(i + 1) % comb.size()]).z;
    EXPECT_NEAR(area, whole, 1e-9);
}

}  // namespace kestrel::preview
