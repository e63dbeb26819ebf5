// From a compiled program to one that can run.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Checks that a compiled program has the function "process", which hosts demand of every script; reports
/// that it is missing.
[[nodiscard]] bool checkProcess(EngineContext& ctx);

/// Checks a compiled program: every "::name", every undeclared name (strict mode). Reports each problem.
/// @return true when there is none
[[nodiscard]] bool checkNames(EngineContext& ctx);

/// Both; what lacks a "process" is not looked at any further.
/// @return true when there is no problem
[[nodiscard]] bool checkProgram(EngineContext& ctx);

/// Resolves every jump target, loop top, callee and "::name" into the nodes' link fields, unless that has
/// been done.
void linkProgram(EngineContext& ctx);

/// Runs the code outside functions once, in source order; a stretch that aborts does not keep later ones from
/// running.
void runTopLevel(EngineContext& ctx);

/// Reports locals and globals that were never assigned (pragma "unused"). Call before
/// EngineContext::reset().
/// @return false when there was nothing to report: the caller then shows
///         "No unused variables detected" after the teardown. The caller checks whether the script asked for
///         it.
bool unusedReport(EngineContext& ctx);

/// The unload of a script: unused-variable report, then reset().
void unloadScript(EngineContext& ctx);

}  // namespace kestrel
