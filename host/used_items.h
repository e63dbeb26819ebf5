// Which items of the scene affect a surface, for the host.
#pragma once

#include "engine/context/context.h"
#include "host/host_interface.h"
#include "host/shader_context.h"

namespace kestrel {

/// The items whose names the script declared with effectedby(), ending with 0. The array lies in the
/// context until the next call.
///
/// Meant: this does not return while a mesh object whose own name was not declared has a bone whose name was
/// not declared either, since the walk stays at that bone. Only the run's watch ends it.
/// @return null when nothing was declared, when the host does not tell, and when the watch ended the walk
[[nodiscard]] const HostItemID* findUsedItems(EngineContext& ctx, ShaderContext& host);

}  // namespace kestrel
