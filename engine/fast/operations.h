// What each operation of the intermediate code yields: for folding and for the threaded executor. The native
// one does the same in machine code.
#pragma once

#include "engine/fast/code.h"
#include "engine/values/value.h"

#include <bit>
#include <cmath>
#include <limits>

namespace kestrel::fast {

/// What a register holds.
union Word {
    double real;
    std::int64_t whole = 0;

    [[nodiscard]] static Word of(double value) noexcept {
        Word word;
        word.real = value;
        return word;
    }
    [[nodiscard]] static Word of(std::int64_t value) noexcept {
        Word word;
        word.whole = value;
        return word;
    }
};
static_assert(sizeof(Word) == 8);

[[nodiscard]] inline Word wordOf(const Register& constant) noexcept {
    return constant.cls == Class::Real ? Word::of(constant.number) : Word::of(constant.whole);
}

/// As the machine converts: what does not fit is the smallest.
[[nodiscard]] inline std::int64_t convert(double value) noexcept {
    constexpr double kLimit = 9223372036854775808.0;
    if (!(value < kLimit && value >= -kLimit)) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

[[nodiscard]] inline std::int64_t low32(std::int64_t value) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)));
}

[[nodiscard]] inline std::int64_t wrapping(Op op, std::int64_t a, std::int64_t b) noexcept {
    const auto l = static_cast<std::uint64_t>(a);
    const auto r = static_cast<std::uint64_t>(b);
    return static_cast<std::int64_t>(op == Op::AddWhole ? l + r : op == Op::SubWhole ? l - r : l * r);
}

/// The result of an operation that is Pure, other than calls and Choose. A constant `op` folds.
[[nodiscard, gnu::always_inline]] inline Word compute(Op op, Word a, Word b) noexcept {
    switch (op) {
        case Op::Add:
            return Word::of(a.real + b.real);
        case Op::Sub:
            return Word::of(a.real - b.real);
        case Op::Mul:
            return Word::of(a.real * b.real);
        case Op::Div:
            return Word::of(a.real / b.real);
        case Op::Negate:
            return Word::of(-a.real);
        case Op::Absolute:
            return Word::of(std::fabs(a.real));
        case Op::Floor:
            return Word::of(std::floor(a.real));
        case Op::Ceil:
            return Word::of(std::ceil(a.real));
        case Op::Truncate:
            return Word::of(std::trunc(a.real));
        case Op::Sqrt:
            return Word::of(std::sqrt(a.real));
        case Op::Smaller:
            return Word::of(b.real < a.real ? b.real : a.real);
        case Op::Larger:
            return Word::of(a.real < b.real ? b.real : a.real);
        case Op::FromWhole:
            return Word::of(static_cast<double>(a.whole));
        case Op::ToWhole:
            return Word::of(convert(a.real));
        case Op::AddWhole:
        case Op::SubWhole:
        case Op::MulWhole:
            return Word::of(wrapping(op, a.whole, b.whole));
        case Op::Remainder:
            return Word::of(a.whole % b.whole);
        case Op::And:
            return Word::of(a.whole & b.whole);
        case Op::Or:
            return Word::of(a.whole | b.whole);
        case Op::Xor:
            return Word::of(a.whole ^ b.whole);
        case Op::ShiftLeft:
            return Word::of(
                low32(static_cast<std::int64_t>(static_cast<std::uint64_t>(a.whole) << (b.whole & 31))));
        case Op::ShiftRight:
            return Word::of(low32(a.whole) >> (b.whole & 31));
        case Op::Cut:
            return Word::of(low32(a.whole));
        case Op::Cut15:
            return Word::of((a.whole >> 16) & 0x7FFF);
        case Op::CutUnsigned:
            return Word::of(a.whole & 0xFFFFFFFF);
        case Op::Less:
            return Word::of(std::int64_t{a.real < b.real});
        case Op::LessEqual:
            return Word::of(std::int64_t{a.real <= b.real});
        case Op::Equal:
            return Word::of(std::int64_t{a.real == b.real});
        case Op::LessWhole:
            return Word::of(std::int64_t{a.whole < b.whole});
        case Op::LessEqualWhole:
            return Word::of(std::int64_t{a.whole <= b.whole});
        case Op::EqualWhole:
            return Word::of(std::int64_t{a.whole == b.whole});
        case Op::IsSet:
            return Word::of(std::int64_t{!isZero(a.real)});
        case Op::Fits32:
            return Word::of(std::int64_t{a.whole == low32(a.whole)});
        case Op::Not:
            return Word::of(std::int64_t{a.whole == 0});
        case Op::Both:
            return Word::of(a.whole & b.whole);
        case Op::Either:
            return Word::of(a.whole | b.whole);
        default:
            return {};
    }
}

}  // namespace kestrel::fast
