// The shading object of `process`: a script's view of the current sample.
#pragma once

#include "engine/context/object_kind.h"

#include <string_view>

namespace kestrel {

/// Values of type ShaderObj. They carry nothing: the object always means the sample that is being evaluated.
/// A member read through a kept object outside `process` is Nil, a write does nothing.
class ShaderObjectKind final : public ObjectKind {
public:
    [[nodiscard]] int memberSlot(std::string_view name) const noexcept override;
    [[nodiscard]] int methodSlot(std::string_view name) const noexcept override;
    void readMember(EngineContext& ctx, const MemberAccess& access) override;
    void writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op) override;
    void callMethod(EngineContext& ctx, Variable& object, const CodeNode& call) override;
};

}  // namespace kestrel
