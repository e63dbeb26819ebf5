// Hints about a compiled script: what it is sure to do otherwise than it seems to.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

class SyntaxAdvice;

/// Looks through the program of a context and gives its hints to the reporter. The program has been compiled,
/// perhaps with errors, and is neither linked nor changed.
/// @param syntax       what is missing in the program after syntax errors
/// @param usesClasses  it brings in classes, which can have members of any name
void adviseOnProgram(EngineContext& ctx, SyntaxAdvice& syntax, bool usesClasses);

/// The hint about a call that names no function.
void adviseOnUnknownCall(EngineContext& ctx, SyntaxAdvice& syntax, const CodeNode& call);

}  // namespace kestrel
