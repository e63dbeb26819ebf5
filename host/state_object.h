// The object through which a script's `load` and `save` reach the host's state.
#pragma once

#include "engine/kinds/value_kind.h"

#include <cstdint>

namespace kestrel {

/// What a value of type HxioObj points to.
struct StateObject {
    bool reading = false;
    bool endOfData = false;
};

/// Values of type HxioObj.
class StateObjectKind final : public ValueKind {
public:
    static constexpr std::int32_t kTags[] = {HxioObj};

    StateObjectKind() : ValueKind("state", {}, kValueWording) {}
    [[nodiscard]] std::string_view internalName(std::int32_t) const override { return "HxioObj"; }
};

}  // namespace kestrel
