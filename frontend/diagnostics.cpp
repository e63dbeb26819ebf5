#include "engine/report/reporter.h"
#include "frontend/compile_state.h"

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

void Compiler::report(std::string_view prefix, const std::string& head, const SourcePos& where) {
    const PlaceGuard guard(ctx_.reporter, where);
    const std::string format = std::string(prefix) + "%s<br>Line: %s";
    ctx_.reporter.report(format, head, withoutLeadingSpace(lineText_));
}

void Compiler::compileError(std::string_view message) {
    compileError(message, scanner_.token().pos);
}

void Compiler::compileError(std::string_view message, const SourcePos& where) {
    if (parser_.recovering()) return;
    const char found = scanner_.token().first;
    std::string head = currentFunction_ != nullptr
                           ? formatMessage("In %s, line %d, found '%c' %s",
                                           {currentFunction_->name, currentLine(), found, message})
                           : formatMessage("Line %d, found '%c' %s", {currentLine(), found, message});
    std::erase(head, '\0');  // the end of input has no character
    report("#E", head, where);
    ++errorCount_;
}

void Compiler::compileWarning(std::string_view message, const SourcePos& where) {
    if (parser_.recovering()) return;
    const std::string head =
        currentFunction_ != nullptr
            ? formatMessage("In %s, line %d, %s", {currentFunction_->name, currentLine(), message})
            : formatMessage("Line %d, %s", {currentLine(), message});
    report("#W", head, where);
}

void Compiler::reportEndless(const SourcePos& where, std::string_view format, std::string_view what) {
    const PlaceGuard guard(ctx_.reporter, where);
    const std::string_view file =
        where.file > 0 ? program().files[static_cast<std::size_t>(where.file)].path : mainPath_;
    ctx_.reporter.report(format, file, where.line, what);
    ++errorCount_;
    scanner_.skipInput();
    libraries_.clear();
    endless_ = true;
    if (options_.info != nullptr) options_.info->endless = true;
}

}  // namespace kestrel
