// The script's side of a debugger link.
#pragma once

#include "engine/context/context.h"
#include "ipc/debug_stops.h"

#include <string_view>

namespace kestrel {

/// Opens the link that a debugger finds by its name, for a script that is ready to run: from then on it
/// pauses at its first line, and its messages go to the debugger. The link belongs to the script's context
/// and ends when the script is unloaded. Copies of the process have none.
/// @param pixel  tells the pixel of the sample that is being shaded; may be empty
/// @return false when there is no link: the name is empty or a living script has it, or memory cannot be
/// shared
[[nodiscard]] bool openDebugLink(EngineContext& ctx, std::string_view name, debug::PixelFinder pixel = {});

/// True while a living script has the link of that name.
[[nodiscard]] bool debugLinkTaken(std::string_view name);

}  // namespace kestrel
