// Items of the host's scene as values.
#pragma once

#include "engine/context/object_kind.h"
#include "host/scene_item_pool.h"

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

namespace kestrel {

/// Values of the types HxObject to ImageListObj. An HxObject has the interface of the sort of item that it
/// stands for. The other types are those of the predefined names such as LightInfo, which stand for no item:
/// they have the methods of their sort, which give Nil unless they need no item.
///
/// Records are counted and come from the script's pool. Meant: unlike those of user records, a function's
/// local variables keep their items to the next call.
/// The kind of an image that a panel's list gave. No type of a host: those that hosts give count as they are.
inline constexpr std::int32_t kImageItem = std::numeric_limits<std::int32_t>::min();

class SceneItemKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {HxObject, BoneObj, LightObj, CameraObj, SceneObj, ImageListObj};

    SceneItemKind();

    [[nodiscard]] std::span<ObjectInterface> interfaces() noexcept override { return interfaces_; }

    /// Items compare by their numbers.
    [[nodiscard]] bool compare(int op, const ValueCell& left, const ValueCell& right) const override;
    [[nodiscard]] std::string_view internalName(std::int32_t tag) const override;

    [[nodiscard]] void* assigned(EngineContext& ctx, void* object) override;
    void hold(EngineContext& ctx, void* object) override;
    void drop(EngineContext& ctx, void* object) override;
    void sweep(EngineContext& ctx) override;

protected:
    [[nodiscard]] const ObjectInterface& interfaceOf(const Variable& object) const override;
    [[nodiscard]] std::optional<bool> beginRead(EngineContext& ctx, const MemberAccess& access,
                                                ValueCell& out) override;
    [[nodiscard]] std::optional<bool> beginWrite(EngineContext& ctx, const MemberAccess& access,
                                                 const ValueCell& value, int op, ValueCell& out) override;
    void runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row) override;
    void unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) override;

private:
    enum Sort : std::size_t { kAny, kMesh, kLight, kCamera, kBone, kScene, kSorts };

    std::array<ObjectInterface, kSorts> interfaces_;
};

/// The record of a variable that holds an item; null for one that holds something else, and for an image of a
/// panel's list, about which the services of items know nothing.
[[nodiscard]] inline SceneItem* sceneItem(const Variable& variable) noexcept {
    if (variable.type != HxObject) return nullptr;
    auto* item = static_cast<SceneItem*>(variable.object);
    return item != nullptr && item->kind != kImageItem ? item : nullptr;
}

/// A new value for an item of a kind that is known.
/// @return Nil for item 0, and after reporting that there are too many
[[nodiscard]] ValueCell itemValue(EngineContext& ctx, std::int32_t kind, HostItemID item);

/// A new value for an item of a kind that the host is asked for.
/// @return Nil for item 0, when the host does not tell, and after reporting that there are too many
[[nodiscard]] ValueCell itemValue(EngineContext& ctx, HostItemID item);

/// The scene itself.
[[nodiscard]] ValueCell sceneValue(EngineContext& ctx);

}  // namespace kestrel
