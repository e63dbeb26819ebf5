// The object through which a script's `load` and `save` reach the host's state.
#pragma once

#include "engine/context/object_kind.h"

#include <array>
#include <cstddef>

namespace kestrel {

/// What a value of type HxioObj points to. The state itself is in the ShaderContext, for as long as the
/// script's `load` or `save` runs; at other times the methods do nothing and yield Nil.
struct StateObject {
    bool reading = false;
    bool endOfData = false;
};

/// The most characters of a line that `read` takes in.
inline constexpr std::size_t kStateLine = 511;

/// Values of type HxioObj. They have methods only: some for reading, others for writing.
class StateObjectKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {HxioObj};

    StateObjectKind();

    [[nodiscard]] std::span<ObjectInterface> interfaces() noexcept override { return interfaces_; }
    [[nodiscard]] std::string_view internalName(std::int32_t) const override { return "HxioObj"; }

protected:
    [[nodiscard]] const ObjectInterface& interfaceOf(const Variable& object) const override;
    void runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row) override;

private:
    std::array<ObjectInterface, 2> interfaces_;
};

}  // namespace kestrel
