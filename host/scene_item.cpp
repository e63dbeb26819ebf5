#include "host/scene_item.h"

#include "engine/operations/operators.h"

namespace kestrel {

namespace {

HostItemID itemOf(const ValueCell& object) noexcept {
    const auto* item = static_cast<const SceneItem*>(object.payload.object);
    return item != nullptr ? item->item : 0;
}

}  // namespace

SceneItemKind::SceneItemKind() : ValueKind("scene item", {}, kValueWording) {}

bool SceneItemKind::compare(int op, const ValueCell& left, const ValueCell& right) const {
    return left.type == HxObject && right.type == HxObject && relation(op, itemOf(left), itemOf(right));
}

std::string_view SceneItemKind::internalName(std::int32_t tag) const {
    switch (tag) {
        case BoneObj:
            return "BoneObj";
        case LightObj:
            return "LightObj";
        case CameraObj:
            return "CameraObj";
        case SceneObj:
            return "SceneObj";
        case ImageListObj:
            return "ImageListObj";
        default:
            return {};  // an HxObject may be kept in an element
    }
}

}  // namespace kestrel
