#include "script/test_scripts.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kestrel::script {

namespace {

using namespace test;  // NOLINT: what the file is written in

constexpr Executor kExecutors[] = {Executor::Definition, Executor::Threaded, Executor::Native,
                                   Executor::Automatic};

const std::vector<Value>& samplesOfAllKinds() {
    static const std::vector<Value> kValues{Value(),
                                            2.5,
                                            -0.0,
                                            7,
                                            Value::integer(1e18),
                                            Vector{1, -2, 3.5},
                                            "",
                                            "text",
                                            std::string(5000, 'x'),
                                            Value::Array{1, 2.5, "three", Vector{4, 5, 6}, Value()}};
    return kValues;
}

}  // namespace

TEST(Script, ValuesOfAllKindsComeBackAsTheyWent) {
    std::optional<Script> script;
    std::vector<Value> kept;
    {
        Engine engine;
        engine.define("through", 1, [](Arguments arguments) { return arguments[0]; });
        script = scriptOf(engine,
                          "var g; same: x { return x; } native: x { return through(x); } get { return g; }");
        for (const Value& value : samplesOfAllKinds()) {
            EXPECT_EQ(result(*script, "same", {value}), value);
            EXPECT_EQ(result(*script, "native", {value}), value);
            EXPECT_TRUE(script->setGlobal("g", value));
            EXPECT_EQ(script->global("g"), value);
            kept.push_back(result(*script, "get"));
        }
    }
    EXPECT_EQ(result(*script, "get"), samplesOfAllKinds().back());  // outlives the engine's handle
    script.reset();
    EXPECT_EQ(kept, samplesOfAllKinds());
    EXPECT_THROW(static_cast<void>(kept[0].number()), std::domain_error);
}

TEST(Script, SeveralResultsAndMissingThings) {
    Engine engine;
    engine.define("count", -1, [](Arguments arguments) { return arguments.size(); });
    Script script = scriptOf(engine,
                             "three { return 1, \"two\", <3,3,3>; } counted { return count(0, three()); }\n"
                             "none { } two: a, b { return a; }");
    EXPECT_EQ(script.call("three").values, (std::vector<Value>{1, "two", Vector{3, 3, 3}}));
    EXPECT_EQ(result(script, "counted"), Value(4));
    EXPECT_TRUE(script.call("none").values.empty());
    EXPECT_EQ(script.call("nowhere").status, Status::NoSuchFunction);
    EXPECT_EQ(script.call("two", {1}).status, Status::Aborted);
    EXPECT_EQ(said(script.diagnostics()), "too-few-arguments");
    EXPECT_EQ(result(script, "two", {1, 2, 3}), Value(1));
    EXPECT_FALSE(script.global("nowhere").has_value());
    EXPECT_FALSE(script.setGlobal("three", 1));
    EXPECT_FALSE(script.setGlobal("PI", 3));
    EXPECT_THROW(script.call("two", {Value::Array(1, Value::Array())}), std::invalid_argument);
    Sample sample;
    EXPECT_EQ(script.evaluate(sample), Status::NoSuchFunction);
}

TEST(Script, DiagnosticsHavePlaces) {
    Engine engine;
    const Compiled broken = engine.compile("f {\n    x = 1 +;\n}", "wood");
    EXPECT_FALSE(broken);
    ASSERT_FALSE(broken.diagnostics.empty());
    EXPECT_EQ(broken.diagnostics[0].kind, Diagnostic::Kind::Error);
    EXPECT_EQ(broken.diagnostics[0].file, "wood");
    EXPECT_EQ(broken.diagnostics[0].line, 2);
    EXPECT_EQ(broken.diagnostics[0].column, 12);

    Script script = scriptOf(engine, "f {\n    info(\"hello\");\n    return angle(1, 2, 3);\n}");
    EXPECT_EQ(result(script, "f"), Value());
    ASSERT_EQ(said(script.diagnostics()), "user-info argument-type");
    EXPECT_EQ(script.diagnostics()[0].text, "hello");
    EXPECT_EQ(script.diagnostics()[1].line, 3);
    for (int i = 0; i < 40; ++i) EXPECT_TRUE(script.call("f"));  // errors count for each call
    EXPECT_FALSE(engine.compileFile("/nowhere/at/all.ks"));
    EXPECT_EQ(engine.compile("var a = 1 % 0;").diagnostics.size(), 1U);
}

TEST(Script, ProcessWorksOnTheEmbeddersSample) {
    Engine engine;
    Script script =
        scriptOf(engine,
                 "var shade = 0.5;\nprocess: sa {\n    sa.color[1] = sa.oPos[2] * shade;\n"
                 "    sa.roughness = sa.objID == nil;\n    sa.color[9] = 1;\n}\nouter: sa { return sa; }");
    for (int i = 0; i < 3; ++i) {
        Sample sample;
        sample.oPos[1] = i;
        sample.eta = 1.5;
        EXPECT_EQ(script.evaluate(sample), Status::Done);
        EXPECT_EQ(said(script.diagnostics()), "sample-index-range");
        EXPECT_EQ(sample.color[0], i * 0.5);
        EXPECT_EQ(sample.roughness, 1.0);
        EXPECT_EQ(sample.eta, 1.5);
    }
}

TEST(Script, WhatIsOpenedWorks) {
    const char* const source =
        "a { return File(\"/dev/null\", \"r\"); } b { return spawn(\"true\"); } c { return recall(\"k\", 1); "
        "}\n"
        "e { return getenv(\"PATH\"); } g { var lines[\"/etc/passwd\"]; return size(lines); }";
    Engine closed;
    Script script = scriptOf(closed, source);
    EXPECT_EQ(result(script, "g"), Value(0));
    EXPECT_EQ(said(script.diagnostics()).substr(0, 11), "not-allowed");
    Engine open({.files = true, .processes = true});
    script = scriptOf(open, source);
    EXPECT_EQ(result(script, "b"), Value(0)) << said(script.diagnostics());
    EXPECT_FALSE(result(script, "e").isNil());
    EXPECT_TRUE(script.call("a"));
    EXPECT_TRUE(script.diagnostics().empty());
    script.call("c");
    EXPECT_EQ(said(script.diagnostics()), "not-allowed");
}

TEST(Script, ComponentsStayInTheirFolders) {
    const kestrel::test::TemporaryFolder folder;
    const std::filesystem::path& root = folder.path;
    std::filesystem::create_directories(root / "in/deeper");
    std::ofstream(root / "out.ks") << "var out = 1;\n";
    std::ofstream(root / "in/deeper/part.ks") << "var part = 2;\n";
    std::ofstream(root / "in/main.ks") << "#insert \"deeper/part.ks\"\nf { return part; }\n";
    std::filesystem::create_symlink("../out.ks", root / "in/link.ks");
    std::filesystem::create_symlink("..", root / "in/up");
    std::filesystem::create_symlink("deeper/part.ks", root / "in/near.ks");
    std::filesystem::create_symlink("in", root / "also");
    Engine engine({.searchFolders = {(root / "also").string()}});
    for (const char* inside : {"near.ks", "deeper/part.ks"})
        EXPECT_TRUE(engine.compile("#insert \"" + std::string(inside) + "\"\n")) << inside;
    for (const std::string& outside : {std::string("../out.ks"), (root / "out.ks").string(),
                                       std::string("link.ks"), std::string("up/out.ks")})
        EXPECT_FALSE(engine.compile("#insert \"" + outside + "\"\n")) << outside;
    EXPECT_TRUE(Engine({.searchFolders = {(root / "in").string()}, .leavesFolders = true})
                    .compile("#insert \"../out.ks\"\n"));
    Compiled compiled = Engine().compileFile((root / "in/main.ks").string());
    ASSERT_TRUE(compiled);
    EXPECT_EQ(result(*compiled.script, "f"), Value(2));
}

TEST(Script, DefineRefusesWhatCannotBe) {
    Engine engine;
    const Function nothing = [](Arguments) { return Value(); };
    engine.define("mine", 0, nothing);
    for (const char* name : {"mine", "", "a b", "1a", "sin", "while", "File", "\xc3\xa4"})
        EXPECT_THROW(engine.define(name, 0, nothing), std::invalid_argument) << name;
    EXPECT_THROW(engine.define("other", 0, nullptr), std::invalid_argument);
    EXPECT_THROW(engine.define("other", -2, nothing), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(engine.compile("", "")), std::invalid_argument);
    Script script = scriptOf(engine, "f { return mine(1); }");
    EXPECT_EQ(result(script, "f"), Value());
    EXPECT_EQ(said(script.diagnostics()), "call-argument-count");
    engine.define("later", 0, nothing);
    EXPECT_FALSE(engine.compile("f { return nowhere(); }"));
    EXPECT_FALSE(engine.compile("f { return ::missing; }"));
    EXPECT_TRUE(script.call("f"));  // keeps the functions that it was compiled with
}

TEST(Script, DefinedFunctionsMayThrowAndCallBack) {
    Engine engine;
    std::optional<Script> outer;
    std::optional<Script> other;
    engine.define("fails", 0, [](Arguments) -> Value { throw std::runtime_error("no luck"); });
    engine.define("failsOddly", 0, [](Arguments) -> Value { throw 5; });
    engine.define("nested", 0, [](Arguments) { return Value::Array(1, Value::Array()); });
    engine.define("again", 0, [&](Arguments) { return outer->call("f").values.at(0); });
    engine.define("elsewhere", 1, [&](Arguments a) { return other->call("twice", a).values.at(0); });
    engine.define("letGo", 0, [&](Arguments) {
        outer.reset();
        return 1;
    });
    other = scriptOf(engine, "twice: x { return x * 2; }");
    outer =
        scriptOf(engine,
                 "f { return 3; } a { return fails(); } b { return failsOddly(); } c { return nested(); }\n"
                 "d { return again(); } e { return 1 + elsewhere(4); } g { letGo(); return f(); }");
    for (const char* function : {"a", "b", "c", "d"}) {
        EXPECT_EQ(result(*outer, function), Value()) << function;
        EXPECT_EQ(said(outer->diagnostics()), "native-code-failed") << function;
    }
    EXPECT_NE(outer->diagnostics()[0].text.find("at work already"), std::string::npos);
    EXPECT_EQ(result(*outer, "e"), Value(9));
    Script last = *outer;
    EXPECT_EQ(result(last, "g"), Value(3));
    outer = last;
    Script* const only = &*outer;
    last = *other;
    EXPECT_EQ(only->call("g").values, std::vector<Value>{3});  // the handle has gone meanwhile
    EXPECT_FALSE(outer);
}

TEST(Script, MemoryHasALimit) {
    Engine engine({.memoryLimit = 1 << 20});
    Script script = scriptOf(
        engine, "var v[3]; f { var t = \"0123456789\"; while (1) t = t + t; } g: x { return size(x); }");
    EXPECT_EQ(script.call("f").status, Status::Aborted);
    EXPECT_EQ(said(script.diagnostics()), "memory-exhausted");
    for (const Value& large : {Value(std::string(2 << 20, 'x')), Value(Value::Array(100000))})
        EXPECT_EQ(script.call("g", {large}).status, Status::Aborted);
    EXPECT_EQ(result(script, "g", {"four"}), Value(4));
    // It fits once: as the value on its way, and not as the variable's own.
    EXPECT_FALSE(script.setGlobal("v", std::string(600'000, 'x')));
    EXPECT_EQ(said(script.diagnostics()), "memory-exhausted");
    EXPECT_EQ(script.global("v"), Value(Value::Array(3)));
    EXPECT_TRUE(script.setGlobal("v", "short"));
    EXPECT_EQ(script.global("v"), Value("short"));
    EXPECT_TRUE(script.diagnostics().empty());
}

TEST(Script, AnotherThreadCanCancelWhateverShades) {
    for (const Executor executor : kExecutors) {
        Engine engine({.executor = executor});
        const Canceller canceller = engine.canceller();
        std::atomic<bool> running = false;
        engine.define("started", 0, [&](Arguments) {
            running = true;
            return Value();
        });
        Script script =
            scriptOf(engine,
                     "f { started(); while (1) { } } g { return 1; }\n"
                     "process: sa { x = 0; while (x < sa.oPos[1]) { x = x + 1; if (x > 1000) x = 500; } }");
        std::thread other([&] {
            while (!running) std::this_thread::yield();
            EXPECT_THROW(script.call("g"), std::logic_error);  // the engine is in use
            EXPECT_THROW(static_cast<void>(engine.compile("")), std::logic_error);
            canceller.cancel();
        });
        EXPECT_EQ(script.call("f").status, Status::Cancelled);
        other.join();
        EXPECT_EQ(script.call("g").status, Status::Cancelled);
        EXPECT_FALSE(engine.compile("var a = 1;"));
        canceller.resume();
        EXPECT_EQ(result(script, "g"), Value(1));
        Sample sample;
        for (int i = 0; i < 3; ++i) ASSERT_EQ(script.evaluate(sample), Status::Done);
        other = std::thread([&canceller] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            canceller.cancel();
        });
        sample.oPos[0] = 1e9;
        EXPECT_EQ(script.evaluate(sample), Status::Cancelled);
        other.join();
    }
}

TEST(Script, WhateverShadesNoticesWhatChangesBetweenSamples) {
    std::string first;
    for (const Executor executor : kExecutors) {
        Engine engine({.executor = executor});
        Script script = scriptOf(
            engine,
            "var scale = 2; var t[3]; grow { append(t, 4); t[2] = scale; } more { scale = scale + 1; }\n"
            "process: sa { sa.eta = t[2]; sa.color[1] = scale * sa.oPos[1]; if (t.isArray()) sa.mirror = 1; "
            "}");
        std::string seen;
        for (int i = 0; i < 40; ++i) {
            Sample sample;
            sample.oPos[0] = 3.0 - i * 0.11;
            seen += std::to_string(static_cast<int>(script.evaluate(sample))) + said(script.diagnostics());
            for (const double number : {sample.eta, sample.color[0], sample.mirror})
                seen += ' ' + std::to_string(number);
            if (i % 3 == 1) script.call(i < 30 ? "more" : "grow");
            if (i % 3 != 2) continue;
            const Value value = i == 20 ? Value("text") : i == 26 ? Value(Vector{1, 2, 3}) : Value(i * 0.5);
            EXPECT_TRUE(script.setGlobal("scale", value));
        }
        if (first.empty()) first = seen;
        EXPECT_EQ(first, seen) << static_cast<int>(executor);
    }
}

TEST(Script, EnginesInThreadsHaveNothingInCommon) {
    std::atomic<int> failures = 0;
    const auto work = [&failures](int seed) {
        Engine engine;
        engine.define("seed", 0, [seed](Arguments) { return seed; });
        for (int round = 0; round < 3; ++round) {
            Compiled compiled = engine.compile(
                "var sum = 0; var names[10];\ndeclare record Pair { a = 1, b = \"x\"; }\n"
                "process: sa { var i; for (i = 1; i <= 10; ++i) { names[i] = \"n\" + i; sum += i * seed(); "
                "}\n"
                "  sa.color[1] = sum; }\nbad { return angle(1, 2, strupper(\"x\")); }");
            Sample sample;
            const bool fine = compiled && compiled.script->evaluate(sample) == Status::Done &&
                              sample.color[0] == 55.0 * seed && compiled.script->call("bad") &&
                              compiled.script->diagnostics().size() == 1;
            if (!fine) ++failures;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 1; i <= 8; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

}  // namespace kestrel::script
