// From a script to functions that can be called, and its end: what all who run scripts share.
#pragma once

#include "engine/context/context.h"
#include "frontend/compiler.h"

#include <string_view>

namespace kestrel {

/// What a script needs beyond code that compiles.
enum class Demand { Nothing, Process };

/// Forgets the context's script and compiles another. Nothing of it runs.
/// @param path  absolute, "\"-separated, letter case kept; with CompileOptions::text any name
/// @return true when it compiled; otherwise ctx.program holds what there is of it
[[nodiscard]] bool compileInto(EngineContext& ctx, std::string_view path, const CompileOptions& options);

/// After compileInto(): whether the script may run, with messages when not.
[[nodiscard]] bool mayRun(EngineContext& ctx, Demand demand);

}  // namespace kestrel
