// Data members and methods of values: the dispatch by kind of object.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// The OP_MEMBER or OP_RECORD node behind the OP_VAR or OP_INDEX node that names a member; its variable is
/// the object. A postfix "++" or "--" may stand between the two.
[[nodiscard]] inline const CodeNode& objectNode(const CodeNode& memberNode) noexcept {
    const CodeNode* node = memberNode.next;
    if (isPostfix(node->op)) node = node->next;
    return *node;
}

/// Reads `object.member` and pushes the value. Errors report and push nothing.
/// @param memberNode  names the member; the OP_MEMBER node behind it names the object
/// @param indexed     an index list lies on top of the stack; it is taken off
void readMember(EngineContext& ctx, const CodeNode& memberNode, bool indexed);

/// Applies an assignment operator to the member named by the reference below the value on top: pops both
/// (with the reference's index list). `op` is OP_ASSIGN, a compound assignment, or an increment with any
/// value.
void assignMemberOnTop(EngineContext& ctx, int op);

/// The same with the value handed in and only the reference (with its index list) on top of the stack.
void writeMemberOnTop(EngineContext& ctx, const ValueCell& value, int op);

/// `variable.method(args)`: dispatches on the variable's kind.
/// @param call    the OP_CALL node
/// @param object  the variable named before the '.'
void callMethod(EngineContext& ctx, const CodeNode& call, Variable& object);

/// Reads `record->member` and pushes the value, or reports and pushes nothing.
/// @param memberNode  names the member; the OP_RECORD node behind it names the record
void readField(EngineContext& ctx, const CodeNode& memberNode);
/// Applies an assignment operator to `record->member` (operators as writeMemberOnTop()). Pushes nothing but
/// the old or new value of an increment.
void writeField(EngineContext& ctx, const CodeNode& memberNode, const ValueCell& value, int op);

/// Number-valued members of objects share one rule for the assignment operators: combines `current` with
/// `value` (`=` stores; + - * / combine, division by zero is the division error and aborts; ^ | & combine
/// truncated 32-bit integers; "++"/"--" change by 1). `pushes` says whether the operator leaves a Number on
/// the stack, `pushed` which.
struct MemberUpdate {
    bool ok = false;
    double value = 0.0;  ///< what to store
    bool pushes = false;
    double pushed = 0.0;
};
[[nodiscard]] MemberUpdate updateNumberMember(EngineContext& ctx, double current, double value, int op);

}  // namespace kestrel
