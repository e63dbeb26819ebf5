#include "preview/import/mesh_file.h"

#include "preview/import/gltf_reader.h"
#include "preview/import/input_file.h"
#include "preview/import/obj_reader.h"
#include "preview/scene/pose.h"

namespace kestrel::preview {

namespace {

/// Joins posed meshes. Lists that only some of them have are filled up for the others.
class MeshJoiner {
public:
    MeshJoiner(const Scene& scene, const SceneIndex& index, MeshFile& joined)
        : scene_(scene), index_(index), joined_(joined), places_(scene.surfaces.size(), -1) {}

    void add(const PosedMesh& posed, const Geometry& source) {
        Geometry& all = joined_.geometry;
        const auto firstPoint = static_cast<std::uint32_t>(all.points.size());
        for (const Float3& point : source.points) {
            all.points.push_back(toFloat3(posed.toWorld.point(toVec(point))));
        }
        addNormals(posed, source);
        addInfluences(*posed.mesh, source);
        const bool mirrors = posed.toWorld.determinant() < 0.0;
        for (std::uint32_t i = 0; i < source.triangles.size(); ++i) {
            std::array<std::uint32_t, 3> triangle = source.triangles[i];
            if (mirrors) std::swap(triangle[1], triangle[2]);
            for (std::uint32_t& corner : triangle) corner += firstPoint;
            all.triangles.push_back(triangle);
            all.polygonOf.push_back(joined_.polygons + source.polygon(i));
            all.surfaceOf.push_back(surfacePlace(*posed.mesh, source.surface(i)));
        }
        joined_.points += posed.mesh->points;
        joined_.polygons += posed.mesh->polygons;
    }

    void finish() {
        Geometry& all = joined_.geometry;
        if (!all.normals.empty()) all.normals.resize(all.points.size(), {0.0F, 1.0F, 0.0F});
        if (!all.influences.empty()) all.influences.resize(all.points.size());
    }

private:
    void addNormals(const PosedMesh& posed, const Geometry& source) {
        Geometry& all = joined_.geometry;
        if (source.normals.empty()) return;
        all.normals.resize(all.points.size() - source.points.size(), {0.0F, 1.0F, 0.0F});
        for (const Float3& normal : source.normals) {
            all.normals.push_back(toFloat3(posed.toWorld.normal(toVec(normal))));
        }
    }

    void addInfluences(const MeshItem& mesh, const Geometry& source) {
        Geometry& all = joined_.geometry;
        if (source.influences.empty() || mesh.bones.empty()) return;
        all.influences.resize(all.points.size() - source.points.size());
        if (joined_.bones.size() + mesh.bones.size() > 0xFFFF) {
            throw ImportError(mesh.filename, "", "has too many bones");
        }
        const auto first = static_cast<std::uint16_t>(joined_.bones.size());
        for (const HostItemID bone : mesh.bones) joined_.bones.push_back(index_.item(bone)->name);
        for (Influence influence : source.influences) {
            for (std::uint16_t& bone : influence.bone) bone = static_cast<std::uint16_t>(bone + first);
            all.influences.push_back(influence);
        }
    }

    std::uint16_t surfacePlace(const MeshItem& mesh, std::uint16_t place) {
        const auto number = static_cast<std::size_t>(mesh.surfaces[place]);
        if (places_[number] < 0) {
            places_[number] = static_cast<std::int32_t>(joined_.surfaces.size());
            joined_.surfaces.push_back(scene_.surfaces[number]);
        }
        return static_cast<std::uint16_t>(places_[number]);
    }

    const Scene& scene_;
    const SceneIndex& index_;
    MeshFile& joined_;
    std::vector<std::int32_t> places_;  // of the scene's surfaces among those that are used
};

/// Flat triangles beside smooth ones: a point that several flat ones share cannot have the normals of all.
bool isMixed(const Pose& pose) {
    bool flat = false;
    bool smooth = false;
    for (const PosedMesh& posed : pose.meshes) {
        if (posed.geometry == nullptr) continue;
        flat = flat || posed.geometry->normals.empty();
        smooth = smooth || !posed.geometry->normals.empty();
    }
    return flat && smooth;
}

Geometry withFlatNormals(const Geometry& source, Budget& budget) {
    Geometry flat = source;
    budget.takePoints(3 * source.triangles.size());
    flat.points.clear();
    flat.influences.clear();
    for (std::array<std::uint32_t, 3>& triangle : flat.triangles) {
        const Vec3 a = toVec(source.points[triangle[0]]);
        const Vec3 normal =
            normalize(cross(toVec(source.points[triangle[1]]) - a, toVec(source.points[triangle[2]]) - a));
        for (std::uint32_t& corner : triangle) {
            flat.points.push_back(source.points[corner]);
            flat.normals.push_back(length(normal) > 0.0 ? toFloat3(normal) : Float3{0.0F, 1.0F, 0.0F});
            if (!source.influences.empty()) flat.influences.push_back(source.influences[corner]);
            corner = static_cast<std::uint32_t>(flat.points.size() - 1);
        }
    }
    return flat;
}

}  // namespace

MeshFile readMeshFile(const std::string& nativePath, bool wantsBones, Budget& budget) {
    const std::string extension = extensionOf(nativePath);
    const bool isObj = extension == ".obj";
    if (!isObj && extension != ".gltf" && extension != ".glb") {
        throw ImportError(nativePath, "", "is no mesh that can be read; known are .obj, .gltf and .glb");
    }
    const Scene scene = isObj ? readObj(nativePath, budget) : readGltf(nativePath, budget);
    const SceneIndex index(scene);
    const Pose pose(index, 0.0);
    MeshFile file;
    MeshJoiner joiner(scene, index, file);
    const bool mixed = isMixed(pose);
    for (const PosedMesh& posed : pose.meshes) {
        const Geometry* source = wantsBones ? posed.mesh->geometry.get() : posed.geometry.get();
        if (source == nullptr) continue;
        const bool flatten = mixed && source->normals.empty();
        joiner.add(posed, flatten ? withFlatNormals(*source, budget) : *source);
    }
    joiner.finish();
    for (const Float3& point : file.geometry.points) {
        if (!usable(toVec(point))) throw ImportError(nativePath, "", "a coordinate is too large");
    }
    if (!wantsBones) {
        release(file.geometry.influences);
        file.bones.clear();
    }
    return file;
}

}  // namespace kestrel::preview
