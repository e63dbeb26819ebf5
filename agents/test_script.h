// What the tests of this folder share: scripts that use the libraries made for them.
#pragma once

#include "agents/agent_kind.h"
#include "agents/native_code.h"
#include "builtins/builtin_table.h"
#include "builtins/files/file_methods.h"
#include "engine/kinds/engine_kinds.h"
#include "engine/run/entry.h"
#include "engine/run/prepare.h"
#include "platform/dynamic_library.h"
#include "platform/paths.h"
#include "script/loading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace kestrel::agents::test {

/// Keeps messages, one per line: the kind's letter and the text without the script's path and "Line N, ".
class Collector final : public MessageSink {
public:
    void show(const Message& message) override {
        constexpr std::string_view kLetters = "IWE";
        std::string shown = message.line1 != script ? message.line1 : "";
        if (message.line2) shown = shown.empty() ? *message.line2 : shown + "|" + *message.line2;
        if (shown.starts_with("Line ")) shown = shown.substr(shown.find(", ") + 2);
        text += std::string(1, kLetters[static_cast<std::size_t>(message.kind)]) + ' ' + shown + '\n';
    }
    std::string text;
    std::string script;  ///< its path as messages have it
};

/// Finds components under other names.
class Locator final : public ComponentLocator {
public:
    bool locate(EngineContext&, std::string_view name, std::string& fullPath) override {
        asked += std::string(name) + ' ';
        fullPath = found;
        return !found.empty();
    }
    std::string asked;
    std::string found;
};

class AgentTest : public ::testing::Test {
protected:
    AgentTest() : ctx_(services()) {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        directory_ = std::filesystem::path(testing::TempDir()) /
                     (std::string("kestrel-agents-") + info->test_suite_name() + '-' + info->name());
        std::filesystem::create_directories(directory_);
        std::string reason;
        fake_ = platform::DynamicLibrary::open(FAKES "fake_full.so", reason);
    }
    ~AgentTest() override { std::filesystem::remove_all(directory_); }
    void TearDown() override {
        unload();
        EXPECT_EQ(living(), 0) << "with the script the last objects end";
    }

    /// The path of a library of the tests.
    static std::string library(std::string_view name) { return FAKES + std::string(name) + ".so"; }
    static std::string use(std::string_view name, std::string_view asClass, std::string_view more = "") {
        return "use \"" + library(name) + "\" as class " + std::string(asClass) + std::string(more) + ";\n";
    }
    /// Compiles and runs a script's main.
    /// @return the messages
    std::string run(const std::string& script) {
        unload();
        if (!compile(script)) return collector_.text;
        static_cast<void>(prepare(ctx_, Demand::Nothing));
        start(ctx_);
        runMain(ctx_);
        return collector_.text;
    }
    /// The messages of statements with an object `a` of the class Probe.
    std::string body(const std::string& statements) {
        return run(use("fake_full", "Probe") + "main { a = Probe(1); " + statements + " }\n");
    }
    bool compile(std::string script) {
        std::ranges::replace(script, '\'', '"');  // so that tests read better
        std::ofstream(directory_ / "main.ks", std::ios::binary) << script;
        collector_.text.clear();
        const std::string path = platform::systemPath((directory_ / "main.ks").string());
        collector_.script = platform::upperCase(path);
        return compileInto(ctx_, path, {.native = &native_});
    }
    void unload() { unloadScript(ctx_); }

    // ---- what the full library counts
    [[nodiscard]] int count(const char* name) const { return *static_cast<int*>(fake_->symbol(name)); }
    [[nodiscard]] int made() const { return count("fake_made"); }
    [[nodiscard]] int living() const { return made() - count("fake_ended"); }

    std::filesystem::path directory_;
    std::unique_ptr<platform::DynamicLibrary> fake_;
    Collector collector_;
    Locator locator_;
    NativeCode native_;

private:
    EngineServices services() {
        kinds_.table.add(files_);
        kinds_.table.add(agents_);
        EngineServices services;
        services.messages = &collector_;
        services.builtins = &builtins_.table();
        services.locator = &locator_;
        services.kinds = &kinds_.table;
        services.natives = &native_;
        return services;
    }

    BuiltinLibrary builtins_;
    EngineKinds kinds_;
    builtins::FileKind files_;
    AgentKind agents_;

protected:
    EngineContext ctx_;
};

}  // namespace kestrel::agents::test
