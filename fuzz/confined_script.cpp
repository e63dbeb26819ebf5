#include "fuzz/confined_script.h"

#include "engine/run/prepare.h"
#include "fuzz/sandbox.h"
#include "host/host_builtins.h"
#include "platform/paths.h"
#include "script/loading.h"

#include <algorithm>
#include <string>

namespace kestrel::fuzz {

namespace {

/// Enough for any script of a few kilobytes; what wants more is told so.
constexpr std::size_t kMemory = std::size_t{32} << 20;

const BuiltinTable& allBuiltins() {
    static const BuiltinLibrary library(hostBuiltins());
    return library.table();
}

/// A name in the current directory: a bare one.
bool isConfined(const ValueCell& cell) {
    if (!cell.isText()) return isInlineKind(cell.type) || cell.type == FileObj;
    const std::string_view name = cell.text != nullptr ? cell.text : "";
    return name.find_first_of("/\\:") == std::string_view::npos && name != "..";
}

void refused(BuiltinCall& call) {
    call.fail(MessageId::NotAvailable, call.name);
}

/// Runs the built-in when all of its arguments are harmless; otherwise it is as if there were no such file.
void withConfinedNames(BuiltinCall& call) {
    for (int i = 0; i < call.argc; ++i)
        if (!isConfined(call.arg(i))) return call.result(ValueCell::ofNil());
    allBuiltins().find(call.name)->handler(call);
}

std::vector<BuiltinEntry> confinedRows() {
    const std::span<const BuiltinEntry> host = hostBuiltins();
    std::vector<BuiltinEntry> rows(host.begin(), host.end());
    const auto replace = [&rows](std::string_view name, BuiltinHandler::Function handler) {
        const BuiltinEntry* row = allBuiltins().find(name);
        require(row != nullptr, "the built-in is still there");
        std::erase_if(rows, [name](const BuiltinEntry& known) { return known.name == name; });
        rows.push_back(*row);
        rows.back().handler = handler;
    };
    for (const char* name : {"spawn", "system", "systemex", "wait", "terminate", "sleep", "chdir"})
        replace(name, refused);
    for (const char* name :
         {"File", "file", "fileexists", "filedelete", "matchfiles", "mkdir", "rmdir", "dump"})
        replace(name, withConfinedNames);
    return rows;
}

void requirePlace(const SourcePos& where, const SourceFiles* files) {
    if (!where.known() || files == nullptr) return;
    require(static_cast<std::size_t>(where.file) < files->size(), "a place is in one of the files");
    require(where.column >= 0 && (where.endColumn == 0 || where.endColumn >= where.column),
            "a place has an end");
}

}  // namespace

const BuiltinTable& confinedBuiltins() {
    static const std::vector<BuiltinEntry> rows = confinedRows();
    static const BuiltinLibrary library(rows);
    return library.table();
}

void ConfinedFiles::runMethod(EngineContext& ctx, const CodeNode& call, Variable& object,
                              const MethodRow& row) {
    if (row.name == "open") {
        BuiltinCall opening(ctx, call, row.name);
        for (int i = 0; i < call.argc; ++i)
            if (!isConfined(opening.arg(i))) return opening.result(ValueCell::ofNil());
    }
    FileKind::runMethod(ctx, call, object, row);
}

ConfinedScript::ConfinedScript() : ctx(services()) {
    ctx.pool.setLimit(kMemory);
    ctx.reporter.hints = this;
}

EngineServices ConfinedScript::services() {
    const auto add = [this](auto&... kind) { (kinds_.table.add(kind), ...); };
    add(files_, shader_, items_, states_, agents_);
    EngineServices services = environment_.services(host_);
    services.messages = this;
    services.builtins = &confinedBuiltins();
    services.kinds = &kinds_.table;
    services.queues = nullptr;
    services.natives = nullptr;
    return services;
}

void ConfinedScript::show(const Message& message) {
    ++messages;
    require(!message.line1.empty() || message.line2.has_value(), "a message says something");
    requirePlace(message.where, message.files);
}

void ConfinedScript::advise(const Hint& hint) {
    require(!hint.text.empty(), "a hint says something");
    requirePlace(hint.where, hint.files);
}

bool ConfinedScript::compile(std::string_view files) {
    constexpr std::string_view kMark = "@file ";
    const Sandbox& sandbox = Sandbox::get();
    std::string name = "main.ks";
    std::string text;
    bool first = true;
    const auto finish = [&] {
        if (first || isConfined(ValueCell::ofText(name.c_str()))) sandbox.write(name, text);
        first = false;
        text.clear();
    };
    while (!files.empty()) {
        const std::string_view line = files.substr(0, files.find('\n'));
        files.remove_prefix(std::min(line.size() + 1, files.size()));
        if (line.starts_with(kMark)) {
            finish();
            name = line.substr(kMark.size(), 40);
            if (name.empty() || name == "main.ks" || name.find('\0') != std::string::npos) name = "other.ks";
        } else {
            text.append(line) += '\n';
        }
    }
    finish();
    CompileInfo info;
    return compileInto(ctx, platform::systemPath((sandbox.directory() / "main.ks").string()),
                       {.reportEndless = true, .declareOnly = true, .info = &info});
}

void ConfinedScript::unload() {
    unloadScript(ctx);
    require(ctx.pool.liveBlocks() == 0 && ctx.stack.size() == 0, "a script leaves nothing behind");
}

}  // namespace kestrel::fuzz
