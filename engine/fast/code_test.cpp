// What machine code can be asked for by itself; that it computes as the interpreter does is for tests/equal.
#include "engine/fast/code.h"

#include "engine/fast/builder.h"
#include "engine/fast/facts.h"
#include "engine/fast/superinstructions.h"
#include "tests/edges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <vector>

namespace kestrel::fast {

namespace {

bool allows(const Facts& facts, double value) {
    if (std::isnan(value)) return facts.nan;
    return value >= facts.low && value <= facts.high && (!facts.whole || std::trunc(value) == value);
}

class Chance {
public:
    std::size_t below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(engine_);
    }
    /// All but the NaN, which stands first.
    double number() { return test::kEdges[1 + below(std::size(test::kEdges) - 1)]; }
    Facts facts() {
        const double a = number();
        const double b = number();
        return {std::min(a, b), std::max(a, b), false,
                std::trunc(a) == a && std::trunc(b) == b && below(2) == 0};
    }
    /// One of the numbers that facts allow.
    double within(const Facts& facts) {
        for (int i = 0; i < 50; ++i) {
            const double value = number();
            if (allows(facts, value)) return value;
        }
        return facts.low;
    }

private:
    std::mt19937_64 engine_{7};
};

}  // namespace

TEST(FastCode, movesHappenAllAtOnce) {
    Chance chance;
    for (int round = 0; round < 2000; ++round) {
        std::vector<Move> moves;
        std::map<Reg, Reg> wanted;  // where each register's value comes from
        for (Reg to = 0; to < 6; ++to) {
            if (chance.below(3) == 0) continue;
            moves.push_back({to, static_cast<Reg>(chance.below(8))});
            wanted[to] = moves.back().from;
        }
        std::map<Reg, Reg> held;
        for (Reg reg = 0; reg < 9; ++reg) held[reg] = reg;
        for (const Move& move : sequenced(moves, 8)) held[move.to] = held[move.from];
        for (Reg reg = 0; reg < 8; ++reg)
            ASSERT_EQ(held[reg], wanted.contains(reg) ? wanted[reg] : reg) << round;
    }
}

TEST(FastCode, factsAllowAllThatHappens) {
    Chance chance;
    for (int round = 0; round < 20000; ++round) {
        const Facts a = chance.facts();
        const Facts b = chance.facts();
        const double x = chance.within(a);
        const double y = chance.within(b);
        ASSERT_TRUE(allows(sum(a, b), x + y)) << x << " + " << y;
        ASSERT_TRUE(allows(difference(a, b), x - y)) << x << " - " << y;
        ASSERT_TRUE(allows(product(a, b), x * y)) << x << " * " << y;
        ASSERT_TRUE(allows(quotient(a, b), x / y)) << x << " / " << y;
        ASSERT_TRUE(allows(magnitude(a), std::fabs(x)) && allows(opposite(a), -x));
        ASSERT_TRUE(allows(root(a), std::sqrt(x)) && allows(rounded(a, std::floor), std::floor(x))) << x;
        ASSERT_TRUE(allows(smaller(a, b), y < x ? y : x) && allows(larger(a, b), x < y ? y : x));
        ASSERT_TRUE(allows(join(a, b), x) && allows(join(a, b), y));
        ASSERT_TRUE(widen(a, b).covers(b)) << "an assumption that fails again";
    }
}

namespace {

Code codeOf(const std::function<void(Builder&, Reg number, Reg index)>& write) {
    Builder builder;
    const Reg number = builder.merged(Class::Real, Facts());
    const Reg index = builder.merged(Class::Whole, Facts::between(0, 9, true));
    write(builder, number, index);
    Code code = builder.take();
    removeDead(code);
    return code;
}

/// In order.
std::vector<Kind> superinstructionsIn(const Code& code) {
    const Superinstructions found = superinstructionsOf(code, fusedConditions(code));
    std::vector<Kind> kinds;
    for (std::size_t i = 0; i < code.instructions.size(); ++i)
        if (const Superinstruction* each = found.at(i)) kinds.push_back(each->kind);
    return kinds;
}

}  // namespace

TEST(FastCode, aStepDoesWhatNothingComesBetween) {
    for (const bool changes : {false, true}) {
        const Code code = codeOf([&](Builder& builder, Reg number, Reg index) {
            const Reg element = builder.load(1, Op::LoadElement, index, {.whole = 64});
            if (changes) builder.change(2, Op::StoreElement, Op::LoadElement, index, number, {.whole = 64});
            builder.store(Op::StoreRecordReal, builder.make(Op::Add, element, number), {.whole = 0});
        });
        EXPECT_EQ(superinstructionsIn(code), changes ? std::vector<Kind>() : std::vector{Kind::ElementAdd});
        EXPECT_EQ(std::ranges::count(foldedLoads(code), true), changes ? 0 : 1);
    }
    for (const bool wanted : {false, true}) {  // between the conversion and its guard
        const Code code = codeOf([&](Builder& builder, Reg number, Reg) {
            const Reg whole = builder.make(Op::ToWhole, number);
            const Reg back = wanted ? builder.make(Op::FromWhole, whole) : number;
            builder.guard(builder.make(Op::Fits32, whole), "it is too large");
            builder.store(Op::StoreRecordReal, back, {.whole = 0});
        });
        EXPECT_EQ(superinstructionsIn(code), wanted ? std::vector<Kind>() : std::vector{Kind::ToWhole32});
    }
    const Code code = codeOf([](Builder& builder, Reg number, Reg) {
        const Reg twice = builder.make(Op::Mul, builder.real(2.0), number);
        const Reg square = builder.make(Op::Mul, number, number);
        const Reg smooth = builder.make(Op::Mul, square, builder.make(Op::Sub, builder.real(3.0), twice));
        builder.store(Op::StoreRecordReal, smooth, {.whole = 0});
        builder.store(Op::StoreRecordReal, square, {.whole = 8});  // so it is not for the other one alone
    });
    EXPECT_EQ(superinstructionsIn(code), std::vector{Kind::SubMul});
}

}  // namespace kestrel::fast
