// Items of the host's scene as values.
#pragma once

#include "engine/kinds/value_kind.h"
#include "host/host_interface.h"

#include <cstdint>

namespace kestrel {

/// What a value of type HxObject points to.
struct SceneItem {
    std::int32_t kind = HX_MESH;
    HostItemID item = 0;
    HostItemID childCursor = 0;  ///< the child last returned by firstChild or nextChild
};

/// Values of the types HxObject to ImageListObj.
class SceneItemKind final : public ValueKind {
public:
    static constexpr std::int32_t kTags[] = {HxObject, BoneObj, LightObj, CameraObj, SceneObj, ImageListObj};

    SceneItemKind();

    /// Items compare by their numbers.
    [[nodiscard]] bool compare(int op, const ValueCell& left, const ValueCell& right) const override;
    [[nodiscard]] std::string_view internalName(std::int32_t tag) const override;
};

}  // namespace kestrel
