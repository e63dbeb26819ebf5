// Each lane of a group computes what the threaded executor computes of the same sample.
#include "engine/fast/batch.h"

#include "engine/fast/batch_flow.h"
#include "engine/fast/builder.h"
#include "engine/fast/threaded.h"
#include "tests/edge_numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace kestrel::fast {

namespace {

constexpr std::int32_t kWholes[] = {0, 1, -1, 2, 3, 31, 32, 255, -7, 65536, 2147483647, -2147483647 - 1};

struct Record {
    double a;
    double b;
    double result;
    std::int32_t m;
    std::int32_t n;
};

/// Records, and the columns that have the same.
class Samples {
public:
    explicit Samples(std::size_t count)
        : result_(count, -77.0), columns_(std::as_bytes(std::span(&common_, 1))) {
        std::mt19937_64 random(11);
        const auto pick = [&](const auto& from) { return from[random() % std::size(from)]; };
        const auto real = [&] { return random() % 24 == 0 ? std::nan("") : pick(test::kEdgeNumbers); };
        for (std::size_t i = 0; i < count; ++i) {
            a_.push_back(real());
            b_.push_back(real());
            m_.push_back(pick(kWholes));
            n_.push_back(pick(kWholes));
        }
        columns_.add({offsetof(Record, a), false, false, a_.data()});
        columns_.add({offsetof(Record, b), false, false, b_.data()});
        columns_.add({offsetof(Record, result), false, true, result_.data()});
        columns_.add({offsetof(Record, m), true, false, m_.data()});
        columns_.add({offsetof(Record, n), true, false, n_.data()});
    }

    /// Runs groups of the code and compares each with its samples one by one. A group may leave without need
    /// where a number is beyond what its lanes convert.
    /// @return the groups that have not left
    std::size_t compare(const Code& code, int lanes, const std::string& what) {
        CodeMemory memory;
        const auto batch = BatchCode::make(code, memory, lanes);
        if (batch == nullptr) {
            ADD_FAILURE() << "no code: " << what;
            return 0;
        }
        ThreadedCode threaded(code);
        batch->bind(columns_);
        std::size_t stayed = 0;
        for (std::size_t first = 0; first + batch->lanes() <= a_.size(); first += batch->lanes()) {
            const std::vector<double> before = result_;
            const bool left = batch->run(first, first + batch->lanes()) == first;
            stayed += left ? 0 : 1;
            bool mustLeave = false;
            for (std::size_t i = first; i < first + batch->lanes(); ++i) {
                Record record{a_[i], b_[i], before[i], m_[i], n_[i]};
                mustLeave = threaded.run(&record).outcome() == Outcome::Left || mustLeave;
                const double expected = left ? before[i] : record.result;
                EXPECT_TRUE(std::bit_cast<std::uint64_t>(expected) ==
                                std::bit_cast<std::uint64_t>(result_[i]) ||
                            (std::isnan(expected) && std::isnan(result_[i])))
                    << what << " of " << a_[i] << ' ' << b_[i] << ' ' << m_[i] << ' ' << n_[i] << " in lane "
                    << i - first << ": " << result_[i] << ", not " << expected;
            }
            EXPECT_TRUE(left || !mustLeave) << what;
        }
        return stayed;
    }

private:
    Record common_{};
    std::vector<double> a_, b_, result_;
    std::vector<std::int32_t> m_, n_;
    Columns columns_;
};

Immediate at(std::size_t offset) {
    return Immediate{.whole = static_cast<std::int64_t>(offset)};
}

/// Writes code of four loads, what a test makes of them, and a store.
class Writer : public Builder {
public:
    Reg a = make(Op::LoadRecordReal, kNoReg, kNoReg, kNoReg, at(offsetof(Record, a)));
    Reg b = make(Op::LoadRecordReal, kNoReg, kNoReg, kNoReg, at(offsetof(Record, b)));
    Reg m = make(Op::LoadRecordWhole, kNoReg, kNoReg, kNoReg, at(offsetof(Record, m)));
    Reg n = make(Op::LoadRecordWhole, kNoReg, kNoReg, kNoReg, at(offsetof(Record, n)));

    Code finish(Reg result) {
        if (of(result).cls == Class::Whole) result = make(Op::FromWhole, result);
        store(Op::StoreRecordReal, result, at(offsetof(Record, result)));
        control(Op::Done);
        Code code = take();
        removeDead(code);
        coalesce(code);
        return code;
    }
};

std::vector<int> lanesHere() {
    if (BatchCode::machineLanes() == 8) return {4, 8};
    return BatchCode::machineLanes() == 4 ? std::vector<int>{4} : std::vector<int>{};
}

}  // namespace

TEST(FastBatch, EachOperationIsThatOfOneSample) {
    const auto cube = [](double x) { return x * x * x; };
    const auto mixed = [](double x, double y) { return x - 2.0 * y; };
    for (const int lanes : lanesHere()) {
        for (int number = 0; number <= static_cast<int>(Op::Either); ++number) {
            const auto op = static_cast<Op>(number);
            const OpInfo& info = infoOf(op);
            if (info.sort != Sort::Pure && info.sort != Sort::Test) continue;
            Writer writer;
            Immediate imm;
            if (op == Op::Call1) imm.one = cube;
            if (op == Op::Call2) imm.two = mixed;
            const bool wholes = info.operands[0] == Class::Whole;
            const bool conditions = op == Op::Not || op == Op::Both || op == Op::Either || op == Op::Choose;
            Reg x = wholes ? writer.m : writer.a;
            Reg y = info.operands[1] == Class::None ? kNoReg : wholes ? writer.n : writer.b;
            Reg z = kNoReg;
            if (conditions) {
                x = writer.make(Op::Less, writer.a, writer.b);
                if (y != kNoReg) y = writer.make(Op::LessWhole, writer.m, writer.n);
            }
            if (op == Op::Choose) {
                y = writer.a;
                z = writer.b;
            }
            if (op == Op::Remainder) y = writer.make(Op::Or, y, writer.whole(1));
            const Reg result = writer.make(op, x, y, z, imm);
            Samples samples(800);
            EXPECT_GT(samples.compare(writer.finish(result), lanes, std::string(info.name)),
                      op == Op::ToWhole ? 5u : 90u);
        }
        for (const std::int64_t divisor : {1, 8, 7, -3}) {
            Writer writer;
            const Reg rest = writer.make(Op::Remainder, writer.m, writer.whole(divisor));
            Samples samples(80);
            EXPECT_GE(samples.compare(writer.finish(rest), lanes, "remainder by a constant"), 10u);
        }
        Writer writer;  // of 64 bits
        const Reg product = writer.make(Op::MulWhole, writer.m, writer.n);
        const Reg sum =
            writer.make(Op::AddWhole, writer.make(Op::MulWhole, product, writer.whole(3)), writer.m);
        const Reg low =
            writer.make(Op::Xor, writer.make(Op::Cut15, sum), writer.make(Op::CutUnsigned, product));
        Samples samples(400);
        EXPECT_GE(samples.compare(writer.finish(writer.make(Op::AddWhole, sum, low)), lanes, "64 bits"), 50u);
    }
}

TEST(FastBatch, WhatNeedsAnOrderIsNotTaken) {
    CodeMemory memory;
    double global = 0.0;
    Writer writer;
    writer.store(Op::StoreReal, writer.a, Immediate{.address = &global});
    const Code code = writer.finish(writer.b);
    EXPECT_FALSE(independent(code));
    EXPECT_EQ(BatchCode::make(code, memory, 0), nullptr);
    Writer other;
    const Code fine = other.finish(other.b);
    EXPECT_TRUE(independent(fine));
    EXPECT_EQ(BatchCode::make(fine, memory, 5), nullptr);
}

}  // namespace kestrel::fast
