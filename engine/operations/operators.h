// Binary operators, compound assignment and comparisons.
//
// The interpreter calls arithmetic() and compare() once per instruction with a constant operator, so the
// numeric cases are inline and fold to a few machine instructions; every other pair of types goes out of
// line.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Replaces the top two cells L, R by the result, for any pair of types. Use arithmetic().
void arithmeticByType(EngineContext& ctx, int op);

/// The result of `left op right` (OP_LT ... OP_NE). A pair of types without a rule is false for every
/// operator.
[[nodiscard]] bool compareValues(const EngineContext& ctx, int op, const ValueCell& left,
                                 const ValueCell& right);
/// The same for two texts: without regard to the case of letters.
[[nodiscard]] bool textRelation(int op, std::string_view left, std::string_view right) noexcept;
/// The same for values that only know equal and unequal.
[[nodiscard]] constexpr bool equality(int op, bool equal) noexcept {
    return op == OP_EQ ? equal : op == OP_NE && !equal;
}

/// Reports "illegal division by zero detected" and aborts.
void reportDivisionByZero(EngineContext& ctx);

/// Applies a comparison operator to two values of one kind; anything compared with NaN is only unequal.
template <class T>
[[nodiscard]] constexpr bool relation(int op, const T& a, const T& b) noexcept {
    switch (op) {
        case OP_LT:
            return a < b;
        case OP_GT:
            return a > b;
        case OP_LE:
            return a <= b;
        case OP_GE:
            return a >= b;
        case OP_EQ:
            return a == b;
        case OP_NE:
            return a != b;
        default:
            return false;
    }
}

/// Numbers on the left are compared after this is added to both sides, which makes tiny values equal to zero.
/// Meant.
inline constexpr double kCompareBias = 1e-13;

/// The comparison of two numeric cells. The left side's type decides: an Integer there truncates both sides,
/// so `1 == 1.5` holds and `1.5 == 1` does not. Meant.
[[nodiscard]] inline bool compareNumeric(int op, const ValueCell& left, const ValueCell& right) noexcept {
    if (left.type == Number)
        return relation(op, left.number + kCompareBias, right.number + kCompareBias);
    return relation(op, truncate(left.number), truncate(right.number));
}

/// Expression form: replaces the top two cells L, R by the result. `op` is OP_ADD, OP_SUB, OP_MUL, OP_DIV,
/// OP_MOD, OP_XOR, OP_BITOR, OP_BITAND, OP_SHL or OP_SHR. An unsupported pair of types is "illegal arithmetic
/// operation on data type" and aborts; a reference to an array element on the left leaves L as it is.
inline void arithmetic(EngineContext& ctx, int op) {
    if (!ctx.need(2)) [[unlikely]]
        return;
    ValueCell& left = ctx.stack.top(1);
    const ValueCell& right = ctx.stack.top(0);
    if (left.isNumeric() && right.isNumeric()) [[likely]] {
        double& value = left.number;
        switch (op) {
            case OP_ADD:
                value += right.number;
                break;
            case OP_SUB:
                value -= right.number;
                break;
            case OP_MUL:
                value *= right.number;
                break;
            case OP_DIV:
                if (!right.firstDoubleSet()) [[unlikely]]
                    return arithmeticByType(ctx, op);
                value /= right.number;
                left.type = Number;
                break;
            default:
                return arithmeticByType(ctx, op);
        }
        if (right.type == Number) left.type = Number;
        ctx.stack.forgetTo(ctx.stack.size() - 1);
        return;
    }
    arithmeticByType(ctx, op);
}

/// Replaces the top two cells by Integer 0 or 1 (OP_LT ... OP_NE). Never reports.
inline void compare(EngineContext& ctx, int op) {
    if (!ctx.need(2)) [[unlikely]]
        return;
    ValueCell& left = ctx.stack.top(1);
    const ValueCell& right = ctx.stack.top(0);
    if (left.isNumeric() && right.isNumeric()) [[likely]] {
        const bool holds = compareNumeric(op, left, right);
        left.type = Integer;
        left.number = holds ? 1.0 : 0.0;
        ctx.stack.forgetTo(ctx.stack.size() - 1);
        return;
    }
    const bool holds = compareValues(ctx, op, left, right);
    ctx.stack.drop(2);
    ctx.stack.push(ValueCell::ofBool(holds));
}

/// Target form (OP_ADDASSIGN ...): the value on top is combined into what the reference below it names;
/// pushes nothing.
/// @param node  the assignment instruction
void compoundAssign(EngineContext& ctx, const CodeNode& node);

/// The value of `left op right` for arithmetic without touching the stack; texts come back as TempString.
/// Both operands stay owned by the caller. An element reference on the left is its own result.
/// @return false after reporting an arithmetic error or exhausted memory (the abort flag is set)
bool combine(EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right, ValueCell& result);

/// `left op right` for plain numbers: + - * / and the bit operators on the truncated values.
/// @return false after reporting a division by zero (the abort flag is set), or an operator that is none of
/// these
bool combineNumbers(EngineContext& ctx, int op, double left, double right, double& result);

/// Combines a value into a variable that holds no array, as compound assignment does: the kind of what it
/// holds decides, and stays.
/// @param code  the compound assignment or its plain operator
void combineVariable(EngineContext& ctx, int code, Variable& variable, const ValueCell& value);

/// Combines a value into one that is stored in an element or a record member, as compound assignment does:
/// Number, Integer, Vector and text slots change, others stay. Owned texts are replaced by retained copies.
/// @param op  the compound assignment or its plain operator
/// @return    false after reporting an error
bool combineInto(EngineContext& ctx, int op, ValueCell& slot, const ValueCell& value);

}  // namespace kestrel
