// Values that are wanted at the same time lie in different places.
#include "engine/fast/homes.h"

#include "engine/fast/builder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace kestrel::fast {

namespace {

constexpr Facts kAny{-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(), true,
                     false};

/// Sums, whole numbers, calls and loops in loops, at random.
class RandomCode : public Builder {
public:
    explicit RandomCode(unsigned seed) : random_(seed) {
        for (int i = 0; i < 4; ++i) reals_.push_back(merged(Class::Real, kAny));
        wholes_.push_back(merged(Class::Whole, Facts::between(0, 9, true)));
        stretch(0);
        for (const Reg each : reals_) store(Op::StoreRecordReal, each, {.whole = 0});
        for (const Reg each : wholes_) store(Op::StoreWord, each, {.whole = 0});
    }

private:
    int below(std::size_t count) {
        return std::uniform_int_distribution<int>(0, static_cast<int>(count) - 1)(random_);
    }
    Reg one(const std::vector<Reg>& of) { return of[static_cast<std::size_t>(below(of.size()))]; }

    void stretch(int depth) {
        for (int i = 0; i < 12; ++i) {
            const int what = below(12);
            if (what == 0 && depth < 3) {
                control(Op::Loop);
                stretch(depth + 1);
                control(Op::EndLoop);
            } else if (what == 1) {
                reals_.push_back(make(Op::Call1, one(reals_), kNoReg, kNoReg, {.one = std::sin}));
            } else if (what < 5) {
                wholes_.push_back(make(Op::AddWhole, one(wholes_), one(wholes_)));
            } else {
                reals_.push_back(make(what < 8 ? Op::Sub : Op::Mul, one(reals_), one(reals_)));
            }
        }
    }

    std::mt19937 random_;
    std::vector<Reg> reals_;
    std::vector<Reg> wholes_;
};

}  // namespace

TEST(FastHomes, OfValuesThatAreWantedAtATimeDiffer) {
    const MachineRegisters machine{.vectors = {0, 1, 2}, .generals = {7}, .kept = {5, 12}};
    int across = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
        const Code code = RandomCode(seed).take();
        const std::vector<bool> none(code.instructions.size(), false);
        const std::vector<bool> noMasks(code.registers.size(), false);
        const Homes homes(code, none, noMasks, machine);
        const std::vector<LiveRange> ranges = liveRanges(code, none).of;
        const auto overlap = [&](Reg a, Reg b) {
            const LiveRange& p = ranges[static_cast<std::size_t>(a)];
            const LiveRange& q = ranges[static_cast<std::size_t>(b)];
            return p.first < q.last && q.first < p.last;
        };
        const auto count = static_cast<Reg>(code.registers.size());
        for (Reg a = 0; a < count; ++a) {
            if (ranges[static_cast<std::size_t>(a)].last < 0) continue;
            ASSERT_NE(homes.of(a).kind, Home::Kind::None);
            for (Reg b = 0; b < a; ++b)
                ASSERT_FALSE(overlap(a, b) && homes.of(a) == homes.of(b)) << seed << ": " << a << ", " << b;
        }
        for (std::size_t i = 0; i < code.instructions.size(); ++i) {
            homes.forEachAcross(static_cast<std::int32_t>(i), [&](Reg reg, std::int32_t slot) {
                ++across;
                const Home place{Home::Kind::Stack, slot};
                for (Reg other = 0; other < count; ++other)
                    ASSERT_FALSE(other != reg && overlap(other, reg) && homes.of(other) == place) << seed;
            });
        }
    }
    EXPECT_GT(across, 0);
}

}  // namespace kestrel::fast
