// Finding items of the host's scene by their names.
#pragma once

#include "engine/context/context.h"
#include "host/host_interface.h"

#include <string_view>

namespace kestrel {

/// Looks through the mesh objects, after each through its bones, then through the lights; cameras are not
/// looked at. Gives up when whoever watches the run wants it to end: a host's list may lead in a circle.
/// @return 0 when there is no such item, or the host does not tell
[[nodiscard]] HostItemID findItemNamed(const EngineContext& ctx, std::string_view name);

}  // namespace kestrel
