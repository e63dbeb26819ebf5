// Looking into a picture instead of rendering it.
#pragma once

#include "cli/render_frames.h"

namespace kestrel::cli {

/// Renders the middle of one pixel and shows each sample that a script shaded on the way: what it saw, and
/// what it made of it. Ends the session.
void showPixel(ModuleSession& session, const RenderTask& task, std::int32_t x, std::int32_t y, bool json);

/// Renders the picture's samples in order up to the first pixel where a script writes a number that is not
/// finite, and names it; the exit status is kExitScriptFailed then. Ends the session.
void findBadNumber(ModuleSession& session, const RenderTask& task, Invocation& invocation);

}  // namespace kestrel::cli
