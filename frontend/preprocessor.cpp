#include "frontend/preprocessor.h"

#include "engine/report/reporter.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <algorithm>
#include <utility>

namespace kestrel {

namespace {

/// Longer physical lines are read as several lines.
constexpr std::size_t kLineLimit = 510;

std::string temporaryFileName() {
    std::string name = platform::temporaryDirectory();
    if (!name.ends_with('\\')) name += '\\';
    return name + "kestrel." + std::to_string(platform::processId());
}

std::string_view skipBlanks(std::string_view text) noexcept {
    const std::size_t start = text.find_first_not_of(" \t");
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

}  // namespace

std::optional<PreprocessedScript> Preprocessor::run(std::string_view inputPath) {
    std::optional<std::string> text = platform::readTextFile(inputPath);
    if (!text) {
        ctx_.report(MessageId::ScriptNotOpened, inputPath);
        return std::nullopt;
    }
    addFile({.name = std::string(inputPath), .text = *std::move(text)}, platform::nativePath(inputPath), {});
    // Scripts are prepared in memory: a file in a directory that others share could be exchanged before it is
    // read. That the directory can be written is still asked for, and without it nothing compiles. What
    // somebody has put in the file's place stays as it is. Asked before anything is read, so that a directory
    // that can't be written is the only message. One who says where files are looked for wants no other to be
    // touched.
    if (const std::string path = temporaryFileName(); !locatedOnly_ && !platform::takesFile(path)) {
        ctx_.report(MessageId::TemporaryNotCreated, path);
        return std::nullopt;
    }
    return process();
}

std::optional<PreprocessedScript> Preprocessor::runText(std::string_view name, std::string_view text) {
    addFile({.name = std::string(name), .text = std::string(text)}, std::string(name), {});
    return process();
}

std::optional<PreprocessedScript> Preprocessor::process() {
    output_.reserve(inputs_.back().text.size());
    map_.addPlain(0, 1, 0);
    putMarker(1);
    std::string line;
    while (!ctx_.run.abort && !ctx_.endRequested()) {
        if (readLine(line)) {
            processLine(line);
        } else if (inputs_.size() > 1) {
            endOfInsert();
        } else {
            break;
        }
    }
    if (failed_ || ctx_.run.abort || ctx_.endRequested()) return std::nullopt;
    return PreprocessedScript{std::move(output_), std::move(map_), std::move(defineUses_)};
}

void Preprocessor::addFile(Input input, std::string nativePath, const SourcePos& broughtInBy) {
    input.file = static_cast<std::int32_t>(files_.size());
    files_.push_back({std::move(nativePath), broughtInBy});
    const bool oneLine = ctx_.reporter.hintsWanted() && input.text.find('\r') != std::string::npos &&
                         input.text.find('\n') == std::string::npos;
    if (const SourcePos start = {input.file, 1, 1, 2}; oneLine && ctx_.reporter.firstHintAt(start))
        ctx_.reporter.hint(
            start, HintId::ForeignCharacter,
            "the lines of this file end with CR alone, so all of it is one line: save it with LF");
    inputs_.push_back(std::move(input));
}

bool Preprocessor::readLine(std::string& line) {
    Input& input = inputs_.back();
    if (input.next >= input.text.size()) return false;
    if (input.pieceEndsLine) {
        ++input.trueLine;
        input.column = 0;
    } else {
        input.column += kLineLimit;
    }
    ++input.line;
    // Not looked for any further: a line of many megabytes is read in as many pieces.
    const std::string_view rest = std::string_view(input.text).substr(input.next, kLineLimit + 1);
    const std::size_t newline = input.next + std::min(rest.find('\n'), rest.size());
    const std::size_t length = std::min(newline - input.next, kLineLimit);
    line.assign(input.text, input.next, length);
    input.pieceEndsLine = input.next + length == newline;
    input.next += length + (input.pieceEndsLine ? 1 : 0);
    lineLength_ = static_cast<std::int32_t>(line.size());
    return true;
}

void Preprocessor::processLine(std::string& line) {
    if (line.starts_with('#') || line.starts_with('@')) {
        // The place is kept: an insert makes another file the current one.
        const Input& input = inputs_.back();
        const auto file = input.file;
        const auto trueLine = input.trueLine;
        const auto column = input.column;
        directive(line);
        map_.addPlain(file, trueLine, column);
        put("");
    } else {
        ordinaryLine(line);
    }
}

void Preprocessor::directive(std::string_view line) {
    using Handler = void (Preprocessor::*)(std::string_view);
    struct Row {
        std::string_view name;
        Handler handler;
    };
    static constexpr Row kRows[] = {
#define KESTREL_PRAGMA(name, handler, ...) {name, &Preprocessor::handler},
#include "frontend/pragmas.def"
#undef KESTREL_PRAGMA
    };
    constexpr std::string_view kPragma = "pragma";

    std::string_view text = skipBlanks(line.substr(1));
    if (line.front() == '#' && text.starts_with(kPragma)) text = skipBlanks(text.substr(kPragma.size()));
    for (const Row& row : kRows) {
        if (!text.starts_with(row.name)) continue;
        (this->*row.handler)(skipBlanks(text.substr(row.name.size())));
        return;
    }
    directiveError(MessageId::UnknownDirective, line);
    adviseOnDirective(text);
}

void Preprocessor::ordinaryLine(std::string& line) {
    const Input& input = inputs_.back();
    const std::size_t length = line.size();
    std::vector<ColumnSpan> columns;
    const std::string source = ctx_.reporter.hintsWanted() ? line : std::string();
    const std::string endless = defines_.replaceIn(line, columns);
    if (!source.empty() && !columns.empty()) defineUses_.replaced(currentPlace(), source, line, columns);
    if (!endless.empty()) directiveError(MessageId::EndlessDefine, endless);
    map_.addChanged(input.file, input.trueLine, input.column, length, std::move(columns));
    put(line);
}

void Preprocessor::endOfInsert() {
    inputs_.pop_back();
    const Input& outer = inputs_.back();
    map_.addPlain(outer.file, outer.trueLine, outer.column);
    putMarker(outer.line + 1);
}

void Preprocessor::put(std::string_view line) {
    output_ += line;
    output_ += '\n';
}

void Preprocessor::putMarker(std::int32_t line) {
    put("@line " + std::to_string(line));
}

SourcePos Preprocessor::currentPlace() const noexcept {
    const Input& input = inputs_.back();
    const auto start = static_cast<std::int32_t>(input.column) + 1;
    return {input.file, input.trueLine, start, start + std::max(lineLength_, 1)};
}

void Preprocessor::reportDirective(MessageId id, FormatArgs args) {
    const SourcePos place = currentPlace();
    ctx_.reporter.place = &place;
    ctx_.reporter.reportArgs(id, {.line = inputs_.back().line, .file = inputs_.back().name}, args);
    ctx_.reporter.place = nullptr;
    failed_ = true;
}

}  // namespace kestrel
