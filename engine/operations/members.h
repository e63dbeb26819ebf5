// Data members and methods of values: the dispatch by kind of object.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// The OP_MEMBER or OP_RECORD node behind the OP_VAR or OP_INDEX node that names a member; its variable is
/// the object. A postfix "++" or "--" may stand between the two.
[[nodiscard]] inline const CodeNode& objectNode(const CodeNode& memberNode) noexcept {
    const CodeNode* node = memberNode.next;
    if (node->op == OP_POSTINC || node->op == OP_POSTDEC) node = node->next;
    return *node;
}

/// Reads the member that a MemberRef or IndexedMemberRef on top of the stack names: pops the reference (with
/// its index list) and pushes the value. Errors report and push nothing.
void readMemberOnTop(EngineContext& ctx);

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

/// The methods that any Number, Integer, Vector, text, array, Nil or other variable has (size, asStr, sortA
/// ...).
void callValueMethod(EngineContext& ctx, const CodeNode& call, Variable& object);

/// The number of a value method, -1 for a name that is none; kept in CodeNode::methodSlot.
[[nodiscard]] int valueMethodSlot(std::string_view name) noexcept;

/// Data members x, y, z of a Vector variable.
void readVectorMember(EngineContext& ctx, Variable& object, const char* member);
void writeVectorMember(EngineContext& ctx, Variable& object, const char* member, const ValueCell& value,
                       int op);

/// Number-valued members of objects share one rule for the assignment operators: combines `current` with
/// `value`
/// (`=` stores; + - * / combine, division by zero is the division error and aborts; ^ | & combine truncated
/// 32-bit integers; "++"/"--" change by 1). `pushed` says whether the operator leaves a Number on the stack
/// and which.
struct MemberUpdate {
    bool ok = false;
    double value = 0.0;  ///< what to store
    bool pushes = false;
    double pushed = 0.0;
};
[[nodiscard]] MemberUpdate updateNumberMember(EngineContext& ctx, double current, double value, int op);

}  // namespace kestrel
