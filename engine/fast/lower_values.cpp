// Lowering: the stack, operators and comparisons.
#include "engine/fast/lowering.h"
#include "engine/operations/operators.h"
#include "engine/values/limits.h"

namespace kestrel::fast {

void Lowering::push(const Cell& cell) {
    // Far from where the interpreter's stack ends, which it would report.
    if (state_.stack.size() >= kStackCells / 2) refuse("too many values at a time");
    state_.stack.push_back(cell);
}

Cell Lowering::pop() {
    if (state_.stack.size() <= activations_.back().base) refuse("a value that is missing");
    const Cell cell = state_.stack.back();
    state_.stack.pop_back();
    return cell;
}

/// A number, a vector or Nil.
Cell Lowering::popValue() {
    const Cell cell = pop();
    if (!cell.isNumeric() && cell.type != Vector && cell.type != Nil)
        refuse("a value that is neither a number nor a vector");
    return cell;
}

Cell Lowering::bit(Reg condition) {
    return Cell::ofInteger(builder_.make(Op::FromWhole, condition));
}

Reg Lowering::truth(const Cell& cell) {
    if (cell.type == Nil) return builder_.whole(0);
    return builder_.isSet(firstNumber(cell));
}

Reg Lowering::numberOf(const Cell& cell) {
    if (!cell.isNumeric() || cell.number < 0) refuse("something else than a number");
    return cell.number;
}

Reg Lowering::firstNumber(const Cell& cell) {
    if (cell.type == Vector) return cell.vec[0];
    if (cell.type == Nil) return builder_.real(kNilNumber);
    return numberOf(cell);
}

std::array<Reg, 3> Lowering::vectorOf(const Cell& cell) {
    if (cell.type == Vector) return cell.vec;
    const Reg number = numberOf(cell);
    return {number, number, number};
}

/// From here on it is known which of the two kinds a number has. Mostly they mix because one way gave a whole
/// number where the others give fractions.
void Lowering::settleKind(Cell& cell) {
    if (cell.type != kMixedKind) return;
    builder_.guard(builder_.make(Op::EqualWhole, cell.kind, builder_.whole(Number)),
                   "a number whose kind depends on the way");
    cell.type = Number;
    cell.kind = kNoReg;
}

Cell Lowering::combine(std::int32_t op, Cell left, Cell right) {
    if (left.isNumeric() && right.isNumeric()) return combineNumeric(op, left, right);
    const bool vectors =
        (left.type == Vector || left.isNumeric()) && (right.type == Vector || right.isNumeric());
    if (!vectors) refuse("an operator of other kinds than numbers and vectors");
    if (left.type == Vector && right.type == Vector) {
        const auto& [ax, ay, az] = left.vec;
        const auto& [bx, by, bz] = right.vec;
        const auto product = [this](Reg a, Reg b) { return builder_.make(Op::Mul, a, b); };
        if (op == OP_BITAND) {
            const Reg xy = builder_.make(Op::Add, product(ax, bx), product(ay, by));
            return Cell::ofNumber(builder_.make(Op::Add, xy, product(az, bz)));
        }
        if (op == OP_XOR)
            return Cell::ofVector({builder_.make(Op::Sub, product(ay, bz), product(az, by)),
                                   builder_.make(Op::Sub, product(az, bx), product(ax, bz)),
                                   builder_.make(Op::Sub, product(ax, by), product(ay, bx))});
    }
    const bool bitwise = op == OP_BITOR || op == OP_SHL || op == OP_SHR;
    if (left.type != Vector && bitwise) refuse("a bit operator of a number and a vector");
    return combineVectors(op, vectorOf(left), vectorOf(right));
}

Cell Lowering::combineVectors(std::int32_t op, const std::array<Reg, 3>& a, const std::array<Reg, 3>& b) {
    std::array<Reg, 3> result{};
    for (std::size_t i = 0; i < 3; ++i) {
        switch (op) {
            case OP_ADD:
                result[i] = builder_.make(Op::Add, a[i], b[i]);
                break;
            case OP_SUB:
                result[i] = builder_.make(Op::Sub, a[i], b[i]);
                break;
            case OP_MUL:
                result[i] = builder_.make(Op::Mul, a[i], b[i]);
                break;
            case OP_DIV: {  // a zero divisor gives a zero component
                const Reg zero = builder_.make(Op::Equal, b[i], builder_.real(0.0));
                result[i] =
                    builder_.make(Op::Choose, zero, builder_.real(0.0), builder_.make(Op::Div, a[i], b[i]));
                break;
            }
            case OP_MOD:
                result[i] = builder_.call(static_cast<double (*)(double, double)>(std::fmod), a[i], b[i]);
                break;
            case OP_BITOR:
            case OP_SHL:
            case OP_SHR:
                result[i] = bits(op, a[i], b[i]);
                break;
            default:
                refuse("a product of a vector and a number");
        }
    }
    return Cell::ofVector(result);
}

Cell Lowering::combineNumeric(std::int32_t op, Cell left, Cell right) {
    const Reg a = numberOf(left);
    const Reg b = numberOf(right);
    switch (op) {
        case OP_ADD:
        case OP_SUB:
        case OP_MUL: {
            const Reg value = plainNumbers(op, a, b);
            if (left.type == Number || right.type == Number) return Cell::ofNumber(value);
            if (left.type == kMixedKind && right.type == kMixedKind && left.kind != right.kind)
                settleKind(left);
            // Of an Integer and another kind the other one.
            Cell result = left.type == Integer ? right : left;
            result.number = value;
            return result;
        }
        case OP_DIV:
            return Cell::ofNumber(plainNumbers(op, a, b));
        case OP_MOD: {
            settleKind(right);
            if (right.type == Number)
                return Cell::ofNumber(
                    builder_.call(static_cast<double (*)(double, double)>(std::fmod), a, b));
            settleKind(left);
            if (left.type != Integer) refuse("% of a Number and an Integer");
            const Reg divisor = builder_.toWhole32(b);
            builder_.guard(builder_.negation(builder_.make(Op::EqualWhole, divisor, builder_.whole(0))),
                           "a division by zero");
            return Cell::ofInteger(
                builder_.make(Op::FromWhole, builder_.make(Op::Remainder, builder_.toWhole32(a), divisor)));
        }
        default:
            return Cell::ofInteger(bits(op, a, b));
    }
}

/// + - * / of doubles.
Reg Lowering::plainNumbers(std::int32_t op, Reg left, Reg right) {
    switch (op) {
        case OP_ADD:
            return builder_.make(Op::Add, left, right);
        case OP_SUB:
            return builder_.make(Op::Sub, left, right);
        case OP_MUL:
            return builder_.make(Op::Mul, left, right);
        case OP_DIV:
            builder_.guard(builder_.isSet(right), "a division by zero");
            return builder_.make(Op::Div, left, right);
        default:
            return bits(op, left, right);
    }
}

Reg Lowering::bits(std::int32_t op, Reg left, Reg right) {
    Op made = Op::And;
    switch (op) {
        case OP_XOR:
            made = Op::Xor;
            break;
        case OP_BITOR:
            made = Op::Or;
            break;
        case OP_BITAND:
            break;
        case OP_SHL:
            made = Op::ShiftLeft;
            break;
        case OP_SHR:
            made = Op::ShiftRight;
            break;
        default:
            refuse("an operator without a rule for numbers");
    }
    const Reg a = builder_.toWhole32(left);
    const Reg b = builder_.toWhole32(right);
    return builder_.make(Op::FromWhole, builder_.make(made, a, b));
}

// ---- comparisons

Reg Lowering::compare(std::int32_t op, Cell left, Cell right) {
    if (left.type == Nil)  // it is equal to its like, and nothing else
        return builder_.whole((op == OP_EQ && right.type == Nil) || (op == OP_NE && right.type != Nil) ? 1
                                                                                                       : 0);
    const auto above = [this](Reg reg) { return builder_.make(Op::Add, reg, builder_.real(1.0)); };
    if (left.type == Vector)  // what holds no number is larger by one
        return compareVectors(
            op, left.vec,
            right.type == Nil ? std::array<Reg, 3>{above(left.vec[0]), above(left.vec[1]), above(left.vec[2])}
                              : vectorOf(right));
    settleKind(left);
    const Reg a = numberOf(left);
    const bool hasNumber = right.isNumeric();
    if (!hasNumber && left.type == Integer) return builder_.whole(0);
    const Reg b = hasNumber ? numberOf(right) : above(a);
    if (left.type == Number) {
        // What is added changes nothing between whole numbers.
        if (builder_.facts(a).whole && builder_.facts(b).whole) return relation(op, a, b);
        const Reg bias = builder_.real(kCompareBias);
        return relation(op, builder_.make(Op::Add, a, bias), builder_.make(Op::Add, b, bias));
    }
    const Reg wholeA = builder_.wholeAtHand(a);
    const Reg wholeB = builder_.wholeAtHand(b);
    if (wholeA != kNoReg && wholeB != kNoReg) return relation(op, wholeA, wholeB);
    const Reg cutA = builder_.truncated(a);
    return relation(op, cutA, builder_.truncated(b));
}

/// Of two doubles or of two whole numbers. With a NaN all but != fail.
Reg Lowering::relation(std::int32_t op, Reg left, Reg right) {
    const bool wholes = builder_.of(left).cls == Class::Whole;
    const Op less = wholes ? Op::LessWhole : Op::Less;
    const Op lessEqual = wholes ? Op::LessEqualWhole : Op::LessEqual;
    const Op equal = wholes ? Op::EqualWhole : Op::Equal;
    switch (op) {
        case OP_LT:
            return builder_.make(less, left, right);
        case OP_GT:
            return builder_.make(less, right, left);
        case OP_LE:
            return builder_.make(lessEqual, left, right);
        case OP_GE:
            return builder_.make(lessEqual, right, left);
        case OP_EQ:
            return builder_.make(equal, left, right);
        default:
            return builder_.negation(builder_.make(equal, left, right));
    }
}

Reg Lowering::compareVectors(std::int32_t op, const std::array<Reg, 3>& a, const std::array<Reg, 3>& b) {
    const auto joined = [&](std::int32_t each, Op how) {
        const Reg xy = builder_.make(how, relation(each, a[0], b[0]), relation(each, a[1], b[1]));
        return builder_.make(how, xy, relation(each, a[2], b[2]));
    };
    switch (op) {
        case OP_LT:
        case OP_GT:
        case OP_NE:
            return joined(op, Op::Either);
        case OP_LE:
            return builder_.make(Op::Either, joined(OP_LT, Op::Both), joined(OP_EQ, Op::Both));
        case OP_GE:
            return builder_.make(Op::Either, joined(OP_GT, Op::Both), joined(OP_EQ, Op::Both));
        default:
            return joined(op, Op::Both);
    }
}

// ---- one operand

Cell Lowering::negated(const Cell& cell) {
    if (cell.type == Vector) {
        std::array<Reg, 3> parts{};
        for (std::size_t i = 0; i < 3; ++i) parts[i] = builder_.make(Op::Negate, cell.vec[i]);
        return Cell::ofVector(parts);
    }
    const Reg value = builder_.make(Op::Negate, firstNumber(cell));
    if (cell.type == Nil) return Cell::ofNumber(value);
    Cell result = cell;
    result.number = value;
    return result;
}

Cell Lowering::inverted(const Cell& cell) {
    if (cell.type == Nil) return bit(builder_.whole(1));
    if (cell.type == Vector) return bit(builder_.whole(0));
    Cell result = cell;
    settleKind(result);
    // An Integer counts truncated.
    const Reg value = numberOf(result);
    const Reg counted = result.type == Integer ? builder_.truncated(value) : value;
    result.number = builder_.make(Op::FromWhole, builder_.negation(builder_.isSet(counted)));
    return result;
}

}  // namespace kestrel::fast
