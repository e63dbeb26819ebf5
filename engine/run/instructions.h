// The instructions of the loop that are more than a line: what interpreter.cpp dispatches to.
//
// An instruction that jumps returns the node *before* the one to execute next (often a marker); the loop then
// goes on with its successor. An instruction that fails reports, sets the abort flag and leaves the rest to
// the loop.
#pragma once

#include "engine/context/context.h"
#include "engine/operations/operators.h"

namespace kestrel {

// --- operators and the selector (instructions.cpp)
/// Replaces the top two cells L, R by `L op R`. An unsupported pair of types is "illegal arithmetic operation
/// on data type" and aborts; a reference to an array element on the left leaves L as it is.
void arithmeticByType(EngineContext& ctx, int op);
/// The same, quick for numbers.
inline void arithmetic(EngineContext& ctx, int op) {
    if (!ctx.need(2)) [[unlikely]]
        return;
    ValueCell& left = ctx.stack.top(1);
    const ValueCell& right = ctx.stack.top(0);
    if (left.isNumeric() && right.isNumeric() && applyToNumbers(op, left, right.type, right.number))
        [[likely]]
        ctx.stack.forgetTo(ctx.stack.size() - 1);
    else
        arithmeticByType(ctx, op);
}
/// Replaces the top two cells by Integer 0 or 1 (OP_LT ... OP_NE). Never reports.
inline void compare(EngineContext& ctx, int op) {
    if (!ctx.need(2)) [[unlikely]]
        return;
    ValueCell& left = ctx.stack.top(1);
    const ValueCell& right = ctx.stack.top(0);
    if (left.isNumeric() && right.isNumeric()) [[likely]] {
        left.setScalar(Integer, compareNumeric(op, left, right) ? 1.0 : 0.0);
        ctx.stack.forgetTo(ctx.stack.size() - 1);
        return;
    }
    const bool holds = compareValues(ctx, op, left, right);
    ctx.stack.drop(2);
    ctx.stack.push(ValueCell::ofBool(holds));
}
void executeNegate(EngineContext& ctx, const CodeNode& node);
void executeNot(EngineContext& ctx, const CodeNode& node);
void executeLogical(EngineContext& ctx, bool isAnd);
void executeVector(EngineContext& ctx);
void executeSelector(EngineContext& ctx);

// --- reads, references and what they are for (targets.cpp)
/// OP_VAR but for numbers, vectors and plain references, which the loop pushes itself.
void executeVariable(EngineContext& ctx, const CodeNode& node);
/// OP_INDEX.
void executeIndex(EngineContext& ctx, const CodeNode& node);
/// OP_ASSIGN: stores the value (or distributes the values) on top of the stack into what the reference below
/// names. Leaves the value as the assignment's result, Integer 1 after a distribution, nothing for data
/// members.
void executeAssign(EngineContext& ctx);
/// OP_ADDASSIGN ...: combines the value on top into what the reference below it names; leaves nothing.
void executeCompound(EngineContext& ctx, const CodeNode& node);
/// OP_POSTINC ... OP_PREINC.
void executeIncrement(EngineContext& ctx, const CodeNode& node);

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
