#include "preview/import/gltf_meshes.h"

#include "preview/import/input_file.h"

#include <algorithm>
#include <array>

namespace kestrel::preview {

namespace {

constexpr int kTriangles = 4;
constexpr int kStrip = 5;  // 6 is a fan, and less than a triangle points and lines
constexpr std::uint32_t kNone = 0xFFFFFFFF;

using Triangle = std::array<std::uint32_t, 3>;

Vec3 vectorOr(const JsonValue& holder, std::string_view key, const Vec3& otherwise) {
    const std::optional<JsonValue> list = holder.find(key);
    if (!list) return otherwise;
    if (list->size() < 3) list->fail("must be a list of numbers");
    return {list->at(0).number(), list->at(1).number(), list->at(2).number()};
}

/// A value of an extension of a material.
double extra(const JsonValue& material, std::string_view extension, std::string_view key, double otherwise) {
    const std::optional<JsonValue> all = material.find("extensions");
    const std::optional<JsonValue> one = all ? all->find(extension) : std::nullopt;
    return one ? one->numberOr(key, otherwise) : otherwise;
}

double share(double value) {
    return std::clamp(value, 0.0, 1.0);
}

/// A polished metal is a mirror; a rough one looks like its colour, since mirrors here are sharp.
Surface plainSurface(const JsonValue& material) {
    Surface surface;
    double metal = 1.0;
    double opacity = 1.0;
    surface.color = {1.0, 1.0, 1.0};
    surface.roughness = 1.0;
    if (const std::optional<JsonValue> pbr = material.find("pbrMetallicRoughness")) {
        surface.color = vectorOr(*pbr, "baseColorFactor", surface.color);
        surface.roughness = share(pbr->numberOr("roughnessFactor", 1.0));
        metal = share(pbr->numberOr("metallicFactor", 1.0));
        const std::optional<JsonValue> color = pbr->find("baseColorFactor");
        if (color && color->size() > 3) opacity = share(color->at(3).number());
    }
    const double transmission =
        share(extra(material, "KHR_materials_transmission", "transmissionFactor", 0.0));
    surface.transparency = transmission;
    if (material.textOr("alphaMode", "OPAQUE") == "BLEND") {
        surface.transparency = std::max(transmission, 1.0 - opacity);
    }
    surface.eta = std::max(0.0, extra(material, "KHR_materials_ior", "ior", transmission > 0.0 ? 1.5 : 1.0));
    surface.mirror = 0.9 * metal * (1.0 - surface.roughness);
    surface.diffuse = 0.9 * (1.0 - surface.mirror) * (1.0 - transmission);
    surface.specular = 0.5 * (1.0 - surface.roughness);
    const Vec3 glow = vectorOr(material, "emissiveFactor", {});
    const double strength = extra(material, "KHR_materials_emissive_strength", "emissiveStrength", 1.0);
    surface.luminous = std::max(0.0, largest(glow) * strength);
    if (surface.luminous > 0.0) surface.color = glow * (1.0 / largest(glow));
    return surface;
}

/// Joins the primitives of a mesh.
class MeshBuilder {
public:
    MeshBuilder(const GltfFile& file, Budget& budget) : file_(file), budget_(budget) {}

    /// A primitive that consists of points or lines is left out: there is nothing to shade.
    void add(const JsonValue& primitive, std::uint16_t surface) {
        const auto mode = static_cast<int>(primitive.integerOr("mode", 0, 6, kTriangles));
        if (mode < kTriangles) return;
        const JsonValue attributes = primitive.require("attributes");
        const std::optional<JsonValue> positions = attributes.find("POSITION");
        if (!positions) return;
        const std::size_t count = file_.count(*positions);
        budget_.takePoints(count);
        const std::vector<float> points = file_.numbers(*positions, "VEC3");
        const std::vector<float> normals = vectors(attributes, "NORMAL", count);
        const std::vector<Influence> influences = readInfluences(attributes, count);
        std::vector<std::uint32_t> placeOf(count, kNone);  // of a point of the file in the geometry
        const auto firstNew = static_cast<std::uint32_t>(geometry_.points.size());
        for (const Triangle& triangle : triangles(primitive, mode, count)) {
            Triangle placed{};
            for (std::size_t corner = 0; corner < 3; ++corner) {
                std::uint32_t& place = placeOf[triangle[corner]];
                if (place == kNone)
                    place = addPoint(*positions, points, normals, influences, triangle[corner]);
                placed[corner] = place;
            }
            // Mirroring turns the winding round.
            geometry_.triangles.push_back({placed[0], placed[2], placed[1]});
            geometry_.surfaceOf.push_back(surface);
        }
        parts_.push_back({firstNew, geometry_.triangles.size(), !normals.empty()});
        hasNormals_ = hasNormals_ || !normals.empty();
        hasInfluences_ = hasInfluences_ || !influences.empty();
    }

    [[nodiscard]] std::size_t bones() const noexcept { return bones_; }

    Geometry finish(bool oneSurface) {
        if (oneSurface) release(geometry_.surfaceOf);
        if (!hasInfluences_) release(geometry_.influences);
        if (hasNormals_) {
            flattenParts();
        } else {
            release(geometry_.normals);
        }
        geometry_.points.shrink_to_fit();
        return std::move(geometry_);
    }

private:
    struct Part {
        std::uint32_t firstPoint;
        std::size_t lastTriangle;
        bool hasNormals;
    };

    std::vector<float> vectors(const JsonValue& attributes, std::string_view name, std::size_t count) const {
        const std::optional<JsonValue> reference = attributes.find(name);
        if (!reference) return {};
        if (file_.count(*reference) != count) reference->fail("has not as many elements as POSITION");
        return file_.numbers(*reference, "VEC3");
    }

    std::uint32_t addPoint(const JsonValue& positions, const std::vector<float>& points,
                           const std::vector<float>& normals, const std::vector<Influence>& influences,
                           std::uint32_t from) {
        const auto at = [from](const std::vector<float>& list) {
            return Float3{list[3 * from], list[3 * from + 1], -list[3 * from + 2]};
        };
        const Float3 point = at(points);
        if (!usable(toVec(point))) positions.fail("a coordinate is too large");
        geometry_.points.push_back(point);
        const Vec3 normal = normals.empty() ? Vec3{} : normalize(toVec(at(normals)));
        geometry_.normals.push_back(finite(normal) && length(normal) > 0.0 ? toFloat3(normal)
                                                                           : Float3{0.0F, 1.0F, 0.0F});
        geometry_.influences.push_back(influences.empty() ? Influence{} : influences[from]);
        return static_cast<std::uint32_t>(geometry_.points.size() - 1);
    }

    std::vector<Triangle> triangles(const JsonValue& primitive, int mode, std::size_t count) {
        const std::optional<JsonValue> indices = primitive.find("indices");
        const std::size_t corners = indices ? file_.count(*indices) : count;
        const std::size_t number =
            mode == kTriangles ? corners / 3 : corners - std::min<std::size_t>(corners, 2);
        budget_.takeTriangles(number);
        const std::vector<std::uint32_t> list =
            indices ? file_.integers(*indices, "SCALAR") : std::vector<std::uint32_t>{};
        const auto corner = [&](std::size_t i) {
            const std::uint32_t place = indices ? list[i] : static_cast<std::uint32_t>(i);
            if (place >= count) indices->fail("points to a point that is not there");
            return place;
        };
        std::vector<Triangle> result;
        result.reserve(number);
        for (std::size_t i = 0; i < number; ++i) {
            if (mode == kTriangles) {
                result.push_back({corner(3 * i), corner(3 * i + 1), corner(3 * i + 2)});
            } else if (mode == kStrip) {
                result.push_back({corner(i), corner(i + 1 + i % 2), corner(i + 2 - i % 2)});
            } else {
                result.push_back({corner(0), corner(i + 1), corner(i + 2)});
            }
        }
        return result;
    }

    /// Sets of four joints and weights, of which the four strongest count.
    std::vector<Influence> readInfluences(const JsonValue& attributes, std::size_t count) {
        std::vector<Influence> result;
        for (int set = 0; set < 4; ++set) {
            const std::optional<JsonValue> joints = attributes.find("JOINTS_" + std::to_string(set));
            const std::optional<JsonValue> weights = attributes.find("WEIGHTS_" + std::to_string(set));
            if (!joints || !weights) break;
            if (file_.count(*joints) != count) joints->fail("has not as many elements as POSITION");
            if (file_.count(*weights) != count) weights->fail("has not as many elements as POSITION");
            const std::vector<std::uint32_t> bones = file_.integers(*joints, "VEC4");
            const std::vector<float> shares = file_.numbers(*weights, "VEC4");
            result.resize(count);
            for (std::size_t i = 0; i < 4 * count; ++i)
                addInfluence(*joints, result[i / 4], bones[i], shares[i]);
        }
        for (Influence& influence : result) normalizeWeights(influence);
        return result;
    }

    /// Takes the place of the weakest when it is stronger.
    void addInfluence(const JsonValue& joints, Influence& influence, std::uint32_t bone, float weight) {
        if (!(weight > 0.0F)) return;
        if (bone >= ImportLimits::kBonesOfMesh) joints.fail("there is no joint " + std::to_string(bone));
        const auto weakest = std::min_element(influence.weight.begin(), influence.weight.end());
        if (weight <= *weakest) return;
        bones_ = std::max<std::size_t>(bones_, bone + 1);
        influence.bone[static_cast<std::size_t>(weakest - influence.weight.begin())] =
            static_cast<std::uint16_t>(bone);
        *weakest = weight;
    }

    /// A point that nothing moves follows the first joint: a skin must move all points.
    void normalizeWeights(Influence& influence) {
        bones_ = std::max<std::size_t>(bones_, 1);
        float sum = 0.0F;
        for (const float weight : influence.weight) sum += weight;
        if (!(sum > 0.0F)) {
            influence = {};
            influence.weight[0] = 1.0F;
            return;
        }
        for (float& weight : influence.weight) weight /= sum;
    }

    /// Parts without normals beside parts with them get points of their own for each triangle.
    void flattenParts() {
        std::size_t firstTriangle = 0;
        for (const Part& part : parts_) {
            for (std::size_t i = firstTriangle; i < part.lastTriangle && !part.hasNormals; ++i) {
                flatten(geometry_.triangles[i]);
            }
            firstTriangle = part.lastTriangle;
        }
    }

    void flatten(Triangle& triangle) {
        budget_.takePoints(3);
        const Vec3 a = toVec(geometry_.points[triangle[0]]);
        const Vec3 normal = normalize(
            cross(toVec(geometry_.points[triangle[1]]) - a, toVec(geometry_.points[triangle[2]]) - a));
        for (std::uint32_t& corner : triangle) {
            const Float3 point = geometry_.points[corner];
            geometry_.points.push_back(point);
            geometry_.normals.push_back(length(normal) > 0.0 ? toFloat3(normal) : Float3{0.0F, 1.0F, 0.0F});
            if (hasInfluences_) {
                const Influence influence = geometry_.influences[corner];
                geometry_.influences.push_back(influence);
            }
            corner = static_cast<std::uint32_t>(geometry_.points.size() - 1);
        }
    }

    const GltfFile& file_;
    Budget& budget_;
    Geometry geometry_;
    std::vector<Part> parts_;
    std::size_t bones_ = 0;
    bool hasNormals_ = false;
    bool hasInfluences_ = false;
};

}  // namespace

GltfMeshes::GltfMeshes(const GltfFile& file, Scene& scene, Budget& budget)
    : file_(file), scene_(scene), budget_(budget) {
    file_.root().forEach("materials", [this](const JsonValue& material) { addMaterial(material); });
}

void GltfMeshes::addMaterial(const JsonValue& material) {
    if (scene_.surfaces.size() >= ImportLimits::kSurfaces) material.fail("too many materials");
    SurfaceEntry& entry = scene_.surfaces.emplace_back();
    entry.name = surfaceNames_.choose(material.textOr("name", ""), "Surface");
    entry.plain = plainSurface(material);
    const std::optional<JsonValue> extras = material.find("extras");
    const std::optional<JsonValue> script =
        extras && extras->isObject() ? extras->find("kestrel") : std::nullopt;
    if (script) entry.script = pathBeside(script->file(), script->text());
}

std::int32_t GltfMeshes::surfaceOf(const JsonValue& primitive) {
    if (const std::optional<JsonValue> material = primitive.find("material")) {
        (void)file_.element("materials", *material);
        return static_cast<std::int32_t>(
            material->integer(0, static_cast<std::int64_t>(ImportLimits::kSurfaces)));
    }
    if (plainSurface_ < 0) {
        plainSurface_ = static_cast<std::int32_t>(scene_.surfaces.size());
        scene_.surfaces.push_back({surfaceNames_.choose("", "Surface"), {}, {}});
    }
    return plainSurface_;
}

const GltfMesh& GltfMeshes::mesh(const JsonValue& reference) {
    const JsonValue json = file_.element("meshes", reference);
    const auto [entry, isNew] = meshes_.try_emplace(reference.integer(0, std::int64_t{1} << 40));
    GltfMesh& mesh = entry->second;
    if (!isNew) {
        budget_.takePoints(mesh.geometry->points.size());
        budget_.takeTriangles(mesh.geometry->triangles.size());
        return mesh;
    }
    MeshBuilder builder(file_, budget_);
    std::unordered_map<std::int32_t, std::uint16_t> places;
    json.forEach("primitives", [&](const JsonValue& primitive) {
        const std::int32_t surface = surfaceOf(primitive);
        const auto [place, added] = places.emplace(surface, static_cast<std::uint16_t>(mesh.surfaces.size()));
        if (added) mesh.surfaces.push_back(surface);
        builder.add(primitive, place->second);
    });
    mesh.bones = builder.bones();
    mesh.geometry = std::make_shared<const Geometry>(builder.finish(mesh.surfaces.size() < 2));
    return mesh;
}

}  // namespace kestrel::preview
