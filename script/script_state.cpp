#include "script/script_state.h"

#include "engine/operations/file_names.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "script/loading.h"

#include <algorithm>
#include <cassert>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace kestrel::script {

namespace {

constexpr std::size_t kMostDiagnostics = 1000;

std::string folderPath(const std::string& nativeFolder) {
    std::string path = platform::systemPath(std::filesystem::absolute(nativeFolder).string());
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

FolderLocator::FolderLocator(const std::vector<std::string>& nativeFolders) {
    for (const std::string& folder : nativeFolders) folders_.push_back(folderPath(folder));
}

bool FolderLocator::locate(EngineContext&, std::string_view name, std::string& fullPath) {
    std::string wanted(name);
    std::ranges::replace(wanted, '/', '\\');
    if (!staysBelow(wanted)) return false;
    const auto isIn = [&](const std::string& folder) {
        fullPath = folder + wanted;
        return platform::fileExists(fullPath);
    };
    return (scriptFolder && isIn(*scriptFolder)) || std::ranges::any_of(folders_, isIn);
}

Engine::Impl::Impl(Options engineOptions)
    : options(std::move(engineOptions)), locator(options.searchFolders) {
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
    ++engine_.uses;
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
    return services;
}

bool Script::Impl::load(std::string_view path, std::optional<std::string_view> text) {
    const Work work(*this);
    if (engine->options.memoryLimit != 0)
        ctx.pool.setLimit(std::min(engine->options.memoryLimit, kMemoryLimit));
    engine->locator.scriptFolder.reset();
    if (!text) engine->locator.scriptFolder = platform::directoryOf(path);
    const CompileOptions options{.reportEndless = true, .text = text, .locatedOnly = true};
    if (ctx.endRequested() || !compileInto(ctx, path, options) || !prepare(ctx, Demand::Names)) return false;
    start(ctx);
    process = ctx.program->findFunction("process");
    return !ctx.endRequested();
}

Status Script::Impl::status() const noexcept {
    if (!ctx.run.abort) return Status::Done;
    return ctx.endRequested() ? Status::Cancelled : Status::Aborted;
}

void Script::Impl::show(const Message& message) {
    if (diagnostics.size() >= kMostDiagnostics) return;
    Diagnostic said;
    said.kind = kindOf(message.kind);
    said.id = messageRow(message.id).name;
    said.text = message.line1;
    // The first line of a message of one line is the script's path.
    if (message.line2)
        said.text = message.line1 == ctx.reporter.state.scriptPath ? *message.line2
                                                                   : message.line1 + "\n" + *message.line2;
    if (message.where.known() && message.files != nullptr) {
        said.file = (*message.files)[static_cast<std::size_t>(message.where.file)].path;
        said.line = message.where.line;
        said.column = message.where.column;
        said.endColumn = message.where.endColumn;
    }
    diagnostics.push_back(std::move(said));
}

Work::Work(Script::Impl& script) : engine_(script.engine), use_(*script.engine), script_(script) {
    if (script_.busy)
        throw std::logic_error(
            "kestrel: the script is at work already; a function that it calls cannot use it");
    script_.busy = true;
    script_.diagnostics.clear();
    script_.ctx.reporter.state.errorCount = 0;
    script_.ctx.reporter.state.warningCount = 0;
    script_.ctx.run.abort = false;
}

Work::~Work() {
    script_.busy = false;
}

}  // namespace kestrel::script
