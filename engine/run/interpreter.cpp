// The dispatch loop.
//
// Rules for whoever changes it:
//  1. Only EvalStack::push grows the stack; it is checked there. Pops that a script can get wrong go
//     through need().
//  2. An instruction never looks at cells below the running function's base, apart from a call's arguments.
//  3. `ctx.run.currentLine` and the reporter's place are set before an instruction runs: messages rely
//     on them.
//  4. A jump names the node before the one to execute next.
//  5. Script recursion grows ctx.run.frames and ctx.run.calls, never the C++ stack. References to frames
//     are not kept across a call.
//  6. Markers are passed over (CodeNode::successor), and what an instruction takes and leaves is what its row
//     in opcodes.def says: debug builds compare the two after every instruction.
//  7. The loop exists twice: with the debugger's line hook and without, so that no debugger costs nothing.

#include "engine/run/interpreter.h"

#include "engine/context/kind_table.h"
#include "engine/operations/operators.h"
#include "engine/operations/storage.h"
#include "engine/program/node_modes.h"
#include "engine/run/host_members.h"
#include "engine/run/instructions.h"
#include "engine/run/stack_check.h"
#include "engine/run/sweep.h"

#include <utility>

namespace kestrel {

namespace {

void pushVariable(EngineContext& ctx, const CodeNode& node) {
    const Variable& variable = *node.operand.variable;
    if (variable.isNumeric())
        ctx.stack.pushScalar(variable.type, variable.number);
    else if (variable.type == Vector)
        ctx.stack.pushVector(variable.vec);
    else
        executeVariable(ctx, node);
}

/// Applies an operator to the number on top and a right operand that is not pushed.
/// @return false when the types need the long way; nothing has changed then
template <std::int32_t kOp>
[[gnu::always_inline]] inline bool applyFused(EngineContext& ctx, std::int32_t type, double value) {
    if (ctx.stack.size() <= ctx.base() || (type != Number && type != Integer)) return false;
    if (ctx.stack.full()) return false;  // the operand would have found no place, which is reported
    ValueCell& left = ctx.stack.top();
    if (!left.isNumeric()) return false;
    if constexpr (kOp == OP_ADD || kOp == OP_SUB || kOp == OP_MUL || kOp == OP_DIV) {
        return applyToNumbers(kOp, left, type, value);
    } else {
        ValueCell right;
        right.setScalar(type, value);
        left.setScalar(Integer, compareNumeric(kOp, left, right) ? 1.0 : 0.0);
        return true;
    }
}

/// `variable = number;` as a whole statement: nothing else is on the stack and nobody wants the result.
/// @return false when there is more to it; nothing has changed then
bool assignStatement(EngineContext& ctx) {
    const int cells = ctx.stack.size() - ctx.base();
    if (cells < 2) return false;
    const ValueCell& value = ctx.stack.top(0);
    const ValueCell& target = ctx.stack.top(1);
    if (target.type != VarRef) return assignHostMember(ctx);
    if (cells != 2 || !value.isNumeric()) return false;
    Variable& variable = *target.node->operand.variable;
    if (!isInlineKind(variable.type)) return false;
    setInline(variable, value);
    ctx.stack.forgetTo(ctx.base());
    return true;
}

/// The line hook sees the node at which a run ends like any other; nobody else does. A run that is cut short
/// by an error does not come to it, so the hook is not called there: the script pauses where its code goes
/// on.
void tellEnd(EngineContext& ctx, const CodeNode& node) {
    const std::int32_t line = std::exchange(ctx.run.currentLine, node.line);
    const CodeNode* const last = std::exchange(ctx.run.node, &node);
    const SourcePos* const place = std::exchange(ctx.reporter.place, &node.pos);
    ctx.run.hook->line(ctx, node);
    ctx.run.currentLine = line;
    ctx.run.node = last;
    ctx.reporter.place = place;
}

template <bool kHooked>
void executeAll(EngineContext& ctx, const CodeNode* start, const CodeNode* end) {
    RunState& run = ctx.run;
    EvalStack& stack = ctx.stack;
    const std::size_t depth = run.frames.size();
    const CodeNode* node = start;
    std::int32_t previousLine = -1;
    Sweeper sweeper(ctx);

    while (node != nullptr && !(node == end && run.frames.size() == depth)) {
        run.currentLine = node->line;
        run.node = node;
        ctx.reporter.place = &node->pos;
        if constexpr (kHooked) {
            if (node->line != previousLine && beginsLine(*node) && run.hook != nullptr)
                run.hook->line(ctx, *node);
            previousLine = node->line;
            if (run.stop) return;
            run.activationEnded = node->op == OP_ENDFUNC;
        }
        // Not even looked at where it is not compared: the loads would stay.
        [[maybe_unused]] const StackBefore before =
            kStackChecks ? beforeInstruction(ctx, node) : StackBefore{};
        // Without a `default`, so that a code without a case does not compile.
        switch (static_cast<Opcode>(kHooked ? node->op : node->exec)) {
#define KESTREL_FUSABLE(code, name, effect)                                                      \
    case kVar_##name:                                                                            \
        if (applyFused<name>(ctx, node->operand.variable->type, node->operand.variable->number)) \
            node = node->next;                                                                   \
        else                                                                                     \
            pushVariable(ctx, *node);                                                            \
        break;                                                                                   \
    case kConst_##name:                                                                          \
        if (applyFused<name>(ctx, node->op, node->operand.number))                               \
            node = node->next;                                                                   \
        else                                                                                     \
            stack.pushScalar(node->op, node->operand.number);                                    \
        break;
#include "engine/program/opcodes.def"
            case kAssignStatement:
                if (assignStatement(ctx)) {
                    node = node->next;
                    sweeper.statementEnded();
                } else {
                    executeAssign(ctx);
                }
                break;
            case kCountUp:
            case kCountDown:
                if (node->operand.variable->isNumeric() && !stack.full()) {
                    node->operand.variable->number += node->exec == kCountUp ? 1.0 : -1.0;
                    node = node->next;
                } else {
                    stack.pushNode(VarRef, node);
                }
                break;
            case kHostReal:
            case kHostWhole:
                if (!(node->exec == kHostReal ? pushHostNumber<double>(ctx, *node, 1)
                                              : pushHostNumber<std::int32_t>(ctx, *node, 1)))
                    executeVariable(ctx, *node);
                node = node->next;
                break;
            case kHostElement:
                if (pushHostNumber<double>(ctx, *node, 3))
                    node = node->link;
                else
                    stack.pushScalar(DimMark, 0.0);
                break;
            case kHostTarget:
                stack.pushNode(node->op == OP_INDEX ? IndexedMemberRef : MemberRef, node);
                break;
            case kHostElementTarget:
                if (pushHostElement(ctx, *node))
                    node = node->link;
                else
                    stack.pushScalar(DimMark, 0.0);
                break;
            case OP_VAR:
                if (node->mode == kLoad) {
                    pushVariable(ctx, *node);
                } else if (node->mode == kReference) {
                    stack.pushNode(VarRef, node);
                } else {
                    executeVariable(ctx, *node);
                    if (readsMember(node->mode)) node = node->next;
                }
                break;
            case OP_NUMBER:
                stack.pushScalar(Number, node->operand.number);
                break;
            case OP_INTEGER:
                stack.pushScalar(Integer, node->operand.number);
                break;
            case OP_STRING:
            case OP_TEMPSTRING:
                stack.push(ValueCell::ofText(node->operand.text));
                break;
            case OP_NIL:
                stack.push(ValueCell::ofNil());
                break;
            case OP_VECTOR:
                executeVector(ctx);
                break;
            // A constant operator lets the inline numeric cases fold.
            case OP_ADD:
                arithmetic(ctx, OP_ADD);
                break;
            case OP_SUB:
                arithmetic(ctx, OP_SUB);
                break;
            case OP_MUL:
                arithmetic(ctx, OP_MUL);
                break;
            case OP_DIV:
                arithmetic(ctx, OP_DIV);
                break;
            case OP_MOD:
            case OP_XOR:
            case OP_BITOR:
            case OP_BITAND:
            case OP_SHL:
            case OP_SHR:
                arithmetic(ctx, node->op);
                break;
            case OP_LT:
                compare(ctx, OP_LT);
                break;
            case OP_GT:
                compare(ctx, OP_GT);
                break;
            case OP_LE:
                compare(ctx, OP_LE);
                break;
            case OP_GE:
                compare(ctx, OP_GE);
                break;
            case OP_EQ:
                compare(ctx, OP_EQ);
                break;
            case OP_NE:
                compare(ctx, OP_NE);
                break;
            case OP_NEG:
                executeNegate(ctx, *node);
                break;
            case OP_NOT:
                executeNot(ctx, *node);
                break;
            case OP_AND:
            case OP_OR:
                executeLogical(ctx, node->op == OP_AND);
                break;
#define KESTREL_INCREMENT(code, name, position, plain, effect) case name:
#include "engine/program/opcodes.def"
                executeIncrement(ctx, *node);
                break;
            case OP_ASSIGN:
                executeAssign(ctx);
                break;
#define KESTREL_COMPOUND(code, name, plain, effect) case name:
#include "engine/program/opcodes.def"
                executeCompound(ctx, *node);
                break;
            case OP_DIM:
            case OP_SEP:
            case OP_LIST:
            case OP_SELMARK:
                stack.pushScalar(node->op, 0.0);
                break;
            case OP_BLOCK:
                if (node->mode == kAssignmentBlock) stack.push(ValueCell::ofMark(BlockMark));
                break;
            case OP_INDEX:
                executeIndex(ctx, *node);
                if (readsMember(node->mode)) node = node->next;
                break;
            case OP_SELECTOR:
                executeSelector(ctx);
                break;
            case OP_CALL:
                node = executeCall(ctx, node);
                break;
            case OP_FUNC:
                executeFunctionEntry(ctx);
                break;
            case OP_RETURN:
                node = executeReturn(ctx, node);
                break;
            case OP_ENDFUNC:
                node = executeFunctionEnd(ctx, node);
                break;
            case OP_ENDSTMT:
                stack.dropTo(ctx.base());
                sweeper.statementEnded();
                break;
            case OP_IF:
                if (ctx.need(1)) {
                    const bool truth = isTrue(stack.top());
                    stack.drop(1);
                    if (!truth) node = node->link;
                }
                break;
            case OP_DECL:
            case OP_ENDIF:
            case OP_ENDCASE:
                if (node->link != nullptr) node = node->link;
                break;
            case OP_WHILE:
                node = executeWhile(ctx, node);
                break;
            case OP_ENDWHILE:
                node = executeEndWhile(ctx, node);
                sweeper.statementEnded();  // the loop may consist of nothing but its condition
                break;
            case OP_FORTEST:
                node = executeForTest(ctx, node);
                break;
            case OP_ENDFOR:
                node = executeEndFor(ctx, node);
                sweeper.statementEnded();
                break;
            case OP_FORBODY:
                node = executeForBody(ctx, node);
                break;
            case OP_BREAK:
                node = executeBreak(ctx, node);
                break;
            case OP_CONTINUE:
                node = executeContinue(ctx);
                break;
            case OP_SWITCH:
            case OP_SELECT:
                pushControl(ctx, node);
                break;
            case OP_CASE:
                node = executeCase(ctx, node);
                break;
            case OP_DEFAULT:
                // After a fall-through the value is gone already: a case that matched took it.
                if (stack.size() > ctx.base()) stack.drop(1);
                break;
            case OP_WHEN:
                node = executeWhen(ctx, node);
                break;
            case OP_ENDWHEN:
                node = executeEndWhen(ctx, node);
                break;
            case OP_ENDSWITCH:
                executeEndSwitch(ctx);
                break;
            case OP_FILEOBJ:
            case OP_FILECONST:
                stack.push(ValueCell::ofObject(FileObj, node->operand.object));
                break;
            case OP_HXOBJECT:
                stack.push(ValueCell::ofObject(HxObject, node->operand.variable->object));
                break;
            case OP_OBJAGENT:
            case OP_BONEOBJ:
            case OP_LIGHTOBJ:
            case OP_CAMERAOBJ:
            case OP_SCENEOBJ:
            case OP_IMAGELISTOBJ:
            case OP_SHADEROBJ:
                stack.push(ValueCell::ofObject(node->op, node->operand.object));
                break;
#define KESTREL_MARKER(code, name, operand, effect) case name:
#include "engine/program/opcodes.def"
                break;
        }
        if (run.abort || run.stop) [[unlikely]]
            return;
        if constexpr (kStackChecks) checkInstruction<kHooked>(ctx, before, node);
        if (node == nullptr) return;  // `continue` outside a loop ends the whole run
        node = kHooked ? node->next : node->successor;
    }
    if constexpr (kHooked) {
        // Runs end at the start or the end of a function, of which it is told here.
        if (node != nullptr && run.hook != nullptr && node->line != previousLine) tellEnd(ctx, *node);
    }
    settleResults(ctx);
}

}  // namespace

void execute(EngineContext& ctx, const CodeNode* start, const CodeNode* end) {
    if (ctx.run.hook != nullptr && start != nullptr) ctx.run.hook->runBegins(ctx, *start);
    if (ctx.run.hook != nullptr)
        executeAll<true>(ctx, start, end);
    else
        executeAll<false>(ctx, start, end);
}

bool beginsLine(const CodeNode& node) noexcept {
    const OpcodeInfo* info = opcodeInfo(node.op);
    return info == nullptr || (info->flow != OpFlow::LoopEnd && info->flow != OpFlow::Enter);
}

}  // namespace kestrel
