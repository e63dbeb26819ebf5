// What an embedder's samples allocate: nothing, once a script is warm.
#include "script/include/kestrel/script.h"
#include "tests/allocations/allocator.h"

#include <gtest/gtest.h>

namespace kestrel::script {

namespace {

constexpr const char* kShader = R"(
var scale = 2; var table[16];
noise: x, y { if (x < 0) return noise(-x, y); return sin(x * 12.9898 + y * 78.233), cos(x); }
process: sa {
    var i; var total = 0;
    for (i = 1; i <= 16; ++i) { table[i] = sa.oPos[1] * i; total += table[i]; }
    (a, b) = noise(sa.oPos[1] - 3, total);
    sa.color[1] = a + both(total, b);
    sa.eta = weight(<sa.oPos[1], sa.oPos[2], 1> * scale);
}
)";

}  // namespace

TEST(EmbeddedScript, ASampleAllocatesNothingOnceTheScriptIsWarm) {
    Engine engine;
    engine.define("both", 2, [](std::span<const Value> a) { return a[0].number() + a[1].number(); });
    engine.define("weight", 1, [](std::span<const Value> a) { return a[0].vector().y; });
    Compiled compiled = engine.compile(kShader);
    ASSERT_TRUE(compiled) << compiled.diagnostics.at(0).text;
    Script& script = *compiled.script;
    Sample sample;
    // The first one is interpreted, and with the second one code is made.
    for (int i = 0; i < 3; ++i) ASSERT_EQ(script.evaluate(sample), Status::Done);
    ASSERT_TRUE(script.diagnostics().empty()) << script.diagnostics()[0].text;
    const std::size_t before = test::allocations.made;
    EXPECT_GT(before, 0u);
    double sum = 0.0;
    for (int i = 0; i < 2000; ++i) {
        sample.oPos[0] = i * 0.01;
        if (script.evaluate(sample) != Status::Done) FAIL();
        sum += sample.color[0] + sample.eta;
    }
    EXPECT_EQ(test::allocations.made - before, 0u);
    EXPECT_NE(sum, 0.0);
}

}  // namespace kestrel::script
