#include "host/shading_report.h"

#include "engine/fast/blend.h"
#include "script/loading.h"
#include "script/sample_context.h"

#include <algorithm>
#include <array>
#include <functional>
#include <span>
#include <string_view>

namespace kestrel {

namespace {

void callNamed(LoadedScript& script, std::string_view name, std::span<const ValueCell> arguments) {
    if (FunctionRecord* function = script.engine.program->findFunction(name))
        callFunction(script.engine, *function, arguments);
}

std::string reasonOf(const fast::Refusal& refusal) {
    return (refusal.line > 0 ? "line " + std::to_string(refusal.line) + ": " : "") + refusal.reason;
}

}  // namespace

std::string shadingReport(LoadedScript& script) {
    callNamed(script, "init", {});
    callNamed(script, "newtime", std::array{ValueCell::ofInteger(0), ValueCell::ofNumber(0.0)});
    {
        ShadingSample sample{};
        const CurrentSample current(script.engine, &sample);
        callNamed(script, "process", std::array{ValueCell::ofObject(ShaderObj, nullptr)});
    }
    if (script.engine.run.abort) return "process is left to the interpreter: it ends with an error\n";
    fast::Carryover carryover(*script.engine.program);
    auto lowered = fast::lower(script.engine, carryover, *script.engine.program->findFunction("process"), {});
    if (const auto* refused = std::get_if<fast::Refusal>(&lowered))
        return "process is left to the interpreter: " + reasonOf(*refused) + '\n';
    auto& made = std::get<fast::Lowered>(lowered);
    fast::blend(made.code);  // as for machine code
    fast::coalesce(made.code);
    std::string text = "process is shaded without the interpreter, by " +
                       std::to_string(made.code.instructions.size()) + " instructions\n";
    for (const fast::Refusal& branch : made.branches)
        text += "samples that come here are left to it: " + reasonOf(branch) + '\n';
    return text + fast::describe(made.code);
}

KestrelShading ToldShading::tell(const fast::FastProcess& process) {
    exits_ = process.exits();
    std::ranges::stable_sort(exits_, std::ranges::greater{}, &fast::ExitCount::count);
    rows_.clear();
    for (const fast::ExitCount& each : exits_)
        rows_.push_back({each.exit.reason.c_str(), each.exit.line, each.count});
    const fast::Counts& counts = process.counts();
    return {.executor = nameOf(process.executor()).data(),
            .shaded = counts.shaded,
            .grouped = counts.grouped,
            .left = counts.left,
            .interpreted = counts.interpreted,
            .exits = rows_.data(),
            .exitCount = static_cast<std::int32_t>(rows_.size())};
}

}  // namespace kestrel
