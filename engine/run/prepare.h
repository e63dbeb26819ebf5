// From a compiled program to one that can run.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Checks a compiled program: every "::name", every undeclared name (strict mode). Reports each problem.
/// @return true when there is none
[[nodiscard]] bool checkNames(EngineContext& ctx);

/// The same, after a look for the function "process", which hosts demand of every script; what lacks it is
/// not looked at any further.
/// @return true when there is no problem
[[nodiscard]] bool checkProgram(EngineContext& ctx);

/// Resolves every jump target, loop top, callee and "::name" into the nodes' link fields, unless that has
/// been done.
void linkProgram(EngineContext& ctx);

/// Runs the code outside functions once, in source order; a stretch that aborts does not keep later ones from
/// running.
void runTopLevel(EngineContext& ctx);

/// The unload of a script: reset(), and before it, where the script asks for it (pragma "unused"), a report
/// of the locals and globals that were never assigned; "No unused variables detected" comes after it.
void unloadScript(EngineContext& ctx);

}  // namespace kestrel
