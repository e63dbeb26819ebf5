// Whatever shades samples, embedders see the same.
#include "script/test_scripts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kestrel::script {

namespace {

constexpr Executor kExecutors[] = {Executor::Definition, Executor::Threaded, Executor::Native,
                                   Executor::Automatic};

Sample sampleAt(double x, double y) {
    Sample sample;
    sample.oPos[0] = x;
    sample.oPos[1] = y;
    sample.luminous = 0.25;
    return sample;
}

std::string bytesOf(const Sample& sample) {
    std::string bytes(sizeof sample, '\0');
    std::memcpy(bytes.data(), &sample, sizeof sample);
    return bytes;
}

/// Shades under each executor, with `between` after every third sample, and compares all with the first.
/// @param between  may be empty
void expectAlike(const char* source, const std::function<void(Script&, int)>& between = {}) {
    std::vector<std::string> first;
    for (const Executor executor : kExecutors) {
        Engine engine({.executor = executor});
        const Compiled compiled = engine.compile(source);
        ASSERT_TRUE(compiled) << source;
        Script script = *compiled.script;
        ASSERT_NE(script.call("init", {}).status, Status::Aborted);
        std::vector<std::string> seen;
        for (int i = 0; i < 40; ++i) {
            const double far = i == 17   ? 1e300
                               : i == 23 ? std::numeric_limits<double>::quiet_NaN()
                                         : i * 0.37;
            Sample sample = sampleAt(far, 3.0 - i * 0.11);
            const Status status = script.evaluate(sample);
            std::string line = bytesOf(sample) + std::to_string(static_cast<int>(status));
            for (const Diagnostic& each : script.diagnostics()) line += each.text + std::to_string(each.line);
            if (const auto count = script.global("count")) line += std::to_string(count->number());
            seen.push_back(line);
            if (between && i % 3 == 2) between(script, i);
        }
        if (first.empty()) first = seen;
        EXPECT_EQ(first, seen) << source << " under " << static_cast<int>(executor);
    }
}

}  // namespace

TEST(Shading, WhatChangesBetweenSamplesIsNoticed) {
    const char* const source =
        "var count = 0; var scale = 2; var table[4]; init { for i = 1 to 4 do table[i] = i * 0.5; } "
        "process: sa { count++; sa.color[1] = scale * sa.oPos[1]; if (table.isArray()) sa.mirror = 1; } "
        "more { scale = scale + 1; }";
    expectAlike(source, [](Script& script, int i) {
        static_cast<void>(script.call(i % 2 != 0 ? "more" : "nothing", {}));
        const Value value = i == 20   ? Value("text")
                            : i == 26 ? Value(Vector{1, 2, 3})
                            : i > 26  ? Value(0.5)
                                      : Value(i);
        EXPECT_EQ(i % 2 != 0 || script.setGlobal("scale", value), true);
    });
    expectAlike(
        "var count = 0; var t[3]; init { t[1] = 1; t[2] = 2.5; t[3] = 3; } grow { append(t, 4); t[2] = "
        "count; } "
        "process: sa { count++; sa.mirror = t[2] + t[3]; }",
        [](Script& script, int i) { script.call(i < 3 ? "init" : "grow", {}); });
}

TEST(Shading, ALoopCanBeEndedFromOutside) {
    for (const Executor executor : kExecutors) {
        Engine engine({.executor = executor});
        const Canceller canceller = engine.canceller();
        const Compiled compiled = engine.compile(
            "process: sa { x = 0; while (x < sa.oPos[1]) { x = x + 1; if (x > 1000) x = 500; } sa.mirror = "
            "x; }");
        ASSERT_TRUE(compiled);
        Script script = *compiled.script;
        for (int i = 0; i < 3; ++i) {
            Sample sample = sampleAt(3, 0);
            ASSERT_EQ(script.evaluate(sample), Status::Done);
        }
        std::thread later([&canceller] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            canceller.cancel();
        });
        Sample endless = sampleAt(1e9, 0);
        EXPECT_EQ(script.evaluate(endless), Status::Cancelled);
        later.join();
        canceller.resume();
        Sample sample = sampleAt(5, 0);
        EXPECT_EQ(script.evaluate(sample), Status::Done);
        EXPECT_EQ(sample.mirror, 5.0);
    }
}

}  // namespace kestrel::script
