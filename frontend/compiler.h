// The compile driver: one script file, its inserts and its libraries become one Program.
#pragma once

#include "engine/context.h"

#include <string_view>

namespace kestrel {

struct CompileOptions {
    /// A block comment that never ends makes the scanner wait for ever, by design. With this option the compile ends
    /// instead with a plain error at the place where the comment opens: what the command line uses.
    bool reportUnterminatedComment = false;
};

/// Compiles a script into ctx.program, with ctx.options set by its pragmas. The counters of ctx.reporter, and the
/// context's limits, are as the caller left them; the caller resets the context first.
/// @param systemPath  absolute, "\"-separated, letter case kept
/// @return 0 on success, otherwise the number of errors (messages have gone to the reporter)
int compileScript(EngineContext& ctx, std::string_view systemPath, const CompileOptions& options = {});

}  // namespace kestrel
