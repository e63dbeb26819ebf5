// What embedders and scripts do that they should not, and what they may then count on.
#include "builtins/builtin_table.h"
#include "builtins/common/subjects.h"
#include "script/test_scripts.h"
#include "tests/temporary_folder.h"

#include <pthread.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>
#include <utility>

namespace kestrel::script {

namespace {

using namespace test;  // NOLINT: what the file is written in

}  // namespace

TEST(Misuse, DefinedFunctionsGetAsManyArgumentsAsTheyTake) {
    Engine engine;
    int calls = 0;
    engine.define("area", 2, [&](Arguments a) {
        ++calls;
        return a[0].isNil() ? Value("nil first") : Value(a[0].number() * a[1].number());
    });
    engine.define("count", -1, [](Arguments a) { return a.size(); });
    Script script = scriptOf(engine,
                             "pair { return 2, 3; } first { return area(pair(), 1); }\n"
                             "last { return area(1, pair()); } listed { return area(1, @ 2, 3 @); }\n"
                             "right { return area(2, 3); } any { return count(pair(), pair()); }");
    EXPECT_EQ(result(script, "first"), Value("nil first"));
    for (const char* function : {"last", "listed"}) {
        EXPECT_EQ(result(script, function), Value());
        EXPECT_EQ(said(script.diagnostics()), "call-argument-count") << function;
    }
    EXPECT_EQ(result(script, "right"), Value(6.0));
    EXPECT_EQ(result(script, "any"), Value(3));
    EXPECT_EQ(calls, 2);
}

TEST(Misuse, AResumeDoesNotSaveTheRunInProgress) {
    Engine engine;
    engine.define("stop", 0, [canceller = engine.canceller()](Arguments) {
        canceller.cancel();
        canceller.resume();
        return Value();
    });
    Script script = scriptOf(engine, "f { stop(); while (1) { } } g { return 1; }");
    EXPECT_EQ(script.call("f").status, Status::Cancelled);
    EXPECT_EQ(result(script, "g"), Value(1));
    const Compiled compiled = engine.compile("var a = 1; a = stop(); a = 2; f { }");
    EXPECT_FALSE(compiled);
    EXPECT_EQ(compiled.status, Status::Cancelled);
    EXPECT_EQ(engine.compile("f { ").status, Status::Aborted);
    EXPECT_EQ(engine.compile("f { }").status, Status::Done);
}

TEST(Misuse, DiagnosticsAreCopiesAndTheErrorThatEndsARunIsAmongThem) {
    Engine engine;
    const char* const source = "f: n { var i; for (i = 0; i < n; ++i) info(i); i = 1 / 0; } g { }\n";
    Script script = scriptOf(engine, source);
    EXPECT_EQ(script.call("f", {3}).status, Status::Aborted);
    const std::vector<Diagnostic> kept = script.diagnostics();
    EXPECT_EQ(script.call("f", {1500}).status, Status::Aborted);
    EXPECT_EQ(script.diagnostics().size(), 1000u);
    EXPECT_EQ(script.diagnostics().back().id, "division-by-zero");
    EXPECT_EQ(script.diagnostics()[998].text, "998");
    EXPECT_EQ(script.droppedDiagnostics(), 501u);
    EXPECT_TRUE(script.call("g"));
    EXPECT_EQ(script.diagnostics().size() + script.droppedDiagnostics(), 0u);
    EXPECT_EQ(said(kept), "user-info user-info user-info division-by-zero");
    const Compiled compiled = engine.compile(std::string(source) + "var a = f(1200);");
    EXPECT_EQ(compiled.diagnostics.back().id, "division-by-zero");
    EXPECT_EQ(compiled.droppedDiagnostics, 201u);
}

TEST(Misuse, GlobalsAreTheVariablesOfTheScript) {
    Engine engine;
    Script script = scriptOf(engine,
                             "declare record R { q = 1, both = 2; } var both = 5; var grid[2, 3];\n"
                             "f { var r; r = R(); both = both; grid[2, 1] = 7; return r->q; }");
    for (const char* name : {"R", "q", "f"}) {
        EXPECT_FALSE(script.global(name).has_value()) << name;
        EXPECT_FALSE(script.setGlobal(name, 9)) << name;
    }
    EXPECT_EQ(script.global("both"), Value(5));
    EXPECT_EQ(result(script, "f"), Value(1));
    EXPECT_TRUE(script.setGlobal("grid", Value::Array{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(result(script, "f"), Value(1)) << "it still has two dimensions";
    EXPECT_EQ(script.global("grid"), Value(Value::Array{1, 2, 3, 7, 5, 6}));
    EXPECT_TRUE(script.setGlobal("grid", Value::Array{1, 2}));
    EXPECT_EQ(script.call("f").status, Status::Aborted);
}

TEST(Misuse, NullAndEmptyHandlesAreRefused) {
    Engine engine;
    const char* const null = nullptr;
    EXPECT_THROW(static_cast<void>(engine.compile(null)), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(engine.compile("", null)), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(engine.compileFile(null)), std::invalid_argument);
    EXPECT_THROW(engine.define(null, 0, [](Arguments) { return 1; }), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(Value(null)), std::invalid_argument);
    static_assert(!std::is_constructible_v<Value, std::nullptr_t>);
    Script script = scriptOf(engine, "var g; f { return g; }");
    EXPECT_THROW(script.call(null), std::invalid_argument);
    const Script elsewhere = std::move(script);
    Sample sample;
    EXPECT_THROW(script.call("f"), std::logic_error);  // NOLINT: what a script does that has moved
    EXPECT_THROW(script.evaluate(sample), std::logic_error);
    EXPECT_THROW(script.setGlobal("g", 1), std::logic_error);
    EXPECT_THROW(static_cast<void>(script.global("g")), std::logic_error);
    EXPECT_THROW(static_cast<void>(script.has("f")), std::logic_error);
    EXPECT_THROW(static_cast<void>(script.diagnostics()), std::logic_error);
    script = elsewhere;
    EXPECT_TRUE(script.has("f"));
}

TEST(Misuse, FoldersAndFilesThatAreNotThere) {
    EXPECT_THROW(Engine({.searchFolders = {""}}), std::invalid_argument);
    const kestrel::test::TemporaryFolder folder;
    const std::filesystem::path old = std::filesystem::current_path();
    std::filesystem::create_directories(folder.path / "gone");
    std::filesystem::current_path(folder.path / "gone");
    std::filesystem::remove(folder.path / "gone");
    Engine engine({.searchFolders = {"relative"}});
    const Compiled compiled = engine.compileFile("x.ks");
    std::filesystem::current_path(old);
    EXPECT_EQ(said(compiled.diagnostics), "script-not-opened");
    EXPECT_EQ(compiled.diagnostics[0].file, "x.ks");
}

TEST(Misuse, ABusyScriptCanBeLookedAt) {
    Engine engine;
    std::optional<Script> script;
    engine.define("look", 0, [&](Arguments) {
        EXPECT_TRUE(script->has("f"));
        EXPECT_EQ(script->global("g"), Value(4));
        EXPECT_EQ(said(script->diagnostics()), "user-info");
        EXPECT_THROW(script->call("f"), std::logic_error);
        EXPECT_THROW(script->setGlobal("g", 1), std::logic_error);
        return Value();
    });
    script = scriptOf(engine, "var g; f { g = 4; info(\"so far\"); look(); }");
    EXPECT_TRUE(script->call("f"));
}

TEST(Misuse, AThreadMayEndInADefinedFunction) {
    Engine engine;
    engine.define("leave", 0, [](Arguments) -> Value { pthread_exit(nullptr); });
    Script script = scriptOf(engine, "f { leave(); } g { return 1; }");
    bool returned = false;
    std::thread([&] {
        script.call("f");
        returned = true;
    }).join();
    EXPECT_FALSE(returned);
    EXPECT_EQ(result(script, "g"), Value(1)) << "the engine is free again";
}

TEST(Misuse, EveryBuiltInThatReachesOutIsClosed) {
    namespace subjects = builtins::subjects;
    const std::set<std::string_view> harmless{"split", "sleep", "timestart", "timestop", "platform"};
    const std::set<std::string_view> besides{"dump", "getlocalestr"};
    const auto reachesOut = [&](const BuiltinEntry& row) {
        const bool subject = row.subject == subjects::kFiles || row.subject == subjects::kPrograms ||
                             row.subject == subjects::kStorage;
        return besides.contains(row.name) || (subject && !harmless.contains(row.name));
    };
    EXPECT_EQ(std::size(subjects::kAll), 10u) << "does a new subject reach out of the script?";
    Engine engine;
    const BuiltinLibrary language;
    for (const BuiltinEntry& row : language.table().rows()) {
        const bool ofHosts = row.subject.empty();  // what needs one answers that it is not available
        EXPECT_TRUE(ofHosts || std::ranges::count(subjects::kAll, row.subject) == 1) << row.name;
        Compiled compiled = engine.compile("f { return " + std::string(row.name) + "(); }");
        if (!compiled) {
            EXPECT_EQ(row.name, "select");  // a word of the language as well
            continue;
        }
        compiled.script->call("f");
        EXPECT_EQ(said(compiled.script->diagnostics()) == "not-allowed", reachesOut(row)) << row.name;
    }
}

TEST(Misuse, AnOpenStoreKeepsValues) {
    const kestrel::test::TemporaryFolder folder;
    setenv("XDG_DATA_HOME", folder.path.c_str(), 1);
    const char* const source = "keep: x { store(\"key\", x); } find { return recall(\"key\", \"nothing\"); }";
    {
        Engine engine({.store = true});
        Script script = scriptOf(engine, source);
        EXPECT_EQ(result(script, "find"), Value("nothing"));
        EXPECT_TRUE(script.call("keep", {Vector{1, 2, 3}}));
        EXPECT_EQ(result(script, "find"), Value(Vector{1, 2, 3}));
    }
    Engine later({.store = true});
    Script script = scriptOf(later, source);
    EXPECT_EQ(result(script, "find"), Value(Vector{1, 2, 3}));
    EXPECT_TRUE(std::filesystem::exists(folder.path / "kestrel/registry.db"));
    unsetenv("XDG_DATA_HOME");
}

}  // namespace kestrel::script
