#include "engine/fast/builder.h"
#include "engine/fast/operations.h"
#include "engine/fast/threaded.h"
#include "tests/edge_numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <random>

namespace kestrel::fast {

namespace {

class Chance {
public:
    std::size_t below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(engine_);
    }
    double number() { return test::kEdgeNumbers[below(std::size(test::kEdgeNumbers))]; }
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
            if (value >= facts.low && value <= facts.high && (!facts.whole || std::trunc(value) == value))
                return value;
        }
        return facts.low;
    }

private:
    std::mt19937_64 engine_{7};
};

bool allows(const Facts& facts, double value) {
    if (std::isnan(value)) return facts.nan;
    return value >= facts.low && value <= facts.high && (!facts.whole || std::trunc(value) == value);
}

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

/// What is folded, what is computed step by step, and what is known of it are the same.
TEST(FastCode, foldingComputesAsTheExecutorDoes) {
    Chance chance;
    for (const Op op : {Op::Add, Op::Sub, Op::Mul, Op::Div, Op::Smaller, Op::Larger, Op::Less, Op::LessEqual,
                        Op::Equal, Op::Negate, Op::Absolute, Op::Floor, Op::Ceil, Op::Truncate, Op::IsSet}) {
        const bool isBinary = infoOf(op).operands[1] != Class::None;
        const bool isReal = infoOf(op).result == Class::Real;
        for (int round = 0; round < 300; ++round) {
            double record[3] = {chance.number(), chance.number(), -1.0};
            Builder builder;
            const auto load = [&](std::int64_t offset) {
                return builder.make(Op::LoadRecordReal, kNoReg, kNoReg, kNoReg, Immediate{.whole = offset});
            };
            const Reg known =
                builder.make(op, builder.real(record[0]), isBinary ? builder.real(record[1]) : kNoReg);
            Reg made = builder.make(op, load(0), isBinary ? load(8) : kNoReg);
            ASSERT_TRUE(builder.of(known).constant);
            if (!isReal) made = builder.make(Op::FromWhole, made);
            builder.store(Op::StoreRecordReal, made, Immediate{.whole = 16});
            builder.control(Op::Done);
            const double folded =
                isReal ? builder.of(known).number : static_cast<double>(builder.of(known).whole);
            Code code = builder.take();
            removeDead(code);
            coalesce(code);
            ASSERT_EQ(ThreadedCode(code).run(record).outcome(), Outcome::Done);
            if (std::isnan(folded)) {
                ASSERT_TRUE(std::isnan(record[2]));
            } else {
                ASSERT_EQ(std::bit_cast<std::uint64_t>(folded), std::bit_cast<std::uint64_t>(record[2]))
                    << infoOf(op).name << ' ' << record[0] << ' ' << record[1];
            }
        }
    }
}

TEST(FastCode, aGuardThatFailsLeavesEverythingAsItWas) {
    double record[2] = {3.0, 7.0};
    Builder builder;
    const Reg loaded = builder.make(Op::LoadRecordReal);
    builder.guard(builder.make(Op::Less, loaded, builder.real(2.0)), "too large");
    builder.store(Op::StoreRecordReal, builder.real(1.0), Immediate{.whole = 8});
    builder.control(Op::Done);
    Code code = builder.take();
    removeDead(code);
    ThreadedCode threaded(code);
    EXPECT_EQ(threaded.run(record).outcome(), Outcome::Left);
    EXPECT_EQ(record[1], 7.0);
    record[0] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(threaded.run(record).outcome(), Outcome::Left);
    record[0] = 1.0;
    EXPECT_EQ(threaded.run(record).outcome(), Outcome::Done);
    EXPECT_EQ(record[1], 1.0);
    Builder other;
    EXPECT_THROW(other.guard(other.whole(0), "never"), Unlowerable);
}

TEST(FastCode, elementsThatWereWrittenComeBack) {
    ValueCell cells[2] = {ValueCell::ofInteger(5.0), ValueCell::ofInteger(6.0)};
    double record[1] = {0.0};
    UndoLog undo;
    // Writes the first element as often as asked, and leaves where the record says so.
    const auto codeOf = [&](std::uint32_t times) {
        Builder builder;
        Immediate number;
        number.address = &cells[0].number;
        Immediate kind;
        kind.address = &cells[0].type;
        const Reg first = builder.whole(0);
        std::uint32_t epoch = 0;
        builder.change(++epoch, Op::StoreElementKind, Op::LoadElementKind, first, builder.whole(Number),
                       kind);
        for (std::uint32_t i = 1; i < times; ++i)
            builder.change(++epoch, Op::StoreElement, Op::LoadElement, first, builder.real(i + 0.5), number);
        EXPECT_EQ(builder.load(epoch, Op::LoadElement, first, number), builder.real(times - 0.5));
        const Reg again =
            builder.load(epoch - 1, Op::LoadElement, first, number);  // of an epoch that is over
        builder.guard(builder.make(Op::Less, builder.make(Op::LoadRecordReal), again), "too large");
        builder.store(Op::StoreWord, builder.whole(0), Immediate{.address = &undo.used});
        builder.control(Op::Done);
        Code code = builder.take();
        code.undo = &undo;
        removeDead(code);
        return code;
    };
    const auto expectUntouched = [&] {
        undo.takeBack();
        EXPECT_EQ(cells[0].type, Integer);
        EXPECT_EQ(cells[0].number, 5.0);
        EXPECT_EQ(undo.used, 0u);
    };
    ThreadedCode threaded(codeOf(UndoLog::kMost));
    record[0] = 1e9;
    EXPECT_EQ(threaded.run(record).outcome(), Outcome::Left);  // by its guard
    expectUntouched();
    ThreadedCode larger(codeOf(UndoLog::kMost + 1));
    record[0] = 0.0;
    EXPECT_EQ(larger.run(record).outcome(), Outcome::Left);  // the log is full
    expectUntouched();
    EXPECT_EQ(threaded.run(record).outcome(), Outcome::Done);
    EXPECT_EQ(cells[0].type, Number);
    EXPECT_EQ(cells[0].number, UndoLog::kMost - 0.5);
    EXPECT_EQ(undo.used, 0u);
    EXPECT_EQ(cells[1].number, 6.0);
}

}  // namespace kestrel::fast
