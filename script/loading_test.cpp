#include "script/loading.h"

#include "builtins/builtin_table.h"
#include "engine/kinds/engine_kinds.h"
#include "engine/operations/storage.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kestrel {

namespace {

class Loading : public ::testing::Test, MessageSink {
protected:
    Loading() : ctx_({.messages = this, .builtins = &library_.table(), .kinds = &kinds_.table}) {}

    bool compile(std::string_view text) { return compileInto(ctx_, "test", {.text = text}); }
    double number(std::string_view global) { return ctx_.program->findGlobal(global)->number; }
    void set(std::string_view global, double value) {
        store(ctx_, *ctx_.program->findGlobal(global), ValueCell::ofNumber(value));
    }
    FunctionRecord& function(std::string_view name) { return *ctx_.program->findFunction(name); }

    int errors_ = 0;

private:
    void show(const Message& message) override { errors_ += message.kind == MessageKind::Error; }

    BuiltinLibrary library_;
    EngineKinds kinds_;

protected:
    EngineContext ctx_;
};

}  // namespace

TEST_F(Loading, ChecksWhatIsDemandedAndMakesReadyOnce) {
    ASSERT_TRUE(compile("f { return ::missing; }"));
    EXPECT_FALSE(prepare(ctx_, Demand::Names));
    EXPECT_FALSE(ctx_.program->linked);
    ASSERT_TRUE(compile("f { return 1; }"));
    EXPECT_FALSE(prepare(ctx_, Demand::Process));
    EXPECT_EQ(errors_, 2);
    EXPECT_TRUE(prepare(ctx_, Demand::Names));
    // Something that making ready again would overwrite.
    CodeNode& node = *ctx_.program->code.head;
    const auto linked = node.exec;
    node.exec = linked + 1;
    EXPECT_TRUE(prepare(ctx_, Demand::Nothing));
    EXPECT_EQ(node.exec, linked + 1);
    ASSERT_TRUE(compile("f { return 1; }"));
    EXPECT_FALSE(ctx_.program->linked) << "another script";
}

TEST_F(Loading, AssignsBeforeAndAfterTheCodeOutsideFunctions) {
    ASSERT_TRUE(compile("var given = 1; var seen; seen = given; f { }\nvar later = given;"));
    ASSERT_TRUE(prepare(ctx_, Demand::Names));
    std::string seen;
    EXPECT_FALSE(start(ctx_, [&] {
        seen += std::to_string(static_cast<int>(number("later"))) + ' ';
        set("given", 5);
    }));
    EXPECT_EQ(seen, "0 1 ") << "its own default ran in between";
    EXPECT_EQ(number("seen"), 1.0);
    EXPECT_EQ(number("given"), 5.0);
}

TEST_F(Loading, CallsLeaveNothingBehindAlsoWhenTheyFail) {
    ASSERT_TRUE(compile("var sum; add: x { sum += x; return 1, 2, \"text\"; } bad { sum = 1 / 0; }"));
    ASSERT_TRUE(prepare(ctx_, Demand::Names));
    ASSERT_FALSE(start(ctx_));
    const std::array arguments{ValueCell::ofNumber(2.0)};
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(callFunction(ctx_, function("add"), arguments));
    EXPECT_EQ(number("sum"), 6.0);
    EXPECT_EQ(ctx_.stack.size(), 0);
    EXPECT_TRUE(callFunction(ctx_, function("bad")));
    EXPECT_EQ(ctx_.stack.size(), 0);
    EXPECT_TRUE(ctx_.run.calls.empty());
    EXPECT_FALSE(callFunction(ctx_, function("add"), arguments)) << "the next call is none the worse";
}

}  // namespace kestrel
