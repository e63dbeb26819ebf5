// The instructions of the loop that are more than a line: what interpreter.cpp dispatches to.
//
// An instruction that jumps returns the node *before* the one to execute next (often a marker); the loop then
// goes on with its successor. An instruction that fails reports, sets the abort flag and leaves the rest to
// the loop.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

// --- loads, references, unary operators, selector (instructions.cpp)
void loadVariable(EngineContext& ctx, Variable& variable);
/// OP_VAR in one of its special modes. Returns the node to continue after.
const CodeNode* executeVariable(EngineContext& ctx, const CodeNode* node);
/// OP_POSTINC ... OP_PREINC.
void executeIncrement(EngineContext& ctx, const CodeNode& node);
void executeNegate(EngineContext& ctx, const CodeNode& node);
void executeNot(EngineContext& ctx, const CodeNode& node);
void executeLogical(EngineContext& ctx, bool isAnd);
void executeVector(EngineContext& ctx);
void executeSelector(EngineContext& ctx);

// --- loops, switch, select (control.cpp)
const CodeNode* executeWhile(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeEndWhile(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeForTest(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeEndFor(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeForBody(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeBreak(EngineContext& ctx, const CodeNode* node);
/// @return null when there is no loop: the whole run ends
const CodeNode* executeContinue(EngineContext& ctx);
const CodeNode* executeCase(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeWhen(EngineContext& ctx, const CodeNode* node);
const CodeNode* executeEndWhen(EngineContext& ctx, const CodeNode* node);
void executeEndSwitch(EngineContext& ctx);
/// Opens a control entry, or reports that the frame holds ten already.
bool pushControl(EngineContext& ctx, const CodeNode* node);
/// Polls for a request from outside to end the run; called wherever a script can go round in circles, and
/// after calls, which may have waited.
inline void pollWatch(EngineContext& ctx) noexcept {
    RunWatch* watch = ctx.services.watch;
    if (watch == nullptr || watch->requested == 0) [[likely]]
        return;
    watch->line = ctx.run.currentLine;
    ctx.run.stop = true;
    ctx.run.abort = true;
}

// --- calls (calls.cpp)
const CodeNode* executeCall(EngineContext& ctx, const CodeNode* node);
/// OP_FUNC: binds the arguments of the innermost call to its parameters.
void executeFunctionEntry(EngineContext& ctx);
/// OP_RETURN. @return the node before the function's end
const CodeNode* executeReturn(EngineContext& ctx, const CodeNode* node);
/// OP_ENDFUNC. @return the calling node
const CodeNode* executeFunctionEnd(EngineContext& ctx, const CodeNode* node);
/// Lets the variables of a function whose activation is over let go of the objects that end with it.
void endOwnedObjects(EngineContext& ctx, FunctionRecord& function);
inline void releaseOwnedObjects(EngineContext& ctx, FunctionRecord& function) {
    if (function.ownsObjects) [[unlikely]]
        endOwnedObjects(ctx, function);
}
/// Drops what a function leaves that did not end with `return`.
void settleResults(EngineContext& ctx);

}  // namespace kestrel
