// The dispatch loop. Who wants to run something asks entry.h.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Executes from `start` up to, not including, `end` in the frame on top: with the debugger's line hook where
/// there is one.
void execute(EngineContext& ctx, const CodeNode* start, const CodeNode* end);

/// True for instructions that a line hook is told of when they begin another line: not for loops that go
/// round, nor for the start of a function.
[[nodiscard]] bool beginsLine(const CodeNode& node) noexcept;

}  // namespace kestrel
