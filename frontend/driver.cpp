#include "frontend/compile_state.h"
#include "frontend/native_services.h"
#include "frontend/preprocessor.h"
#include "frontend/program_advice.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

namespace kestrel {

Compiler::Compiler(EngineContext& context, const CompileOptions& options)
    : ctx_(context), options_(options), scanner_(*this), parser_(*this) {}

int Compiler::compile(std::string_view path) {
    ctx_.program = std::make_unique<Program>();
    ctx_.reporter.files = &program().files;
    ctx_.run.abort = false;
    currentLine() = 1;
    definePredefinedNames();
    mainPath_ = path;
    preprocessAndParse(path);
    if (aborted()) return ctx_.reporter.state.errorCount;
    if (endless_) return errorCount_;
    if (!checkUnresolved()) return ctx_.reporter.state.errorCount;
    advise();
    if (errorCount_ > 0) reportSummary();
    return errorCount_;
}

void Compiler::giveUp() {
    abandon();
    ++ctx_.reporter.state.errorCount;
    ++errorCount_;
}

void Compiler::preprocessAndParse(std::string_view path) {
    Preprocessor preprocessor(ctx_, program().files, options_.locatedOnly);
    std::optional<PreprocessedScript> script =
        options_.text ? preprocessor.runText(path, *options_.text) : preprocessor.run(path);
    if (!script) {
        giveUp();
        return;
    }
    syntaxAdvice_.defines().take(std::move(script->defines));
    scanner_.open(std::move(script->text), std::move(script->map));
    ctx_.run.abort = false;
    parse();
}

void Compiler::parse() {
    Parser::Status status = Parser::Status::More;
    while (status == Parser::Status::More && !aborted()) {
        const Token& token = scanner_.next();
        if (aborted() || endless_) return;
        if (ctx_.endRequested()) return giveUp();
        if (ctx_.reporter.hints != nullptr) syntaxAdvice_.next(token, currentFunction_ != nullptr);
        status = parser_.push(token);
    }
}

bool Compiler::checkUnresolved() {
    // By their hashes: another name with the same one passes, too. Meant.
    std::unordered_set<std::uint32_t> records;
    for (const RecordTemplate* record = program().records.head; record != nullptr; record = record->next)
        records.insert(record->hash);
    for (const CodeNode* node = program().code.head; node != nullptr; node = node->next) {
        if (node->op != OP_CALL || (node->flags & kNodeUnresolved) == 0) continue;
        if (node->next != nullptr && node->next->op == OP_MEMBER) continue;
        const char* name = node->operand.variable->name;
        if (options_.native != nullptr && options_.native->isClass(ctx_, name)) continue;
        if (records.contains(nameHash(name))) continue;
        ctx_.reporter.place = &node->pos;
        ctx_.report(MessageId::UnknownCall, name);
        if (!libraryMissing_) adviseOnUnknownCall(ctx_, syntaxAdvice_, *node);
        ctx_.reporter.place = nullptr;
        if (aborted()) return false;
        ++errorCount_;
    }
    return true;
}

void Compiler::reportSummary() {
    const std::int32_t count = std::min(errorCount_, ctx_.reporter.state.maxErrors);
    ctx_.report(MessageId::CompileSummary, count, count > 1 ? "s " : " ");
}

int compileScript(EngineContext& ctx, std::string_view systemPath, const CompileOptions& options) {
    ctx.keepReserve();
    try {
        Compiler compiler(ctx, options);
        return compiler.compile(systemPath);
    } catch (const std::bad_alloc&) {  // where no action of its own handles it
        ctx.useReserve();
        ctx.report(MessageId::MemoryExhausted);
        return ctx.reporter.state.errorCount;
    }
}

}  // namespace kestrel
