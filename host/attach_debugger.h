// The debugger link of a script that the host side has loaded.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// Opens the script's debugger link, before anything of it runs. Where that is not possible, as when another
/// script has the name, it runs without one.
/// @return true when it has one
/// @param link  its name; empty: what the script's debug pragma says, which may be nothing
bool attachDebugger(EngineContext& engine, std::string_view link);

}  // namespace kestrel
