#include "host/evaluate.h"

#include "engine/run/call_scope.h"
#include "engine/run/entry.h"
#include "host/plugin_state.h"
#include "platform/paths.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace kestrel {

namespace {

struct FlagName {
    std::string_view name;
    int number;
};

/// Meant: number 8 is "ROUGH" here although the constant is called ROUGHNESS; there is no number 9.
constexpr FlagName kFlagNames[] = {
    {"NORMAL", 0}, {"COLOR", 1},       {"LUMINOUS", 2}, {"DIFFUSE", 3}, {"SPECULAR", 4},
    {"MIRROR", 5}, {"TRANSPARENT", 6}, {"ETA", 7},      {"ROUGH", 8},   {"RAYTRACE", 10},
};
constexpr std::int64_t kMissingFlag = 9;

std::optional<std::size_t> flagNumber(const ValueCell& cell) {
    if (cell.isNumeric()) {
        const std::int64_t number = truncate(cell.number);
        if (number >= 0 && number < static_cast<std::int64_t>(kFlagCount) && number != kMissingFlag)
            return static_cast<std::size_t>(number);
    } else if (cell.isText() && cell.text != nullptr) {
        const std::string name = platform::upperCase(cell.text);
        for (const FlagName& flag : kFlagNames)
            if (flag.name == name) return static_cast<std::size_t>(flag.number);
    }
    return std::nullopt;
}

/// Reads the results of `flags`, from the top of the stack down.
std::uint32_t readFlags(LoadedScript& script) {
    EngineContext& ctx = script.engine;
    if (ctx.stack.size() == 0) return 0;
    int top = ctx.stack.size() - 1;
    std::int64_t count = 1;
    if (ctx.stack.at(top).type == ReturnCount) count = truncate(ctx.stack.at(top--).number);
    std::uint32_t mask = 0;
    for (; count > 0 && top >= 0; --count, --top) {
        const std::optional<std::size_t> flag = flagNumber(ctx.stack.at(top));
        if (!flag) {
            ctx.report(MessageId::UnknownFlag);
            continue;
        }
        script.host.requestedFlags[*flag] = 1;
        mask |= 1u << *flag;
    }
    return mask;
}

/// @return null when the callbacks have nothing to run
LoadedScript* runnable(const PluginState& state, const ScriptContext& context) {
    return state.environment.requester.open() ? nullptr : context.script.get();
}
LoadedScript* runnable(const PluginState& state, const ShaderInstance& instance) {
    return runnable(state, *instance.context);
}

}  // namespace

void initInstance(const PluginState& state, ShaderInstance& instance) {
    if (LoadedScript* script = runnable(state, instance)) script->call(HostFunction::Init);
}

void cleanupInstance(const PluginState& state, ShaderInstance& instance) {
    if (LoadedScript* script = runnable(state, instance)) script->call(HostFunction::Cleanup);
}

void newTimeInstance(const PluginState& state, ShaderInstance& instance, std::int32_t frame, double time) {
    if (LoadedScript* script = runnable(state, instance))
        script->call(HostFunction::NewTime,
                     std::array{ValueCell::ofInteger(frame), ValueCell::ofNumber(time)});
}

void evaluateSample(const PluginState& state, const ScriptContext& context, ShadingSample& sample,
                    fast::Ending passed) {
    LoadedScript* script = runnable(state, context);
    if (script == nullptr || script->engine.run.abort) return;
    FunctionRecord* const process = script->function(HostFunction::Process);
    if (process == nullptr) return;
    HostAnswers& answers = script->host.answers;
    answers.begin();
    if (script->fast.shade(*process, &sample, passed)) return;
    const HostAnswers::Again again(answers, script->engine);
    const CurrentSample current(script->engine, &sample);
    script->call(HostFunction::Process, std::array{ValueCell::ofObject(ShaderObj, nullptr)});
}

bool shades(const PluginState& state, const ShaderInstance& instance) noexcept {
    const LoadedScript* script = runnable(state, instance);
    return script != nullptr && !instance.destroyed && !script->engine.run.abort;
}

std::uint32_t flagsOfInstance(const PluginState& state, ShaderInstance& instance) {
    LoadedScript* script = runnable(state, instance);
    if (script == nullptr) return 0;
    FunctionRecord* function = script->function(HostFunction::Flags);
    if (function == nullptr) return 0;
    const CallScope scope(script->engine);
    return invoke(script->engine, *function, {}) ? 0 : readFlags(*script);
}

}  // namespace kestrel
