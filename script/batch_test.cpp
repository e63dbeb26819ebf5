// Batches by planes give what one sample after the other gives, and say what cannot be.
#include "script/test_scripts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::script {

namespace {

constexpr std::size_t kCount = 53;  // groups of 4 and of 8, and a rest

/// Two numbers that samples begin with, and two that they leave.
struct Batch {
    std::vector<double> x;
    std::vector<std::int32_t> row;
    std::vector<double> luminous;
    std::vector<double> red;

    Batch() : luminous(kCount, 0.25), red(kCount, 0.5) {
        for (std::size_t i = 0; i < kCount; ++i) {
            x.push_back(i == 17 ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(i) * 0.37);
            row.push_back(static_cast<std::int32_t>(i) - 7);
        }
    }
    [[nodiscard]] Planes planes(const Sample& common = {}) {
        Planes made(kCount, common);
        made.read("oPos", 1, x).read("sx", 1, row).update("luminous", 1, luminous).update("color", 1, red);
        return made;
    }
    [[nodiscard]] Sample sample(std::size_t i, const Sample& common = {}) const {
        Sample made = common;
        made.oPos[0] = x[i];
        made.sx = row[i];
        made.luminous = luminous[i];
        made.color[0] = red[i];
        return made;
    }
};

std::uint64_t bits(double number) {
    return std::isnan(number) ? 1 : std::bit_cast<std::uint64_t>(number);
}

std::string saidBy(const Script& script) {
    std::string all;
    for (const Diagnostic& each : script.diagnostics()) all += each.text + std::to_string(each.line) + '\n';
    return all;
}

/// Evaluates a batch, and the same samples one by one up to the first that does not end well.
/// @return the samples that were computed several at a time
std::uint64_t expectAlike(const char* source, int lanes = 0) {
    Sample common;
    common.oPos[1] = 3.0;
    common.diffuse = 0.75;
    Engine engine({.batchLanes = lanes});
    Script whole = test::scriptOf(engine, source);
    Batch batch;
    const Planes planes = batch.planes(common);
    const BatchResult result = whole.evaluate(planes);

    Script single = test::scriptOf(engine, source);
    Batch expected;
    std::string said;
    BatchResult one;
    for (std::size_t i = 0; i < kCount && one; ++i) {
        Sample sample = expected.sample(i, common);
        one.status = single.evaluate(sample);
        ++one.evaluated;
        expected.luminous[i] = sample.luminous;
        expected.red[i] = sample.color[0];
        said += saidBy(single);
    }
    EXPECT_EQ(result.status, one.status) << source;
    EXPECT_EQ(result.evaluated, one.evaluated) << source;
    EXPECT_EQ(saidBy(whole), said) << source;
    EXPECT_EQ(whole.global("count"), single.global("count")) << source;
    for (std::size_t i = 0; i < kCount; ++i) {
        EXPECT_EQ(bits(batch.luminous[i]), bits(expected.luminous[i])) << source << " in sample " << i;
        EXPECT_EQ(bits(batch.red[i]), bits(expected.red[i])) << source << " in sample " << i;
    }
    return whole.samplesInGroups();
}

void expectRefused(const char* part, const std::function<void(Planes&)>& use) {
    Planes planes(4);
    try {
        use(planes);
        ADD_FAILURE() << "not refused: " << part;
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    }
}

}  // namespace

TEST(Batches, AreAsOneByOne) {
    for (const char* source : {
             "process: sa { if (sa.sx > 3) sa.color[1] = sa.color[1] + sin(sa.oPos[1]); else sa.luminous *= "
             "sa.oPos[2]; }",
             "process: sa { n = 0; while (n < sa.oPos[1]) n = n + 1.5; sa.color[1] = n; sa.mirror = 1; }",
         }) {
        for (const int lanes : {4, 8}) {
            const std::uint64_t grouped = expectAlike(source, lanes);
            // The first samples show what kinds variables have; a NaN may make its group leave.
            EXPECT_TRUE(grouped == 0 || grouped >= kCount / 2) << source << grouped;
            EXPECT_EQ(grouped % static_cast<std::uint64_t>(lanes), 0u);
        }
        EXPECT_EQ(expectAlike(source, 5), 0u);
    }
    for (const char* source : {
             "var count = 0; process: sa { count++; sa.color[1] = count; }",
             "process: sa { sa.color[1] = randu(); }",
             "process: sa { last = kept; kept = sa.oPos[1]; sa.color[1] = last; }",
         })
        EXPECT_EQ(expectAlike(source), 0u) << "what goes from one sample to the next";
    for (const char* source : {
             "process: sa { if (sa.sx == 21) info(\"seen \", sa.oPos[1]); sa.color[1] = 1; }",
             "process: sa { sa.luminous = 2; sa.color[1] = 1 / (sa.sx - 12); }",
             "process: sa { sa.luminous = \"text\"; sa.color[1] = 1; }",
         })
        expectAlike(source);
}

TEST(Batches, TakePartsOfThePlanes) {
    Engine engine;
    Script script =
        test::scriptOf(engine, "process: sa { sa.color[1] = sa.oPos[1] + sa.diffuse; sa.eta = 1; }");
    Batch batch;
    Sample common;
    common.diffuse = 100.0;
    const Planes planes = batch.planes(common);
    EXPECT_EQ(script.evaluate(planes, 5, 0).evaluated, 0u);
    EXPECT_EQ(script.evaluate(planes, 20, 21).evaluated, 21u);
    EXPECT_EQ(script.evaluate(planes, kCount, 0).evaluated, 0u);
    for (std::size_t i = 0; i < kCount; ++i)
        EXPECT_EQ(batch.red[i], i >= 20 && i <= 40 ? batch.x[i] + 100.0 : 0.5) << i;
    EXPECT_THROW(script.evaluate(planes, 20, kCount), std::invalid_argument);
    EXPECT_THROW(script.evaluate(planes, kCount + 1, 0), std::invalid_argument);
    EXPECT_THROW(script.evaluate(planes, 2, static_cast<std::size_t>(-1)), std::invalid_argument);
    EXPECT_EQ(test::scriptOf(engine, "main { }").evaluate(planes).status, Status::NoSuchFunction);
    EXPECT_EQ(script.evaluate(Planes(0)).status, Status::Done);
    EXPECT_EQ(script.evaluate(Planes(30)).evaluated, 30u) << "without a plane";
    Planes moved = batch.planes();
    const Planes other = std::move(moved);
    EXPECT_THROW(script.evaluate(moved), std::logic_error);
}

TEST(Batches, ReadOnlyPlanesStayAsTheyAre) {
    Engine engine;
    Script script = test::scriptOf(engine, "process: sa { sa.wNorm[1] *= 2; sa.color[1] = sa.wNorm[1]; }");
    const std::vector<double> normals(40, 3.0);
    std::vector<double> red(40);
    Planes planes(40);
    planes.read("wNorm", 1, normals).update("color", 1, red);
    ASSERT_TRUE(script.evaluate(planes));
    ASSERT_TRUE(script.evaluate(planes));
    EXPECT_TRUE(std::ranges::all_of(normals, [](double each) { return each == 3.0; }));
    EXPECT_TRUE(std::ranges::all_of(red, [](double each) { return each == 6.0; }));
}

TEST(Batches, RefusePlanesThatCannotBe) {
    std::vector<double> plane(16);
    std::vector<std::int32_t> wholes(4);
    const std::span<double> numbers(plane);
    expectRefused("no member", [&](Planes& p) { p.read("colour", 1, numbers); });
    expectRefused("nothing that scripts read", [&](Planes& p) { p.read("raySource", 1, numbers); });
    expectRefused("nothing that scripts read", [&](Planes& p) { p.read("wXfrm", 1, numbers); });
    expectRefused("nothing that scripts read", [&](Planes& p) { p.read("objID", 1, wholes); });
    expectRefused("so many numbers", [&](Planes& p) { p.read("oPos", 4, numbers); });
    expectRefused("so many numbers", [&](Planes& p) { p.read("cosine", 0, numbers); });
    expectRefused("std::int32_t", [&](Planes& p) { p.read("sx", 1, numbers); });
    expectRefused("of doubles", [&](Planes& p) { p.read("oPos", 1, wholes); });
    expectRefused("cannot be changed", [&](Planes& p) { p.update("oPos", 1, numbers); });
    expectRefused("shorter", [&](Planes& p) { p.read("oPos", 1, numbers.first(3)); });
    expectRefused(
        "null", [&](Planes& p) { p.update("eta", 1, std::span<double>(static_cast<double*>(nullptr), 4)); });
    expectRefused("already", [&](Planes& p) { p.read("oPos", 2, numbers).read("oPos", 2, numbers); });
    expectRefused("overlaps",
                  [&](Planes& p) { p.update("eta", 1, numbers).read("oPos", 1, numbers.subspan(3)); });
    expectRefused("overlaps",
                  [&](Planes& p) { p.read("oPos", 1, numbers).update("eta", 1, numbers.subspan(3)); });
    Planes fine(4);
    fine.read("oPos", 1, numbers).read("oPos", 2, numbers).update("eta", 1, numbers.subspan(4));
    EXPECT_THROW(fine.update("mirror", 1, numbers.subspan(7)), std::invalid_argument);
    fine.update("mirror", 1, numbers.subspan(8));
}

TEST(Batches, InsideOfARunAreRefusedAndCanBeEnded) {
    Engine engine;
    const Canceller canceller = engine.canceller();
    Batch batch;
    const Planes planes = batch.planes();
    std::optional<Script> script;
    engine.define("again", 0, [&](auto) {
        EXPECT_THROW(script->evaluate(planes), std::logic_error);
        return Value();
    });
    engine.define("endAll", 0, [&](auto) {
        canceller.cancel();
        return Value();
    });
    script = test::scriptOf(
        engine, "process: sa { if (sa.sx == 0) again(); sa.color[1] = 1; if (sa.sx == 20) endAll(); }");
    const BatchResult result = script->evaluate(planes);
    EXPECT_EQ(result.status, Status::Cancelled);
    EXPECT_GE(result.evaluated, 27u);
    EXPECT_LE(result.evaluated, 28u);
    EXPECT_EQ(batch.red[30], 0.5);
    EXPECT_EQ(script->evaluate(planes).evaluated, 0u);
    canceller.resume();
    EXPECT_EQ(script->evaluate(planes, 30, 20).evaluated, 20u);
    script.reset();
}

}  // namespace kestrel::script
