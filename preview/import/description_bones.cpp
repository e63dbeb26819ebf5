#include "preview/import/description_bones.h"

#include <algorithm>

namespace kestrel::preview {

namespace {

/// A bone at rest, as a line in the space of the mesh.
struct Stick {
    Vec3 from;
    Vec3 along;

    [[nodiscard]] double squareDistance(const Vec3& point) const {
        const double size = dot(along, along);
        const double t = size > 0.0 ? std::clamp(dot(point - from, along) / size, 0.0, 1.0) : 0.0;
        const Vec3 way = point - from - along * t;
        return dot(way, way);
    }
};

/// The nearer the more, so that a joint bends within a short stretch.
Influence nearest(const std::vector<Stick>& sticks, const Vec3& point) {
    std::array<double, 4> weights{};
    Influence influence;
    for (std::size_t i = 0; i < sticks.size(); ++i) {
        const double square = std::max(1e-18, sticks[i].squareDistance(point));
        const double weight = 1.0 / (square * square);
        const auto weakest = std::min_element(weights.begin(), weights.end());
        if (weight <= *weakest) continue;
        *weakest = weight;
        influence.bone[static_cast<std::size_t>(weakest - weights.begin())] = static_cast<std::uint16_t>(i);
    }
    double sum = 0.0;
    for (const double weight : weights) sum += weight;
    for (std::size_t k = 0; k < 4; ++k) influence.weight[k] = static_cast<float>(weights[k] / sum);
    return influence;
}

/// What is left of a file's influence on a point. @return false when nothing is
bool keepKnown(Influence& influence, const std::vector<std::int32_t>& boneOf) {
    float sum = 0.0F;
    for (std::size_t k = 0; k < 4; ++k) {
        const std::int32_t bone = boneOf[influence.bone[k]];
        if (bone < 0) influence.weight[k] = 0.0F;
        influence.bone[k] = static_cast<std::uint16_t>(std::max(0, bone));
        sum += influence.weight[k];
    }
    for (float& weight : influence.weight) weight = sum > 0.0F ? weight / sum : 0.0F;
    return sum > 0.0F;
}

}  // namespace

void bindBones(Scene& scene, std::size_t first, std::size_t last) {
    std::unordered_map<HostItemID, Transform> toMesh;
    // Bones may be listed in any order: those whose parent is known are done in each round.
    std::vector<std::size_t> open;
    for (std::size_t i = first; i < last; ++i) open.push_back(i);
    while (!open.empty()) {
        std::vector<std::size_t> later;
        for (const std::size_t i : open) {
            BoneItem& bone = scene.bones[i];
            const auto above = toMesh.find(bone.item.parent);
            if (bone.item.parent != bone.mesh && above == toMesh.end()) {
                later.push_back(i);
                continue;
            }
            const Transform parent = above == toMesh.end() ? Transform{} : above->second;
            const Transform map = parent * bone.rest.at(0.0);
            bone.fromMesh = map.inverse();
            toMesh.emplace(bone.item.id, map);
        }
        if (later.size() == open.size()) return;
        open = std::move(later);
    }
}

void setInfluences(const Scene& scene, const MeshItem& mesh, std::size_t firstBone,
                   const std::vector<std::string>& fileBones, Geometry& geometry) {
    std::vector<Stick> sticks;
    std::unordered_map<std::string, std::int32_t> numbers;
    for (std::size_t i = 0; i < mesh.bones.size(); ++i) {
        const BoneItem& bone = scene.bones[firstBone + i];
        const Transform toMesh = bone.fromMesh.inverse();
        sticks.push_back({toMesh.origin, toMesh.vector({0.0, 0.0, bone.restLength})});
        numbers.emplace(bone.item.name, static_cast<std::int32_t>(i));
    }
    std::vector<std::int32_t> boneOf;
    for (const std::string& name : fileBones) {
        const auto found = numbers.find(name);
        boneOf.push_back(found == numbers.end() ? -1 : found->second);
    }
    const bool hasOwn = !geometry.influences.empty() && !fileBones.empty();
    geometry.influences.resize(geometry.points.size());
    for (std::size_t i = 0; i < geometry.points.size(); ++i) {
        if (hasOwn && keepKnown(geometry.influences[i], boneOf)) continue;
        geometry.influences[i] = nearest(sticks, toVec(geometry.points[i]));
    }
}

}  // namespace kestrel::preview
