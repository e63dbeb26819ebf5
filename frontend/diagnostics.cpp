#include "engine/report/reporter.h"
#include "frontend/compile_state.h"
#include "frontend/program_advice.h"

#include <algorithm>
#include <utility>

namespace kestrel {

namespace {

std::string_view withoutLeadingSpace(std::string_view text) noexcept {
    const std::size_t start = text.find_first_not_of(" \t\r\v\f");
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

/// Sets the true place of a message while it is reported.
class PlaceGuard {
public:
    PlaceGuard(Reporter& reporter, const SourcePos& where) : reporter_(reporter), before_(reporter.place) {
        reporter_.place = &where;
    }
    ~PlaceGuard() { reporter_.place = before_; }
    PlaceGuard(const PlaceGuard&) = delete;
    PlaceGuard& operator=(const PlaceGuard&) = delete;

private:
    Reporter& reporter_;
    const SourcePos* before_;
};

}  // namespace

void Compiler::reportSource(const SourcePos& where, MessageId id, FormatArgs args) {
    if (parser_.recovering()) return;
    const PlaceGuard guard(ctx_.reporter, where);
    MessageOrigin origin{.line = currentLine(), .found = scanner_.token().first};
    if (currentFunction_ != nullptr)
        origin.function = currentFunction_->name != nullptr ? currentFunction_->name : "";
    origin.sourceLine = withoutLeadingSpace(lineText_);
    ctx_.reporter.reportArgs(id, origin, args);
    if (messageRow(id).kind != MessageKind::Error) return;
    ++errorCount_;
    syntaxAdvice_.otherError();
}

void Compiler::reportFile(const SourcePos& where, MessageId id, FormatArgs args) {
    const PlaceGuard guard(ctx_.reporter, where);
    const std::string_view file =
        where.file > 0 ? program().files[static_cast<std::size_t>(where.file)].path : mainPath_;
    ctx_.reporter.reportArgs(id, {.line = where.line, .file = file}, args);
    ++errorCount_;
}

void Compiler::adviseOnSyntaxError() {
    const std::string rest = ctx_.reporter.hintsWanted() ? scanner_.restOfLine() : std::string();
    syntaxAdvice_.syntaxError(currentFunction_ != nullptr, rest);
}

void Compiler::advise() {
    adviseOnProgram(ctx_, syntaxAdvice_, usesClasses_);
}

void Compiler::endInput() {
    scanner_.skipInput();
    libraries_.clear();
    endless_ = true;
    if (options_.info != nullptr) options_.info->endless = true;
}

}  // namespace kestrel
