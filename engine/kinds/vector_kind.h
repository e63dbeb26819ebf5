// The components of a Vector variable.
#pragma once

#include "engine/kinds/value_kind.h"

#include <cstdint>

namespace kestrel {

/// Values of type Vector.
class VectorKind final : public ValueKind {
public:
    static constexpr std::int32_t kTags[] = {Vector};

    VectorKind();

protected:
    /// Unlike with other objects, the value is looked at before the name. Meant.
    [[nodiscard]] std::optional<bool> beginWrite(EngineContext& ctx, const MemberAccess& access,
                                                 const ValueCell& value, int op, ValueCell& out) override;
};

}  // namespace kestrel
