// Binary operators and comparisons, as functions on cells.
//
// Whoever runs instructions calls applyToNumbers() and compareNumeric() with a constant operator, so the
// numeric cases are inline and fold to a few machine instructions; every other pair of types goes out of
// line.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

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
    if (left.type == Number) return relation(op, left.number + kCompareBias, right.number + kCompareBias);
    return relation(op, truncate(left.number), truncate(right.number));
}

/// `left op right` for numbers and the four operators + - * /, the result in place of the left one: a Number
/// unless both are Integers, and always for "/", so that 7 / 2 is 3.5. Meant.
/// @return false when there is more to it, another operator or a zero divisor; nothing has changed then
[[gnu::always_inline]] inline bool applyToNumbers(int op, ValueCell& left, std::int32_t rightType,
                                                  double right) noexcept {
    switch (op) {
        case OP_ADD:
            left.number += right;
            break;
        case OP_SUB:
            left.number -= right;
            break;
        case OP_MUL:
            left.number *= right;
            break;
        case OP_DIV:
            if (isZero(right)) [[unlikely]]
                return false;
            left.number /= right;
            left.type = Number;
            return true;
        default:
            return false;
    }
    if (rightType == Number) left.type = Number;
    return true;
}

/// The value of `left op right` for OP_ADD, OP_SUB, OP_MUL, OP_DIV, OP_MOD, OP_XOR, OP_BITOR, OP_BITAND,
/// OP_SHL and OP_SHR and any pair of types; texts come back as TempString. Both operands stay owned by the
/// caller. An element reference on the left is its own result.
/// @return false after reporting an arithmetic error or exhausted memory (the abort flag is set)
bool combine(EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right, ValueCell& result);

/// `left op right` for plain numbers: + - * / and the bit operators on the truncated values.
/// @return false after reporting a division by zero (the abort flag is set), or an operator that is none of
/// these
bool combineNumbers(EngineContext& ctx, int op, double left, double right, double& result);

// Neither of the next three looks at the kind of a value, by design: a Nil, whose number is -1, counts as
// true although `if` takes it for false, and texts are alike when they lie in the same place.

/// `left && right` or `left || right`; both have been evaluated.
[[nodiscard]] inline bool logical(bool isAnd, const ValueCell& left, const ValueCell& right) noexcept {
    const bool l = left.firstDoubleSet();
    const bool r = right.firstDoubleSet();
    return isAnd ? l && r : l || r;
}
/// Whether the value of a `switch` is that of a `case`.
[[nodiscard]] inline bool matchesCase(const ValueCell& value, const ValueCell& label) noexcept {
    return label.firstDouble() == value.firstDouble();
}
/// Whether the branch of a `select` is taken.
[[nodiscard]] inline bool takesBranch(const ValueCell& condition) noexcept {
    return condition.firstDoubleSet();
}

/// `<x, y, z>`: the first double of each.
[[nodiscard]] inline ValueCell vectorOf(const ValueCell& x, const ValueCell& y, const ValueCell& z) noexcept {
    return ValueCell::ofVector({x.firstDouble(), y.firstDouble(), z.firstDouble()});
}

}  // namespace kestrel
