#include "script/loading.h"

#include "builtins/builtin_table.h"
#include "engine/kinds/engine_kinds.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

class Loading : public ::testing::Test, MessageSink {
protected:
    Loading() : ctx_({.messages = this, .builtins = &library_.table(), .kinds = &kinds_.table}) {}

    bool compile(std::string_view text) { return compileInto(ctx_, "test", {.text = text}); }
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

}  // namespace kestrel
