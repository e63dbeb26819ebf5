// Data members and methods of values: the dispatch by kind of object.
#pragma once

#include "engine/context/context.h"
#include "engine/context/object_kind.h"
#include "engine/operations/place.h"

namespace kestrel {

/// Reads `object.member`, `object.member[i]` or `record->member`.
/// @param out  receives the value; a text is the caller's (TempString) or borrowed
/// @return false where there is none, mostly because an error was reported
bool readMember(EngineContext& ctx, const Place& place, ValueCell& out);

/// The same once the index is known.
bool readMember(EngineContext& ctx, const MemberAccess& access, ValueCell& out);

/// Applies an assignment operator: OP_ASSIGN, a compound assignment, or an increment with the value 1.
/// @return true where the operator leaves a value in `out`: increments do
bool writeMember(EngineContext& ctx, const Place& place, const ValueCell& value, int op, ValueCell& out);

/// The same once the index is known.
bool writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                 ValueCell& out);

/// `variable.method(args)`: dispatches on the variable's kind.
/// @param call    the OP_CALL node
/// @param object  the variable named before the '.'
void callMethod(EngineContext& ctx, const CodeNode& call, Variable& object);

/// Number-valued members of objects share one rule for the assignment operators: combines `current` with
/// `value` (`=` stores; + - * / combine, division by zero is the division error and aborts; ^ | & combine
/// truncated 32-bit integers; "++"/"--" change by 1). `leaves` says whether the operator leaves a Number,
/// `left` which.
struct MemberUpdate {
    bool ok = false;
    double value = 0.0;  ///< what to store
    bool leaves = false;
    double left = 0.0;

    /// What a MemberWriter ends with.
    bool leave(ValueCell& out) const noexcept {
        if (leaves) out.setScalar(Number, left);
        return leaves;
    }
};
[[nodiscard]] MemberUpdate updateNumberMember(EngineContext& ctx, double current, double value, int op);

}  // namespace kestrel
