#include "engine/operations/assignment.h"
#include "engine/operations/storage.h"
#include "engine/run/call_scope.h"
#include "engine/run/interpreter.h"
#include "platform/paths.h"
#include "script/include/kestrel/script.h"
#include "script/loading.h"
#include "script/script_state.h"
#include "script/values.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <utility>

namespace kestrel::script {

namespace {

/// @return null where the script has no variable of the name: functions have names of their own kind
Variable* findGlobal(const Program& program, std::string_view name) {
    return program.findFunction(name) == nullptr ? program.findGlobal(name) : nullptr;
}

void checkAll(std::span<const Value> values) {
    for (const Value& value : values) checkNesting(value);
}

}  // namespace

void Canceller::cancel() const noexcept {
    impl_->watch.requested = 1;
}

void Canceller::resume() const noexcept {
    impl_->watch.requested = 0;
}

Engine::Engine(Options options) : impl_(std::make_shared<Impl>(std::move(options))) {}

Engine::~Engine() = default;

void Engine::define(std::string_view name, int argumentCount, Function function) {
    const Use use(*impl_);
    if (!isFreeName(name))
        throw std::invalid_argument("kestrel: \"" + std::string(name) +
                                    "\" is no name, or the language has something of that name");
    if (function == nullptr) throw std::invalid_argument("kestrel: the function is empty");
    if (argumentCount < -1) throw std::invalid_argument("kestrel: a count of arguments is -1 or more");
    if (std::ranges::any_of(impl_->defined, [&](const auto& each) { return each->name == name; }))
        throw std::invalid_argument("kestrel: \"" + std::string(name) + "\" is defined already");
    impl_->defined.push_back(std::make_shared<const DefinedFunction>(
        DefinedFunction{std::string(name), argumentCount, std::move(function)}));
    impl_->functions.reset();
}

Compiled Engine::compile(std::string_view source, std::string_view name) {
    if (name.empty()) throw std::invalid_argument("kestrel: a script needs a name");
    return load(std::string(name), source);
}

Compiled Engine::compileFile(const std::string& path) {
    if (path.empty()) throw std::invalid_argument("kestrel: a script needs a path");
    return load(platform::systemPath(std::filesystem::absolute(path).string()), std::nullopt);
}

Compiled Engine::load(const std::string& path, std::optional<std::string_view> text) {
    const std::shared_ptr<Impl> impl = impl_;
    const Use use(*impl);
    if (impl->functions == nullptr)
        impl->functions = std::make_shared<const FunctionTable>(impl->options, impl->defined);
    const auto script = std::make_shared<Script::Impl>(impl);
    Compiled compiled;
    if (script->load(path, text)) compiled.script = Script(script);
    compiled.diagnostics = script->diagnostics;
    return compiled;
}

Canceller Engine::canceller() const noexcept {
    return Canceller(impl_->canceller);
}

bool Script::has(std::string_view function) const {
    const Use use(*impl_->engine);
    return impl_->ctx.program->findFunction(function) != nullptr;
}

Result Script::call(std::string_view function, std::span<const Value> arguments) {
    const std::shared_ptr<Impl> impl = impl_;  // what the script calls may let go of the handle
    checkAll(arguments);
    const Work work(*impl);
    EngineContext& ctx = impl->ctx;
    FunctionRecord* const found = ctx.program->findFunction(function);
    if (found == nullptr) return {Status::NoSuchFunction, {}};
    if (ctx.endRequested()) return {Status::Cancelled, {}};
    const CallScope scope(ctx);
    for (const Value& value : arguments)
        if (!pushValue(ctx, value, ArrayRef, &impl->argument)) return {Status::Aborted, {}};
    Result result;
    invoke(ctx, *found, {});
    result.status = impl->status();
    if (result) appendValues(ctx, 0, ctx.stack.size(), result.values);
    return result;
}

Status Script::evaluate(Sample& sample) {
    const std::shared_ptr<Impl> impl = impl_;
    const Work work(*impl);
    if (impl->process == nullptr) return Status::NoSuchFunction;
    if (impl->ctx.endRequested()) return Status::Cancelled;
    const CurrentSample current(*impl, &sample);
    callFunction(impl->ctx, *impl->process, std::array{ValueCell::ofObject(ShaderObj, nullptr)});
    return impl->status();
}

std::optional<Value> Script::global(std::string_view name) const {
    const std::shared_ptr<Impl> impl = impl_;
    const Use use(*impl->engine);
    Variable* const variable = findGlobal(*impl->ctx.program, name);
    if (variable == nullptr) return std::nullopt;
    return valueOf(kestrel::load(*variable));
}

bool Script::setGlobal(std::string_view name, const Value& value) {
    const std::shared_ptr<Impl> impl = impl_;
    checkNesting(value);
    const Work work(*impl);
    EngineContext& ctx = impl->ctx;
    Variable* const variable = findGlobal(*ctx.program, name);
    if (variable == nullptr || (variable->flags & (kVarConst | kVarPredefined | kVarInlineConst)) != 0)
        return false;
    const CallScope scope(ctx);
    if (!pushValue(ctx, value, NewArray)) return false;
    return assignFromOutside(ctx, *variable, ctx.stack.top());
}

const std::vector<Diagnostic>& Script::diagnostics() const noexcept {
    return impl_->diagnostics;
}

}  // namespace kestrel::script
