#include "engine/operations/collector.h"

#include "engine/kinds/record_kind.h"
#include "engine/operations/arrays.h"
#include "engine/test_support.h"
#include "engine/values/limits.h"

namespace kestrel::test {

constexpr const char* kExhausted = "memory exhausted!  Cannot continue!\n";

class Collector : public EngineTest {
protected:
    static bool endsExhausted(const std::string& messages) { return messages.ends_with(kExhausted); }
};

TEST_F(Collector, ArraysLiveAsLongAsAnythingRefersToThem) {
    Variable& global = array("global", {N(1), S("kept")});
    FunctionRecord& function = *ctx.program->make<FunctionRecord>();
    ctx.program->functions.append(&function);
    Variable* const held[] = {ctx.program->make<Variable>(), ctx.program->make<Variable>()};
    function.params.append(held[0]);
    function.locals.append(held[1]);
    for (Variable* variable : held) {
        variable->type = Array;
        variable->object = global.object;
        assignVariable(ctx, *variable, ValueCell::ofObject(NewArray, array("", {N(7)}).object));
        ctx.program->globals.tail->type = Nil;  // the one that made it
    }
    push(ValueCell::ofObject(NewArray, array("", {N(2)}).object));
    ctx.program->globals.tail->type = Nil;
    Variable& lost = array("lost", {S("a text"), S("another")});
    const std::size_t texts = ctx.pool.liveBlocks();
    assignVariable(ctx, lost, N(3));
    EXPECT_EQ(ctx.arrays.size(), 5u);
    EXPECT_NE(takeMessages(), "");  // an array was overwritten

    collectArrays(ctx);
    EXPECT_EQ(ctx.arrays.size(), 4u);
    EXPECT_EQ(ctx.pool.liveBlocks(), texts - 2);
    EXPECT_EQ(showElements(global), "1 'kept'");
    EXPECT_EQ(showElements(*held[0]) + showElements(*held[1]), "77");
    ctx.stack.dropTo(0);
    held[1]->type = Nil;
    collectArrays(ctx);
    EXPECT_EQ(ctx.arrays.size(), 2u);
    EXPECT_EQ(ctx.pool.grownBytes(), 0u);
}

TEST_F(Collector, TextsArraysAndRecordsHaveOneBudget) {
    if (kTinyLimits) GTEST_SKIP() << "needs larger arrays";
    constexpr std::size_t kLimit = std::size_t{1} << 20;
    ctx.pool.setLimit(kLimit);
    const std::int64_t size[] = {10'000};
    ArrayRecord* array = makeArray(ctx, size, Nil);
    ASSERT_NE(array, nullptr);
    Variable& holder = variable("holder", ValueCell::ofObject(NewArray, array));
    EXPECT_GE(ctx.pool.usedBytes(), 10'000 * sizeof(ValueCell));
    EXPECT_EQ(makeArray(ctx, size, Nil), nullptr);
    EXPECT_TRUE(endsExhausted(takeMessages()));
    EXPECT_TRUE(std::exchange(ctx.run.abort, false));
    EXPECT_EQ(ctx.pool.strdup(std::string(kLimit - 10'000 * sizeof(ValueCell), 'x')), nullptr);
    EXPECT_TRUE(endsExhausted(takeMessages()));

    // Growing takes room for later elements only where there is some.
    EXPECT_TRUE(resizeArray(ctx, *array, 15'000));
    EXPECT_EQ(takeMessages(), "");
    EXPECT_FALSE(resizeArray(ctx, *array, 30'000));
    EXPECT_TRUE(endsExhausted(takeMessages()));
    EXPECT_EQ(array->count(), 15'000);

    ctx.run.abort = false;
    RecordTemplate& declaration = *ctx.program->make<RecordTemplate>();
    for (int i = 0; i < 10'000 && !ctx.run.abort; ++i) holdRecord(ctx, makeRecord(ctx, declaration));
    EXPECT_TRUE(ctx.run.abort);
    EXPECT_TRUE(endsExhausted(takeMessages()));
    ctx.run.abort = false;
    holder.type = Nil;
    EXPECT_NE(makeArray(ctx, size, Nil), nullptr) << "lost arrays make room for the next";
    EXPECT_EQ(ctx.arrays.size(), 1u);
    ctx.arrays.clear();
    ctx.records.clear();
    EXPECT_EQ(ctx.pool.usedBytes(), 0u);
}

}  // namespace kestrel::test
