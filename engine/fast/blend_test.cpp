// Code whose branches have become choices computes what it did: step by step, as machine code, and for
// groups.
#include "engine/fast/blend.h"

#include "engine/fast/batch.h"
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
#include <span>
#include <vector>

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

bool same(double p, double q) {
    return (std::isnan(p) && std::isnan(q)) ||
           std::bit_cast<std::uint64_t>(p) == std::bit_cast<std::uint64_t>(q);
}

void expectSame(const Record& wanted, const Record& got, const char* how, const Code& code) {
    EXPECT_TRUE(std::ranges::equal(wanted, got, same))
        << how << describe(code) << wanted[0] << ' ' << wanted[1] << ' ' << wanted[2];
}

void compareGroups(const Code& code, const std::vector<Record>& wanted, int lanes) {
    CodeMemory memory;
    const auto batch = BatchCode::make(code, memory, lanes);
    ASSERT_NE(batch, nullptr) << describe(code);
    const Record common{};
    Columns columns(std::as_bytes(std::span(&common, 1)));
    std::array<std::vector<double>, 5> parts;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        for (const Record& each : wanted) parts[part].push_back(part < 3 ? each[part] : 0.0);
        columns.add({static_cast<std::int64_t>(part * sizeof(double)), false, part >= 3, parts[part].data()});
    }
    batch->bind(columns);
    EXPECT_EQ(batch->run(0, wanted.size()), wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i)
        expectSame(wanted[i], {parts[0][i], parts[1][i], parts[2][i], parts[3][i], parts[4][i]}, "groups ",
                   code);
}

/// @return the branches that are left
std::ptrdiff_t compare(const Code& code) {
    Code blended = code;
    blend(blended);
    coalesce(blended);
    CodeMemory memory;
    ThreadedCode before(code);
    ThreadedCode threaded(blended);
    const auto native = NativeCode::make(blended, memory, nullptr);
    std::vector<Record> all;
    for (const double a : kNumbers)
        for (const double b : kNumbers)
            for (const double c : kNumbers) {
                Record stepped{a, b, c};
                Record compiled = stepped;
                before.run(all.emplace_back(stepped).data());
                threaded.run(stepped.data());
                expectSame(all.back(), stepped, "steps ", blended);
                if (native == nullptr) continue;
                native->run(compiled.data());
                expectSame(all.back(), compiled, "machine code ", blended);
            }
    for (int lanes = 4; lanes <= BatchCode::machineLanes(); lanes *= 2) compareGroups(blended, all, lanes);
    return std::ranges::count(blended.instructions, Op::If, &Instruction::op);
}

}  // namespace

TEST(FastBlend, EachOperationOnNumbersIsTheSameEverywhere) {
    for (int number = 0; number <= static_cast<int>(Op::Either); ++number) {
        const auto op = static_cast<Op>(number);
        const OpInfo& info = infoOf(op);
        const bool plain = info.sort == Sort::Pure || info.sort == Sort::Test;
        if (!plain || info.operands[0] != Class::Real) continue;
        if (op == Op::Call1 || op == Op::Call2 || op == Op::ToWhole) continue;  // groups may leave
        Writer writer;
        Reg made = writer.make(op, writer.a, info.operands[1] == Class::Real ? writer.b : kNoReg);
        if (info.result == Class::Whole) made = writer.make(Op::FromWhole, made);
        EXPECT_EQ(compare(writer.finish(made, writer.c)), 0) << info.name;
    }
}

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
