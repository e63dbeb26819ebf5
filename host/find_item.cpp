#include "host/find_item.h"

#include "host/host_builtins.h"
#include "host/scene_item.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <cstdint>
#include <optional>

namespace kestrel {

namespace {

/// The kinds that getfirstitem() knows. Meant: bones are not among them, they belong to an object.
struct KindName {
    std::string_view name;
    HxItemType kind;
};
constexpr KindName kKindNames[] = {
    {"MESH", HX_MESH}, {"LIGHT", HX_LIGHT}, {"CAMERA", HX_CAMERA}, {"SCENE", HX_SCENE}};

template <class Same>
std::optional<HxItemType> kindWhere(Same&& same) {
    for (const KindName& row : kKindNames)
        if (same(row)) return row.kind;
    return std::nullopt;
}

class Search {
public:
    Search(const EngineContext& ctx, const ItemInfo& items, std::string_view name)
        : ctx_(ctx), items_(items), name_(name) {}

    [[nodiscard]] HostItemID find() {
        for (HostItemID mesh = items_.first(HX_MESH, 0); goesOn(mesh); mesh = items_.next(mesh)) {
            if (isMeant(mesh)) return mesh;
            if (const HostItemID bone = among(HX_BONE, mesh)) return bone;
        }
        return among(HX_LIGHT, 0);
    }

private:
    [[nodiscard]] HostItemID among(HxItemType type, HostItemID parent) {
        for (HostItemID item = items_.first(type, parent); goesOn(item); item = items_.next(item))
            if (isMeant(item)) return item;
        return 0;
    }
    /// A host's list that leads in a circle ends, too.
    [[nodiscard]] bool goesOn(HostItemID item) noexcept {
        return item != 0 && !ctx_.endRequested() && ++visited_ < kMostItems;
    }
    [[nodiscard]] bool isMeant(HostItemID item) const {
        const char* name = items_.name(item);
        return name != nullptr && name == name_;
    }

    const EngineContext& ctx_;
    const ItemInfo& items_;
    const std::string_view name_;
    std::size_t visited_ = 0;
};

void firstOfKind(BuiltinCall& call, const ItemInfo& items, HxItemType kind) {
    if (kind == HX_SCENE) return call.result(sceneValue(call.ctx));
    call.result(items.first != nullptr ? itemValue(call.ctx, items.first(kind, 0)) : ValueCell::ofNil());
}

}  // namespace

HostItemID findItemNamed(const EngineContext& ctx, std::string_view name) {
    const ItemInfo* items = shaderContext(ctx).environment.scene.items;
    if (items == nullptr || items->first == nullptr || items->next == nullptr || items->name == nullptr)
        return 0;
    return Search(ctx, *items, name).find();
}

void getfirstitemBuiltin(BuiltinCall& call) {
    const ItemInfo* items = shaderContext(call.ctx).environment.scene.items;
    if (items == nullptr) return call.result(ValueCell::ofNil());
    const ValueCell& which = call.arg(0);
    if (which.type == Integer) {
        const std::int64_t number = truncate(which.number);
        const auto kind = kindWhere([&](const KindName& row) { return row.kind == number; });
        return kind ? firstOfKind(call, *items, *kind) : call.failType(1);
    }
    if (!which.isText()) return call.failType(1);
    const std::string_view name = which.text != nullptr ? which.text : "";
    if (const auto kind = kindWhere([&](const KindName& row) { return row.name == name; }))
        return firstOfKind(call, *items, *kind);
    if (items->first == nullptr || items->next == nullptr || items->name == nullptr)
        return call.result(ValueCell::ofNil());
    if (const HostItemID item = findItemNamed(call.ctx, name)) return call.result(itemValue(call.ctx, item));
    if (call.ctx.endRequested()) return call.result(ValueCell::ofNil());
    call.fail(MessageId::ItemNotFound, name, call.name);
}

}  // namespace kestrel
