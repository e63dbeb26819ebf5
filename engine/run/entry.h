// Where a run begins.
#pragma once

#include "engine/context/context.h"

#include <span>

namespace kestrel {

/// Executes from `start` up to, not including, `end` as a nested run with a frame of its own.
/// @return the abort flag (false = success)
bool run(EngineContext& ctx, const CodeNode* start, const CodeNode* end);

/// Runs the function "main" with its handlers ONERROR and ONEXIT. Without a "main" nothing happens.
/// @return the abort flag as it stands afterwards
bool runMain(EngineContext& ctx);

/// Calls one script function for the host: pushes the arguments, runs it and ends the call. Its results are
/// left on the stack, from cell 0 up, to the end of the caller's CallScope.
/// @return the abort flag
bool invoke(EngineContext& ctx, FunctionRecord& function, std::span<const ValueCell> args);

}  // namespace kestrel
