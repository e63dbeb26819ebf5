// A script that was fuzzed, with all of the language but what could touch the user's machine.
#pragma once

#include "agents/agent_kind.h"
#include "builtins/files/file_methods.h"
#include "engine/kinds/engine_kinds.h"
#include "fuzz/target.h"
#include "host/scene_item.h"
#include "host/script_environment.h"
#include "host/shader_object.h"
#include "host/state_object.h"
#include "tests/time_budget.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace kestrel::fuzz {

using test::TimeBudget;

/// The table of built-ins in which those that start programs, wait or change the directory are refused, and
/// those that take names of files know only files of the current directory.
[[nodiscard]] const BuiltinTable& confinedBuiltins();

/// Files with `open` only for names that lie in the current directory.
class ConfinedFiles final : public builtins::FileKind {
protected:
    void runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row) override;
};

/// Lets a script run for so many lines. It takes the loop with the hook; with no lines the plain one, which
/// ends by the clock.
class LineBudget final : public LineHook {
public:
    explicit LineBudget(int lines) noexcept : lines_(lines) {}
    void line(EngineContext& ctx, const CodeNode&) override {
        if (--lines_ < 0) ctx.run.stop = true;
    }

private:
    int lines_;
};

/// The context and all that it needs. There are no queues, whose names others would see, no native code, and
/// nobody attaches a debugger.
class ConfinedScript final : private MessageSink, private HintSink {
public:
    ConfinedScript();

    /// Compiles the first of the files that a text consists of: a line "@file NAME" begins another one, for
    /// inserts and libraries. They are written into the sandbox.
    /// @return true when the script compiled
    bool compile(std::string_view files);
    /// Unloads the script and requires that it has left nothing.
    void unload();

    RunWatch watch;
    std::int64_t messages = 0;

private:
    void show(const Message& message) override;
    void advise(const Hint& hint) override;
    EngineServices services();

    ScriptEnvironment environment_{nullptr, &watch, Settings::ReadOnly};
    ShaderContext host_{environment_};
    EngineKinds kinds_;
    ConfinedFiles files_;
    ShaderObjectKind shader_;
    SceneItemKind items_;
    StateObjectKind states_;
    agents::AgentKind agents_;

public:
    EngineContext ctx;
};

}  // namespace kestrel::fuzz
