#include "frontend/define_uses.h"

#include "platform/ascii.h"

#include <algorithm>

namespace kestrel {

namespace {

bool inName(char c) noexcept {
    return ascii::isLetter(c) || ascii::isDigit(c) || c == '_';
}

}  // namespace

void DefineUses::define(std::string_view name, std::string_view text, const SourcePos& where) {
    defines_.push_back({std::string(name), std::string(text), where});
    latest_.insert_or_assign(std::string(name), &defines_.back());
}

void DefineUses::replaced(const SourcePos& start, std::string_view source, std::string_view result,
                          std::span<const ColumnSpan> columns) {
    std::size_t next = 0;  // in the source
    for (std::size_t at = 0; at < columns.size();) {
        const ColumnSpan span = columns[at];
        const std::size_t first = at;
        while (at < columns.size() && columns[at].start == span.start && columns[at].end == span.end) ++at;
        if (span.start > next) addUse(start, source, next, span.start);  // replaced by nothing
        const bool same =
            at == first + 1 && span.end == span.start + 1 && result[first] == source[span.start];
        if (!same) addUse(start, source, span.start, span.end);
        next = span.end;
    }
}

void DefineUses::addUse(const SourcePos& start, std::string_view source, std::size_t from, std::size_t to) {
    const auto define = latest_.find(source.substr(from, to - from));
    if (define == latest_.end()) return;  // it came from several defines
    const auto file = static_cast<std::size_t>(start.file);
    if (files_.size() <= file) files_.resize(file + 1);
    std::vector<Use>& uses = files_[file];
    // Each word once, however many defines it holds.
    const std::int32_t column = start.column + static_cast<std::int32_t>(from);
    if (!uses.empty() && uses.back().line == start.line && column < uses.back().endColumn) return;

    const std::string_view text = define->second->text;
    const std::string_view rest = ascii::trimmed(source.substr(to));
    if (text.find('"') == std::string_view::npos && text.find("//") != std::string_view::npos &&
        !rest.empty() && !rest.starts_with("//"))
        commentUses_.try_emplace({start.file, start.line}, uses.size());
    if (inName(source[from]))
        while (from > 0 && inName(source[from - 1])) --from;
    if (inName(source[to - 1]))
        while (to < source.size() && inName(source[to])) ++to;
    uses.push_back({start.line, start.column + static_cast<std::int32_t>(from),
                    start.column + static_cast<std::int32_t>(to), std::string(source.substr(from, to - from)),
                    define->second});
}

const DefineUses::Use* DefineUses::at(const SourcePos& where) const noexcept {
    if (where.file < 0 || static_cast<std::size_t>(where.file) >= files_.size()) return nullptr;
    const std::vector<Use>& uses = files_[static_cast<std::size_t>(where.file)];
    const auto key = [](const Use& use) { return std::pair(use.line, use.column); };
    const auto behind = std::ranges::upper_bound(uses, std::pair(where.line, where.column), {}, key);
    if (behind == uses.begin()) return nullptr;
    const Use& use = *(behind - 1);
    return use.line == where.line && where.column < use.endColumn ? &use : nullptr;
}

const DefineUses::Use* DefineUses::commentIn(const SourcePos& where) const noexcept {
    const auto use = commentUses_.find({where.file, where.line});
    if (use == commentUses_.end()) return nullptr;
    return &files_[static_cast<std::size_t>(where.file)][use->second];
}

}  // namespace kestrel
