// Code whose branches have become choices computes what it did, step by step and as machine code.
#include "engine/fast/blend.h"

#include "engine/fast/builder.h"
#include "engine/fast/native.h"
#include "engine/fast/threaded.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <initializer_list>
#include <limits>

namespace kestrel::fast {

namespace {

using Limits = std::numeric_limits<double>;
constexpr double kNumbers[] = {
    0.0, -0.0, 1.0, -1.0, 1e-13, -1e-13, 1e300, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()};
constexpr Facts kAny{-Limits::infinity(), Limits::infinity(), true, false};

/// Three numbers of the sample, and two results.
using Record = std::array<double, 5>;

class Writer : public Builder {
public:
    const Reg a = loaded(0);
    const Reg b = loaded(1);
    const Reg c = loaded(2);

    Reg fresh() { return merged(Class::Real, kAny); }
    void moves(std::initializer_list<Move> list) {
        const std::size_t place = movesHere();
        for (const Move& each : list) move(place, each.to, each.from);
    }
    void branch(Reg condition, std::initializer_list<Move> held, std::initializer_list<Move> failed) {
        control(Op::If, condition);
        moves(held);
        control(Op::Else);
        moves(failed);
        control(Op::EndIf);
    }
    Code finish(Reg first, Reg second) {
        store(Op::StoreRecordReal, first, Immediate{.whole = 3 * sizeof(double)});
        store(Op::StoreRecordReal, second, Immediate{.whole = 4 * sizeof(double)});
        control(Op::Done);
        Code code = take();
        removeDead(code);
        return code;
    }

private:
    Reg loaded(std::int64_t which) {
        return make(Op::LoadRecordReal, kNoReg, kNoReg, kNoReg,
                    Immediate{.whole = which * static_cast<std::int64_t>(sizeof(double))});
    }
};

/// @return the branches that are left
std::ptrdiff_t compare(const Code& code) {
    Code blended = code;
    blend(blended);
    coalesce(blended);
    CodeMemory memory;
    ThreadedCode expected(code);
    ThreadedCode threaded(blended);
    const auto native = NativeCode::make(blended, memory, nullptr);
    const auto same = [&](const Record& x, const Record& y) {
        return std::ranges::equal(x, y, [](double p, double q) {
            return (std::isnan(p) && std::isnan(q)) ||
                   std::bit_cast<std::uint64_t>(p) == std::bit_cast<std::uint64_t>(q);
        });
    };
    for (const double a : kNumbers) {
        for (const double b : kNumbers) {
            for (const double c : kNumbers) {
                Record plain{a, b, c};
                Record stepped = plain;
                Record compiled = plain;
                expected.run(plain.data());
                threaded.run(stepped.data());
                EXPECT_TRUE(same(plain, stepped)) << describe(blended) << a << ' ' << b << ' ' << c;
                if (native == nullptr) continue;
                native->run(compiled.data());
                EXPECT_TRUE(same(plain, compiled)) << describe(blended) << a << ' ' << b << ' ' << c;
            }
        }
    }
    return std::ranges::count(blended.instructions, Op::If, &Instruction::op);
}

}  // namespace

/// The two smallest of three numbers, compared as the language does.
TEST(FastBlend, SumsOfChoicesAreChosen) {
    Writer writer;
    const auto less = [&](Reg x, Reg y) {
        const Reg epsilon = writer.real(1e-13);
        return writer.make(Op::Less, writer.make(Op::Add, epsilon, x), writer.make(Op::Add, epsilon, y));
    };
    Reg nearest = writer.real(9.0);
    Reg second = nearest;
    for (const Reg each : {writer.a, writer.b, writer.c}) {
        const Reg next = writer.fresh();
        const Reg nextSecond = writer.fresh();
        writer.control(Op::If, less(each, nearest));
        writer.moves({{next, each}, {nextSecond, nearest}});
        writer.control(Op::Else);
        const Reg inner = writer.fresh();
        writer.branch(less(each, second), {{inner, each}}, {{inner, second}});
        writer.moves({{next, nearest}, {nextSecond, inner}});
        writer.control(Op::EndIf);
        nearest = next;
        second = nextSecond;
    }
    Code code = writer.finish(nearest, second);
    const auto sums = [&] { return std::ranges::count(code.instructions, Op::Add, &Instruction::op); };
    const auto before = sums();
    EXPECT_EQ(compare(code), 0);
    blend(code);
    EXPECT_EQ(sums(), before - 1);  // that of the second nearest, one of two that were compared
}

/// Registers that a loop writes as well: a swap, whose moves need one another's values; what one way alone
/// overwrites; and a number that has changed since it was compared.
TEST(FastBlend, WhatOtherMovesWriteStaysRight) {
    Writer writer;
    const Reg x = writer.fresh();
    const Reg y = writer.fresh();
    writer.moves({{x, writer.a}, {y, writer.b}});
    writer.branch(writer.make(Op::Less, x, writer.c), {{x, y}, {y, x}}, {{x, writer.c}, {y, writer.a}});
    const Reg before = writer.make(Op::Less, x, y);
    writer.moves({{x, writer.make(Op::Negate, x)}});
    const Reg lesser = writer.fresh();
    writer.branch(before, {{lesser, x}}, {{lesser, y}});
    const Reg result = writer.fresh();
    writer.control(Op::If, writer.make(Op::LessEqual, writer.b, writer.c));
    writer.branch(writer.make(Op::Less, writer.a, writer.b), {{y, writer.a}}, {{y, writer.c}});
    writer.moves({{result, writer.c}});
    writer.control(Op::Else);
    writer.moves({{result, y}});
    writer.control(Op::EndIf);
    EXPECT_EQ(compare(writer.finish(lesser, writer.make(Op::Add, result, y))), 2);
}

}  // namespace kestrel::fast
