#include "frontend/defines.h"

#include <cstddef>

namespace kestrel {

namespace {

constexpr std::size_t kSpanLimit = 40;
constexpr std::size_t kReplacedLimit = 511;
constexpr std::size_t kReplacementLimit = 255;
/// A define that has been replaced this often in one line, or has made it this long, feeds on itself: no line
/// of 510 one-letter names with texts of 255 characters comes so far.
constexpr int kReplacementsPerLine = 10000;
constexpr std::size_t kEndlessLength = std::size_t{1} << 18;

struct Span {
    std::size_t start;  // the opening quote
    std::size_t end;    // the closing quote
};

std::vector<Span> quotedSpans(std::string_view line) {
    std::vector<Span> spans;
    std::size_t open = std::string_view::npos;
    for (std::size_t i = 0; i < line.size() && spans.size() < kSpanLimit; ++i) {
        if (line[i] != '"' || (i > 0 && line[i - 1] == '\\')) continue;
        if (open == std::string_view::npos) {
            open = i;
        } else {
            spans.push_back({open, i});
            open = std::string_view::npos;
        }
    }
    return spans;  // a quote that is never closed protects nothing
}

bool insideSpan(const std::vector<Span>& spans, std::size_t position) noexcept {
    for (const Span& span : spans)
        if (position > span.start && position < span.end) return true;
    return false;
}

void replaceAt(std::string& line, std::vector<ColumnSpan>& columns, std::size_t at, std::size_t length,
               std::string_view replacement) {
    if (columns.empty()) {
        columns.reserve(line.size());
        for (std::size_t i = 0; i < line.size(); ++i)
            columns.push_back({static_cast<std::uint16_t>(i), static_cast<std::uint16_t>(i + 1)});
    }
    const ColumnSpan replaced = {columns[at].start, columns[at + length - 1].end};
    const auto first = columns.begin() + static_cast<std::ptrdiff_t>(at);
    const auto next = columns.erase(first, first + static_cast<std::ptrdiff_t>(length));
    columns.insert(next, replacement.size(), replaced);
    line.replace(at, length, replacement);
}

}  // namespace

std::string DefineTable::add(std::string_view name, std::string_view replacement) {
    Define define{std::string(name), std::string(replacement)};
    std::vector<ColumnSpan> columns;
    std::string endless = replaceIn(define.replacement, columns);
    if (define.replacement.size() > kReplacementLimit) define.replacement.resize(kReplacementLimit);
    byLength_[define.name.size()][define.name].push_back(defines_.size());
    defines_.push_back(std::move(define));
    return endless;
}

void DefineTable::findIn(std::string_view line, std::set<std::size_t>& found) const {
    for (const auto& [length, names] : byLength_)
        for (std::size_t at = 0; at + length <= line.size(); ++at)
            if (const auto name = names.find(line.substr(at, length)); name != names.end())
                found.insert(name->second.begin(), name->second.end());
}

std::string DefineTable::replaceIn(std::string& line, std::vector<ColumnSpan>& columns) {
    columns.clear();
    std::string endless;
    // The latest goes first. What one brings in is there for those before it.
    std::set<std::size_t> found;
    findIn(line, found);
    for (auto next = found.rbegin(); next != found.rend(); next = found.rbegin()) {
        const std::size_t index = *next;
        Define& define = defines_[index];
        if (!define.endless && replaceOne(define, line, columns)) {
            if (define.endless) endless = define.name;
            findIn(line, found);
        }
        found.erase(found.lower_bound(index), found.end());
    }
    if (line.size() > kReplacedLimit) {
        line.resize(kReplacedLimit);
        if (!columns.empty()) columns.resize(kReplacedLimit);
    }
    return endless;
}

bool DefineTable::replaceOne(Define& define, std::string& line, std::vector<ColumnSpan>& columns) {
    // The spans are those of the line before this define changed it: they go stale with the first
    // replacement, and scripts have come to live with that.
    const std::vector<Span> spans = quotedSpans(line);
    const bool containsItself = define.replacement.find(define.name) != std::string::npos;
    int replacements = 0;
    std::size_t at = 0;
    while ((at = line.find(define.name, at)) != std::string::npos) {
        if (insideSpan(spans, at)) {
            at += define.name.size();
            continue;
        }
        if (containsItself || ++replacements > kReplacementsPerLine || line.size() > kEndlessLength) {
            define.endless = true;
            return true;
        }
        replaceAt(line, columns, at, define.name.size(), define.replacement);
        at = 0;
    }
    return replacements > 0;
}

}  // namespace kestrel
