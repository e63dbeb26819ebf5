#include "host/scene_item.h"

#include "engine/operations/operators.h"
#include "host/item_members.h"
#include "host/item_methods.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

namespace kestrel {

namespace {

HostItemID itemOf(const ValueCell& object) noexcept {
    const auto* item = static_cast<const SceneItem*>(object.object);
    return item != nullptr ? item->item : 0;
}

ValueCell valueOf(EngineContext& ctx, std::int32_t kind, HostItemID item) {
    SceneItem* record = shaderContext(ctx).items.make(ctx, kind, item);
    return record != nullptr ? ValueCell::ofObject(HxObject, record) : ValueCell::ofNil();
}

constexpr KindWording kImageWording = {
    .unknownMethod = MessageId::UnknownItemMethod,
    .unknownMemberRead = MessageId::UnknownImageMember,
    .unknownMemberWrite = MessageId::UnknownImageMember,
};

/// The wording of a sort of item, of which only its name differs.
consteval KindWording itemWording(Wording<TextArg, TextArg, TextArg> unknown, Wording<TextArg> piece,
                                  Wording<TextArg> readOnly) {
    return {
        .unknownMethod = MessageId::UnknownItemMethod,
        .unknownMemberRead = unknown,
        .unknownMemberWrite = unknown,
        .pieceOfName = piece,
        .readOnly = readOnly,
        .memberIndex = MessageId::ItemIndexRange,
    };
}

constexpr KindWording kMeshWording =
    itemWording(MessageId::UnknownMeshMember, MessageId::PartOfMeshMember, MessageId::MeshReadOnly);
constexpr KindWording kLightWording =
    itemWording(MessageId::UnknownLightMember, MessageId::PartOfLightMember, MessageId::LightReadOnly);
constexpr KindWording kCameraWording =
    itemWording(MessageId::UnknownCameraMember, MessageId::PartOfCameraMember, MessageId::CameraReadOnly);
constexpr KindWording kBoneWording =
    itemWording(MessageId::UnknownBoneMember, MessageId::PartOfBoneMember, MessageId::BoneReadOnly);
constexpr KindWording kSceneWording =
    itemWording(MessageId::UnknownSceneMember, MessageId::PartOfSceneMember, MessageId::SceneReadOnly);

bool isImage(const Variable& object) noexcept {
    const auto* item = object.type == HxObject ? static_cast<const SceneItem*>(object.object) : nullptr;
    return item != nullptr && item->kind == kImageItem;
}

}  // namespace

// The first is that of image lists, which have what all items have, and no members.
SceneItemKind::SceneItemKind()
    : ObjectKind(ObjectInterface("item", {}, itemMethods(), kImageWording), {.counted = true}),
      interfaces_{ObjectInterface("item", {}, itemMethods(), kImageWording),
                  ObjectInterface("mesh object", meshMembers(), itemMethods(), kMeshWording),
                  ObjectInterface("light", lightMembers(), lightMethods(), kLightWording),
                  ObjectInterface("camera", cameraMembers(), cameraMethods(), kCameraWording),
                  ObjectInterface("bone", boneMembers(), boneMethods(), kBoneWording),
                  ObjectInterface("scene", sceneMembers(), sceneMethods(), kSceneWording)} {}

const ObjectInterface& SceneItemKind::interfaceOf(const Variable& object) const {
    switch (object.type) {
        case BoneObj:
            return interfaces_[kBone];
        case LightObj:
            return interfaces_[kLight];
        case CameraObj:
            return interfaces_[kCamera];
        case SceneObj:
            return interfaces_[kScene];
        case ImageListObj:
            return interfaces_[kAny];
        default:
            break;
    }
    if (isImage(object)) return interfaces_[kAny];
    const SceneItem* item = sceneItem(object);
    switch (item != nullptr ? item->kind : HX_MESH) {
        case HX_LIGHT:
            return interfaces_[kLight];
        case HX_CAMERA:
            return interfaces_[kCamera];
        case HX_BONE:
            return interfaces_[kBone];
        case HX_SCENE:
            return interfaces_[kScene];
        default:
            return interfaces_[kMesh];  // a host may have kinds of its own
    }
}

std::optional<bool> SceneItemKind::beginRead(EngineContext& ctx, const MemberAccess& access, ValueCell& out) {
    if (access.object->type == HxObject) {
        if (sceneItem(*access.object) != nullptr || isImage(*access.object)) return std::nullopt;
        out = ValueCell::ofNil();
        return true;
    }
    if (access.object->type == ImageListObj) return std::nullopt;
    ctx.report(MessageId::UnknownObject, access.owner(), access.object->name);
    return false;
}

std::optional<bool> SceneItemKind::beginWrite(EngineContext& ctx, const MemberAccess& access,
                                              const ValueCell&, int, ValueCell&) {
    if (access.object->type == HxObject || access.object->type == ImageListObj) return std::nullopt;
    ctx.report(MessageId::UnknownObject, access.owner(), access.object->name);
    return false;
}

void SceneItemKind::runMethod(EngineContext& ctx, const CodeNode& call, Variable& object,
                              const MethodRow& row) {
    ItemCall method(ctx, call, object, row);
    finish(method);
}

void SceneItemKind::unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) {
    // Meant: what some items have is known by name on all of them, and told of with other words and a Nil.
    if (interfaces_[kBone].method(call.name) == nullptr) return ObjectKind::unknownMethod(ctx, object, call);
    if (!ctx.need(call.argc)) return;
    ctx.report(MessageId::MethodOfOtherItems, object.ownerName(), object.name, call.operand.variable->name);
    ctx.stack.drop(call.argc);
    ctx.stack.push(ValueCell::ofNil());
}

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

void* SceneItemKind::assigned(EngineContext& ctx, void* object) {
    hold(ctx, object);
    return object;
}

void SceneItemKind::hold(EngineContext& ctx, void* object) {
    shaderContext(ctx).items.hold(ctx, static_cast<SceneItem*>(object));
}

void SceneItemKind::drop(EngineContext& ctx, void* object) {
    shaderContext(ctx).items.drop(ctx, static_cast<SceneItem*>(object));
}

void SceneItemKind::sweep(EngineContext& ctx) {
    shaderContext(ctx).items.sweep(ctx);
}

ValueCell itemValue(EngineContext& ctx, std::int32_t kind, HostItemID item) {
    return item != 0 ? valueOf(ctx, kind, item) : ValueCell::ofNil();
}

ValueCell itemValue(EngineContext& ctx, HostItemID item) {
    const auto type = shaderContext(ctx).environment.scene.operation(&SceneServices::items, &ItemInfo::type);
    if (item == 0 || type == nullptr) return ValueCell::ofNil();
    const std::int32_t kind = type(item);
    return valueOf(ctx, kind == kImageItem ? HX_MESH : kind, item);
}

ValueCell sceneValue(EngineContext& ctx) {
    return valueOf(ctx, HX_SCENE, 0);
}

}  // namespace kestrel
