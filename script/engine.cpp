#include "engine/operations/assignment.h"
#include "engine/operations/storage.h"
#include "engine/run/call_scope.h"
#include "engine/run/entry.h"
#include "engine/values/array_record.h"
#include "script/include/kestrel/script.h"
#include "script/loading.h"
#include "script/script_state.h"
#include "script/values.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <utility>

namespace kestrel::script {

namespace {

void checkAll(std::span<const Value> values) {
    for (const Value& value : values) checkNesting(value);
}

}  // namespace

void Canceller::cancel() const noexcept {
    impl_->cancel();
}

void Canceller::resume() const noexcept {
    impl_->wanted = 0;
}

Engine::Engine(Options options) : impl_(std::make_shared<Impl>(std::move(options))) {}

Engine::~Engine() = default;

void Engine::define(TextView name, int argumentCount, Function function) {
    const std::string_view text = name;
    const Use use(*impl_);
    if (!isFreeName(impl_->language.table(), text))
        throw std::invalid_argument("kestrel: \"" + std::string(text) +
                                    "\" is no name, or the language has something of that name");
    if (function == nullptr) throw std::invalid_argument("kestrel: the function is empty");
    if (argumentCount < -1) throw std::invalid_argument("kestrel: a count of arguments is -1 or more");
    if (std::ranges::any_of(impl_->defined, [&](const auto& each) { return each->name == text; }))
        throw std::invalid_argument("kestrel: \"" + std::string(text) + "\" is defined already");
    impl_->defined.push_back(std::make_shared<const DefinedFunction>(
        DefinedFunction{std::string(text), argumentCount, std::move(function)}));
    impl_->functions.reset();
}

Compiled Engine::compile(TextView source, TextView name) {
    if (std::string_view(name).empty()) throw std::invalid_argument("kestrel: a script needs a name");
    return load(name, source);
}

Compiled Engine::compileFile(TextView path) {
    if (std::string_view(path).empty()) throw std::invalid_argument("kestrel: a script needs a path");
    return load(path, std::nullopt);
}

Compiled Engine::load(std::string_view path, std::optional<std::string_view> text) {
    const std::shared_ptr<Impl> impl = impl_;
    const Use use(*impl);
    if (impl->functions == nullptr)
        impl->functions =
            std::make_shared<const FunctionTable>(impl->language.table(), impl->options, impl->defined);
    const auto script = std::make_shared<Script::Impl>(impl);
    Compiled compiled;
    compiled.status = script->load(path, text);
    if (compiled.status == Status::Done) compiled.script = Script(script);
    compiled.diagnostics = script->said.kept;
    compiled.droppedDiagnostics = script->said.dropped;
    return compiled;
}

Canceller Engine::canceller() const noexcept {
    return Canceller(impl_->canceller);
}

const std::shared_ptr<Script::Impl>& Script::impl() const {
    if (impl_ == nullptr) throw std::logic_error("kestrel: the script was moved elsewhere");
    return impl_;
}

bool Script::has(TextView function) const {
    const Use use(*impl()->engine);
    return impl_->ctx.program->findFunction(function) != nullptr;
}

Result Script::call(TextView function, std::span<const Value> arguments) {
    checkAll(arguments);
    const Work work(impl());
    Impl& script = work.script();
    EngineContext& ctx = script.ctx;
    FunctionRecord* const found = ctx.program->findFunction(function);
    if (found == nullptr) return {Status::NoSuchFunction, {}};
    if (ctx.endRequested()) return {Status::Cancelled, {}};
    const CallScope scope(ctx);
    for (const Value& value : arguments)
        if (!pushValue(ctx, value, ArrayRef, &script.argument)) return {Status::Aborted, {}};
    Result result;
    invoke(ctx, *found, {});
    result.status = script.status();
    if (result) appendValues(ctx, 0, ctx.stack.size(), result.values);
    return result;
}

Status Script::evaluate(Sample& sample) {
    const Work work(impl());
    Impl& script = work.script();
    if (script.process == nullptr) return Status::NoSuchFunction;
    if (script.ctx.endRequested()) return Status::Cancelled;
    return script.shade(sample);
}

Status Script::Impl::shade(Sample& given) {
    if (fast.shade(*process, &given)) return Status::Done;
    const CurrentSample current(ctx, &given);
    callFunction(ctx, *process, std::array{ValueCell::ofObject(ShaderObj, nullptr)});
    return status();
}

std::optional<Value> Script::global(TextView name) const {
    const Use use(*impl()->engine);
    Variable* const variable = impl_->findGlobal(name);
    if (variable == nullptr) return std::nullopt;
    return valueOf(kestrel::load(*variable));
}

bool Script::setGlobal(TextView name, const Value& value) {
    checkNesting(value);
    const Work work(impl());
    EngineContext& ctx = work.script().ctx;
    Variable* const variable = work.script().findGlobal(name);
    if (variable == nullptr || (variable->flags & (kVarConst | kVarPredefined | kVarInlineConst)) != 0)
        return false;
    const CallScope scope(ctx);
    if (!pushValue(ctx, value, NewArray)) return false;
    const ValueCell& cell = ctx.stack.top();
    if (const ArrayRecord* old = variable->heldArray(); old != nullptr && cell.type == NewArray) {
        if (old->count() == cell.array->count()) {
            cell.array->dims = old->dims;
            cell.array->dimCount = old->dimCount;
        }
    }
    return assignFromOutside(ctx, *variable, cell);
}

std::vector<Diagnostic> Script::diagnostics() const {
    const Use use(*impl()->engine);
    return impl_->said.kept;
}

std::size_t Script::droppedDiagnostics() const {
    const Use use(*impl()->engine);
    return impl_->said.dropped;
}

}  // namespace kestrel::script
