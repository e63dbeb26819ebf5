// What scripts can ask of the items of the host's scene with arguments.
#pragma once

#include "engine/context/object_kind.h"
#include "host/scene_item.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <span>

namespace kestrel {

// All but the scene have the methods of items, and some have more.
[[nodiscard]] std::span<const MethodRow> itemMethods() noexcept;
[[nodiscard]] std::span<const MethodRow> lightMethods() noexcept;
[[nodiscard]] std::span<const MethodRow> cameraMethods() noexcept;
[[nodiscard]] std::span<const MethodRow> boneMethods() noexcept;
[[nodiscard]] std::span<const MethodRow> sceneMethods() noexcept;

/// A method call on an item.
class ItemCall : public MethodCall {
public:
    ItemCall(EngineContext& context, const CodeNode& call, Variable& variable, const MethodRow& methodRow)
        : MethodCall(context, call, variable, methodRow),
          services(shaderContext(context).environment.scene),
          self(sceneItem(variable)) {}

    const SceneServices& services;
    SceneItem* const self;  ///< null where the object stands for no item

    /// @return 0 without an item
    [[nodiscard]] HostItemID item() const noexcept { return self != nullptr ? self->item : 0; }
    void resultNil() { result(ValueCell::ofNil()); }
};

}  // namespace kestrel
