#include "preview/scene/scene.h"

namespace kestrel::preview {

SceneIndex::SceneIndex(const Scene& scene) : scene_(scene) {
    HostItemID previous = 0;
    const auto enter = [&](auto& table, const auto& entry) {
        table.emplace(entry.item.id, &entry);
        items_.emplace(entry.item.id, &entry.item);
        if (previous != 0) next_.emplace(previous, entry.item.id);
        previous = entry.item.id;
        if (entry.item.parent == 0) return;
        std::vector<HostItemID>& siblings = children_[entry.item.parent];
        if (!siblings.empty()) nextSibling_.emplace(siblings.back(), entry.item.id);
        siblings.push_back(entry.item.id);
    };
    for (const MeshItem& mesh : scene.meshes) enter(meshes_, mesh);
    previous = 0;
    for (const LightItem& light : scene.lights) enter(lights_, light);
    previous = 0;
    for (const CameraItem& camera : scene.cameras) enter(cameras_, camera);
    HostItemID mesh = 0;
    for (const BoneItem& bone : scene.bones) {
        if (bone.mesh != mesh) {
            previous = 0;
            mesh = bone.mesh;
            firstBone_.emplace(mesh, bone.item.id);
        }
        enter(bones_, bone);
    }
}

const Item* SceneIndex::item(HostItemID id) const {
    return find(items_, id);
}

HostItemID SceneIndex::first(std::int32_t type, HostItemID parent) const {
    switch (type) {
        case HX_MESH:
            return scene_.meshes.empty() ? 0 : scene_.meshes.front().item.id;
        case HX_LIGHT:
            return scene_.lights.empty() ? 0 : scene_.lights.front().item.id;
        case HX_CAMERA:
            return scene_.cameras.empty() ? 0 : scene_.cameras.front().item.id;
        case HX_BONE: {
            const auto found = firstBone_.find(parent);
            return found == firstBone_.end() ? 0 : found->second;
        }
        default:
            return 0;
    }
}

HostItemID SceneIndex::next(HostItemID id) const {
    const auto found = next_.find(id);
    return found == next_.end() ? 0 : found->second;
}

HostItemID SceneIndex::firstChild(HostItemID id) const {
    const std::vector<HostItemID>& all = children(id);
    return all.empty() ? 0 : all.front();
}

HostItemID SceneIndex::nextChild(HostItemID id, HostItemID child) const {
    const Item* previous = item(child);
    if (previous == nullptr || previous->parent != id) return 0;
    const auto found = nextSibling_.find(child);
    return found == nextSibling_.end() ? 0 : found->second;
}

const std::vector<HostItemID>& SceneIndex::children(HostItemID id) const {
    static const std::vector<HostItemID> none;
    const auto found = children_.find(id);
    return found == children_.end() ? none : found->second;
}

}  // namespace kestrel::preview
