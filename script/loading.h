// From a script to functions that can be called: what all who run scripts share, in the order of its steps.
#pragma once

#include "engine/context/context.h"
#include "frontend/compiler.h"

#include <functional>
#include <span>
#include <string_view>

namespace kestrel {

/// Forgets the context's script and compiles another. Nothing of it runs.
/// @param path  absolute, "\"-separated, letter case kept; with CompileOptions::text any name
/// @return true when it compiled; otherwise ctx.program holds what there is of it
[[nodiscard]] bool compileInto(EngineContext& ctx, std::string_view path, const CompileOptions& options = {});

/// What a script needs beyond code that compiles.
enum class Demand {
    Nothing,  ///< has been checked already, or runs whatever it is
    Names,    ///< every name that it uses is there
    Process,  ///< and the function that hosts call
};

/// After compileInto(): checks the script, with messages, and makes one that is good ready to run. Twice is
/// once.
[[nodiscard]] bool prepare(EngineContext& ctx, Demand demand);

/// After prepare(): runs the code outside functions.
/// @param assign  gives globals their values from outside: before, so that the code can ask for them, and
///                afterwards once more, so that its defaults do not win
/// @return the abort flag (false = success)
bool start(EngineContext& ctx, const std::function<void()>& assign = {});

/// After start(): calls a function and forgets its results.
/// @return the abort flag (false = success)
bool callFunction(EngineContext& ctx, FunctionRecord& function, std::span<const ValueCell> arguments = {});

}  // namespace kestrel
