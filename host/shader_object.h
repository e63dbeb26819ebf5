// The shading object of a host: beside the members of the sample, light and rays.
#pragma once

#include "script/sample_kind.h"

#include <cstdint>

namespace kestrel {

class ShaderObjectKind final : public SampleKind {
public:
    ShaderObjectKind();
};

/// The item that is shaded, for SampleContext::item.
[[nodiscard]] ValueCell shadedItem(EngineContext& ctx, std::uint32_t number);

}  // namespace kestrel
