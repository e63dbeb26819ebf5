#include "host/used_items.h"

#include "host/script_environment.h"

#include <cstddef>
#include <vector>

namespace kestrel {

namespace {

constexpr const char* kCameraName = "Camera";

class Walk {
public:
    Walk(const EngineContext& ctx, const ItemInfo& items, const EffectedBy& names,
         std::vector<HostItemID>& found)
        : ctx_(ctx), items_(items), names_(names), found_(found) {}

    /// @return false when it was ended
    [[nodiscard]] bool walk() {
        for (HostItemID mesh = items_.first(HX_MESH, 0); mesh != 0; mesh = items_.next(mesh)) {
            if (!goesOn() || !takesAnother()) return false;
            if (isNamed(mesh))
                found_.push_back(mesh);
            else if (!walkBones(mesh))
                return false;
        }
        for (HostItemID light = items_.first(HX_LIGHT, 0); light != 0; light = items_.next(light)) {
            if (!goesOn() || !takesAnother()) return false;
            if (isNamed(light)) found_.push_back(light);
        }
        if (names_.has(kCameraName)) {
            if (const HostItemID camera = items_.first(HX_CAMERA, 0)) found_.push_back(camera);
        }
        return true;
    }

private:
    /// Meant: a bone that was not declared is looked at again, for ever.
    [[nodiscard]] bool walkBones(HostItemID mesh) {
        HostItemID bone = items_.first(HX_BONE, mesh);
        while (bone != 0) {
            if (!goesOn()) return false;
            if (!isNamed(bone)) continue;
            if (!takesAnother()) return false;
            found_.push_back(bone);
            bone = items_.next(bone);
        }
        return true;
    }

    [[nodiscard]] bool isNamed(HostItemID item) const { return names_.has(items_.name(item)); }
    [[nodiscard]] bool goesOn() const noexcept { return !ctx_.endRequested(); }
    /// A host's list that leads in a circle ends.
    [[nodiscard]] bool takesAnother() noexcept { return ++visited_ < kMostItems; }

    const EngineContext& ctx_;
    const ItemInfo& items_;
    const EffectedBy& names_;
    std::vector<HostItemID>& found_;
    std::size_t visited_ = 0;
};

}  // namespace

const HostItemID* findUsedItems(EngineContext& ctx, ShaderContext& host) {
    std::vector<HostItemID>& found = host.usedItems;
    found.clear();
    const ItemInfo* items = host.environment.scene.items;
    if (!host.effectedBy.declared() || items == nullptr || items->first == nullptr ||
        items->next == nullptr || items->name == nullptr)
        return nullptr;
    if (!Walk(ctx, *items, host.effectedBy, found).walk()) {
        found = {};
        return nullptr;
    }
    found.push_back(0);
    return found.data();
}

}  // namespace kestrel
