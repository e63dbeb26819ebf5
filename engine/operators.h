// Binary operators, compound assignment and comparisons.
#pragma once

#include "engine/context.h"

namespace kestrel {

/// Expression form: replaces the top two cells L, R by the result. `op` is OP_ADD, OP_SUB, OP_MUL, OP_DIV, OP_MOD,
/// OP_XOR, OP_BITOR, OP_BITAND, OP_SHL or OP_SHR. An unsupported pair of types is "illegal arithmetic operation on data
/// type" and aborts; a reference to an array element on the left leaves L as it is.
void arithmetic(EngineContext& ctx, int op);

/// Replaces the top two cells by Integer 0 or 1 (OP_LT ... OP_NE). Never reports.
void compare(EngineContext& ctx, int op);

/// Target form (OP_ADDASSIGN ...): the value on top is combined into what the reference below it names; pushes nothing.
/// @param node  the assignment instruction
void compoundAssign(EngineContext& ctx, const CodeNode& node);

/// The value of `left op right` for arithmetic without touching the stack; texts come back as TempString.
/// Both operands stay owned by the caller.
/// @return false after reporting an arithmetic error (the abort flag is set)
bool combine(EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right, ValueCell& result);

/// Combines a value into one that is stored in an element or a record member, as compound assignment does: Number,
/// Integer, Vector and text slots change, others stay. Owned texts are replaced by retained copies.
/// @return false after reporting an error
bool combineInto(EngineContext& ctx, int op, ValueCell& slot, const ValueCell& value);

/// OP_ADDASSIGN -> OP_ADD and so on.
[[nodiscard]] int plainOperator(int assignOp) noexcept;

}  // namespace kestrel
