#include "script/script_state.h"

#include "engine/program/node_modes.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "script/loading.h"

#include <algorithm>
#include <cassert>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kestrel::script {

namespace {

constexpr std::size_t kMostDiagnostics = 1000;

std::string folderPath(const std::string& nativeFolder) {
    if (nativeFolder.empty()) throw std::invalid_argument("kestrel: a search folder has no name");
    std::string path = platform::systemPath(nativeFolder);
    if (!path.ends_with('\\')) path += '\\';
    return path;
}

/// True for a name below a folder: no way up, no drive and no root.
bool staysBelow(std::string_view name) {
    if (name.empty() || name.front() == '\\' || name.find(':') != std::string_view::npos) return false;
    while (!name.empty()) {
        const std::size_t end = std::min(name.find('\\'), name.size());
        if (name.substr(0, end) == "..") return false;
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return true;
}

/// True for a file that is really below the folder, wherever symbolic links lead.
bool liesBelow(const std::string& file, const std::string& folder) {
    std::error_code error;
    const auto real = [&error](const std::string& path) {
        std::filesystem::path native(platform::nativePath(path));
        return std::filesystem::weakly_canonical(native.has_filename() ? native : native.parent_path(),
                                                 error);
    };
    const std::filesystem::path below = real(folder);
    if (error) return false;
    const std::filesystem::path path = real(file);
    return !error && std::mismatch(below.begin(), below.end(), path.begin(), path.end()).first == below.end();
}

Diagnostic::Kind kindOf(MessageKind kind) noexcept {
    switch (kind) {
        case MessageKind::Info:
            return Diagnostic::Kind::Info;
        case MessageKind::Warning:
            return Diagnostic::Kind::Warning;
        case MessageKind::Error:
            break;
    }
    return Diagnostic::Kind::Error;
}

}  // namespace

FolderLocator::FolderLocator(const std::vector<std::string>& nativeFolders, bool leaves) : leaves_(leaves) {
    for (const std::string& folder : nativeFolders) folders_.push_back(folderPath(folder));
}

bool FolderLocator::locate(EngineContext&, std::string_view name, std::string& fullPath) {
    std::string wanted(name);
    std::ranges::replace(wanted, '/', '\\');
    if (!leaves_ && !staysBelow(wanted)) return false;
    const auto isIn = [&](const std::string& folder) {
        fullPath = folder + wanted;
        return platform::fileExists(fullPath) && (leaves_ || liesBelow(fullPath, folder));
    };
    return (scriptFolder && isIn(*scriptFolder)) || std::ranges::any_of(folders_, isIn);
}

Engine::Impl::Impl(Options engineOptions)
    : options(std::move(engineOptions)), locator(options.searchFolders, options.leavesFolders) {
    kinds.table.add(files);
    kinds.table.add(samples);
    if (!options.store) return;
    registry.emplace();
    registry->setCancel(&canceller->watch.requested);
    store.emplace(*registry);
}

Use::Use(Engine::Impl& engine) : engine_(engine) {
    const std::thread::id self = std::this_thread::get_id();
    std::thread::id nobody;
    if (engine_.user.load(std::memory_order_relaxed) != self &&
        !engine_.user.compare_exchange_strong(nobody, self, std::memory_order_acquire))
        throw std::logic_error(
            "kestrel: another thread is at work with this engine; give each thread an engine of its own");
    if (engine_.uses++ == 0) engine_.canceller->begin();
}

Use::~Use() {
    if (--engine_.uses == 0) engine_.user.store({}, std::memory_order_release);
}

Script::Impl::Impl(std::shared_ptr<Engine::Impl> scriptEngine)
    : engine(std::move(scriptEngine)), functions(engine->functions), ctx(services()) {
    argument.name = "argument";
}

Script::Impl::~Impl() {
    [[maybe_unused]] const std::thread::id user = engine->user.load(std::memory_order_relaxed);
    assert((user == std::thread::id() || user == std::this_thread::get_id()) &&
           "a script is destroyed while another thread is at work with its engine");
    ctx.reset();
}

namespace {

kestrel::Executor executorOf(Executor executor) noexcept {
    switch (executor) {
        case Executor::Definition:
            return kestrel::Executor::Definition;
        case Executor::Threaded:
            return kestrel::Executor::Threaded;
        case Executor::Native:
            return kestrel::Executor::Native;
        case Executor::Automatic:
            break;
    }
    return kestrel::Executor::Automatic;
}

}  // namespace

EngineServices Script::Impl::services() noexcept {
    EngineServices services;
    services.messages = this;
    services.builtins = &functions->table();
    services.locator = &engine->locator;
    services.kinds = &engine->kinds.table;
    services.watch = &engine->canceller->watch;
    services.store = engine->store ? &*engine->store : nullptr;
    services.process = &engine->process;
    services.host = static_cast<SampleContext*>(this);
    services.filesClosed = !engine->options.files;
    services.executor = executorOf(engine->options.executor);
    services.codeMemory = &engine->codeMemory;
    services.batchLanes = engine->options.batchLanes;
    return services;
}

Status Script::Impl::load(std::string_view path, std::optional<std::string_view> text) {
    said = {};
    if (engine->options.memoryLimit != 0)
        ctx.pool.setLimit(std::min(engine->options.memoryLimit, kMemoryLimit));
    if (!compile(path, text)) return ctx.endRequested() ? Status::Cancelled : Status::Aborted;
    findMemberNames();
    process = ctx.program->findFunction("process");
    start(ctx);
    return ctx.endRequested() ? Status::Cancelled : Status::Done;
}

bool Script::Impl::compile(std::string_view path, const std::optional<std::string_view>& text) {
    const std::string name = text ? std::string(path) : platform::systemPath(path);
    engine->locator.scriptFolder.reset();
    if (!text) {
        file_ = path;
        engine->locator.scriptFolder = platform::directoryOf(name);
    }
    const CompileOptions options{.reportEndless = true, .text = text, .locatedOnly = true};
    return !ctx.endRequested() && compileInto(ctx, name, options) && prepare(ctx, Demand::Names);
}

void Script::Impl::findMemberNames() {
    const Program& program = *ctx.program;
    for (const RecordTemplate* record = program.records.head; record != nullptr; record = record->next)
        for (const RecordField* field = record->fields.head; field != nullptr; field = field->next)
            memberNames_.insert(field->name);
    for (const CodeNode* node = program.code.head; node != nullptr && !memberNames_.empty();
         node = node->next)
        if ((node->op == OP_VAR || node->op == OP_INDEX) && !namesMember(node->mode))
            memberNames_.erase(node->operand.variable);
}

Variable* Script::Impl::findGlobal(std::string_view name) {
    const Program& program = *ctx.program;
    if (program.findFunction(name) != nullptr || program.findRecord(name) != nullptr) return nullptr;
    Variable* const variable = program.findGlobal(name);
    return memberNames_.contains(variable) ? nullptr : variable;
}

Status Script::Impl::status() const noexcept {
    if (!ctx.run.abort) return Status::Done;
    return ctx.run.stop ? Status::Cancelled : Status::Aborted;
}

void Script::Impl::show(const Message& message) {
    const bool full = said.kept.size() >= kMostDiagnostics;
    if (full) {
        ++said.dropped;
        const bool ends = message.kind == MessageKind::Error && ctx.run.abort;
        if (!ends) return;
        said.kept.pop_back();
    }
    Diagnostic each;
    each.kind = kindOf(message.kind);
    each.id = messageRow(message.id).name;
    each.text = message.line1;
    // The first line of a message of one line is the script's path.
    if (message.line2)
        each.text = message.line1 == ctx.reporter.state.scriptPath ? *message.line2
                                                                   : message.line1 + "\n" + *message.line2;
    if (message.where.known() && message.files != nullptr) {
        each.file = (*message.files)[static_cast<std::size_t>(message.where.file)].path;
        each.line = message.where.line;
        each.column = message.where.column;
        each.endColumn = message.where.endColumn;
    } else if (message.id == MessageId::ScriptNotOpened) {
        each.file = file_;
    }
    said.kept.push_back(std::move(each));
}

Work::Work(std::shared_ptr<Script::Impl> script)
    : engine_(script->engine), use_(*engine_), script_(std::move(script)) {
    if (script_->busy)
        throw std::logic_error(
            "kestrel: the script is at work already; a function that it calls cannot use it");
    script_->busy = true;
    script_->said.kept.clear();
    script_->said.dropped = 0;
    begin();
}

void Work::begin() noexcept {
    script_->ctx.reporter.state.errorCount = 0;
    script_->ctx.reporter.state.warningCount = 0;
    script_->ctx.run.abort = false;
}

Work::~Work() {
    script_->busy = false;
}

}  // namespace kestrel::script
