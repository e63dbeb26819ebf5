#include "cli/message_printer.h"

#include "cli/expression_messages.h"
#include "cli/text_script.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "platform/terminal.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

namespace kestrel::cli {

namespace {

namespace fs = std::filesystem;

constexpr int kWindow = 150;           // columns of a source line that are shown at most
constexpr std::size_t kMaxChain = 40;  // inserts nest thirty deep; a damaged chain must end too

struct Palette {
    const char* label = "";
    const char* bold = "";
    const char* faint = "";
    const char* reset = "";
};

using Kind = ShownMessage::Kind;

const char* labelOf(Kind kind) {
    switch (kind) {
        case Kind::Info:
            return "info";
        case Kind::Warning:
            return "warning";
        case Kind::Error:
            return "error";
        case Kind::Hint:
            return "hint";
    }
    return "";
}

Palette paletteOf(Kind kind, bool colour) {
    if (!colour) return {};
    Palette palette{"", "\033[1m", "\033[2m", "\033[0m"};
    switch (kind) {
        case Kind::Info:
            break;
        case Kind::Warning:
            palette.label = "\033[1;35m";
            break;
        case Kind::Error:
            palette.label = "\033[1;31m";
            break;
        case Kind::Hint:
            palette.label = "\033[1;36m";
            break;
    }
    return palette;
}

/// Diagnostics quote bytes of a script: no control character of it may reach the terminal.
std::string printable(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c == '\t')
            c = ' ';
        else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    }
    return out;
}

/// The path as a person wants to read it: relative when the file lies below the current directory.
std::string displayPath(const std::string& file) {
    std::error_code error;
    const fs::path path(file);
    if (!path.is_absolute()) return file;
    const fs::path relative = path.lexically_relative(fs::current_path(error));
    if (error || relative.empty() || *relative.begin() == "..") return file;
    return relative.string();
}

Kind kindOf(MessageKind kind) {
    switch (kind) {
        case MessageKind::Info:
            return Kind::Info;
        case MessageKind::Warning:
            return Kind::Warning;
        case MessageKind::Error:
            return Kind::Error;
    }
    return Kind::Info;
}

/// The second line of the compiler's messages is a line of the script: the one that was read last.
bool quotesSource(const ShownMessage& message) {
    const MessageRow* row = findMessage(message.id);
    return row != nullptr && row->prefix == MessagePrefix::Source;
}

bool sameMessage(const ShownMessage& a, const ShownMessage& b) {
    return a.kind == b.kind && a.line1 == b.line1 && a.line2 == b.line2 && a.rule == b.rule &&
           (a.kind == Kind::Info || (a.place.file == b.place.file && a.place.line == b.place.line &&
                                     a.place.column == b.place.column));
}

/// Number of terminal columns that the first `bytes` bytes of UTF-8 text take (wide characters count as one).
int columnsOf(std::string_view text) {
    return static_cast<int>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0u) != 0x80u; }));
}

}  // namespace

Place resolvePlace(const SourcePos& pos, const SourceFiles& files) {
    const auto single = [&files](const SourcePos& p) {
        Place place;
        if (!p.known() || static_cast<std::size_t>(p.file) >= files.size()) return place;
        place.file = files[static_cast<std::size_t>(p.file)].path;
        place.line = p.line;
        place.column = p.column;
        place.endColumn = p.endColumn;
        return place;
    };
    Place place = single(pos);
    SourcePos at = pos;
    while (at.known() && static_cast<std::size_t>(at.file) < files.size() &&
           place.broughtInBy.size() < kMaxChain) {
        at = files[static_cast<std::size_t>(at.file)].broughtInBy;
        if (Place outer = single(at); outer.known()) place.broughtInBy.push_back(std::move(outer));
    }
    return place;
}

ShownMessage shownMessage(const Message& message) {
    ShownMessage shown;
    shown.kind = kindOf(message.kind);
    shown.line1 = message.line1;
    shown.line2 = message.line2;
    shown.id = messageRow(message.id).name;
    if (message.files != nullptr) shown.place = resolvePlace(message.where, *message.files);
    return shown;
}

std::string absolutePath(const std::string& file) {
    std::error_code error;
    const fs::path path = fs::absolute(file, error);
    return error ? file : path.lexically_normal().string();
}

ShownMessage shownHint(const Hint& hint) {
    ShownMessage shown;
    shown.kind = Kind::Hint;
    shown.line1 = hint.text;
    shown.rule = hintRow(hint.id).rule;
    if (hint.files != nullptr) shown.place = resolvePlace(hint.where, *hint.files);
    return shown;
}

MessagePrinter::MessagePrinter(bool json, std::string nativePath) : json_(json) {
    addScript(nativePath);
}

void MessagePrinter::setTextScript(std::shared_ptr<const TextScript> script) {
    textScript_ = std::move(script);
    if (textScript_ != nullptr) scripts_.emplace(textScript_->name(), textScript_->name());
}

bool MessagePrinter::inText(const Place& place) const {
    return textScript_ != nullptr && place.file == textScript_->path();
}

std::string MessagePrinter::shownFile(const Place& place) const {
    return inText(place) ? textScript_->name() : displayPath(place.file);
}

int MessagePrinter::shownLine(const Place& place) const {
    return inText(place) ? textScript_->shownLine(place.line) : place.line;
}

void MessagePrinter::addScript(const std::string& nativePath) {
    if (!nativePath.empty())
        scripts_.emplace(platform::upperCase(platform::systemPath(nativePath)), nativePath);
}

MessagePrinter::~MessagePrinter() {
    finish();
}

void MessagePrinter::show(const Message& message) {
    show(shownMessage(message));
}

void MessagePrinter::show(ShownMessage message) {
    if (relay_) {
        relay_(message);
        return;
    }
    if (textScript_ != nullptr && textScript_->isExpression()) {
        std::optional<ShownMessage> told = aboutExpression(std::move(message), *textScript_, errorShown_);
        if (!told) return;
        message = *std::move(told);
        errorShown_ = errorShown_ || message.kind == Kind::Error;
    }
    if (textScript_ != nullptr) {
        message.line1 = textScript_->shown(std::move(message.line1));
        if (message.line2) message.line2 = textScript_->shown(*std::move(message.line2));
    }
    if (json_) {
        showJson(message);
        return;
    }
    std::optional<ShownMessage>& last = message.kind == Kind::Hint ? lastHint_ : last_;
    if (last && sameMessage(*last, message)) {
        if (message.kind != Kind::Hint) ++repeats_;
        return;
    }
    if (message.kind == Kind::Hint) {  // it explains the message before, whose run may go on
        if (repeats_ > 0) finish();
        showForPeople(message);
        lastHint_ = std::move(message);
        return;
    }
    finish();
    showForPeople(message);
    last_ = std::move(message);
}

void MessagePrinter::plainError(std::string_view text, Place place) {
    ShownMessage message;
    message.kind = Kind::Error;
    message.line1 = text;
    message.place = std::move(place);
    show(std::move(message));
}

void MessagePrinter::advise(const Hint& hint) {
    show(shownHint(hint));
}

void MessagePrinter::hint(HintId id) {
    hint(id, hintRow(id).text);
}

void MessagePrinter::hint(HintId id, std::string_view text) {
    show(shownHint({id, std::string(text), {}, nullptr}));
}

void MessagePrinter::finish() {
    if (last_ && repeats_ > 0) {
        std::FILE* out = last_->kind == Kind::Info ? stdout : stderr;
        std::fprintf(out, "    (shown once, reported %d times)\n", repeats_ + 1);
        std::fflush(out);
    }
    last_.reset();
    repeats_ = 0;
}

void MessagePrinter::showJson(const ShownMessage& message) const {
    nlohmann::ordered_json json;
    json["kind"] = labelOf(message.kind);
    json["line1"] = message.line1;
    json["line2"] = nullptr;
    if (message.line2) json["line2"] = *message.line2;
    if (!message.id.empty()) json["id"] = message.id;
    if (!message.rule.empty()) json["rule"] = message.rule;
    if (message.place.known()) {
        json["file"] = inText(message.place) ? textScript_->name() : absolutePath(message.place.file);
        json["line"] = shownLine(message.place);
        if (message.place.column > 0) {
            json["column"] = message.place.column;
            json["endColumn"] = std::max(message.place.endColumn, message.place.column + 1);
        }
    }
    const std::string text = json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::fprintf(stdout, "%s\n", text.c_str());
    std::fflush(stdout);
}

const std::string* MessagePrinter::scriptOf(std::string_view line1) const {
    const auto found = scripts_.find(line1);
    return found == scripts_.end() ? nullptr : &found->second;
}

void MessagePrinter::showForPeople(const ShownMessage& message) {
    const std::string* script = message.line2 ? scriptOf(message.line1) : nullptr;
    const bool oneLine = script != nullptr;
    if (message.kind == Kind::Info) {
        // What a script says with info() goes out byte for byte, so that it can be piped on.
        if (!oneLine) std::fprintf(stdout, "%s\n", message.line1.c_str());
        if (message.line2) std::fprintf(stdout, "%s\n", message.line2->c_str());
        std::fflush(stdout);
        return;
    }

    std::FILE* out = stderr;
    const bool colour = platform::isTerminal(platform::Stream::Error) &&
                        platform::environment("NO_COLOR").value_or("").empty();
    const Palette palette = paletteOf(message.kind, colour);
    std::string where;
    if (message.place.known()) {
        where = shownFile(message.place) + ":" + std::to_string(shownLine(message.place)) + ":";
        if (message.place.column > 0) where += std::to_string(message.place.column) + ":";
        where += " ";
    } else if (oneLine) {
        where = *script + ": ";
    } else if (message.id.empty() && message.kind == Kind::Error) {
        where = "kestrel: ";
    }
    const std::string& first = oneLine ? *message.line2 : message.line1;
    std::string text = std::string(palette.bold) + printable(where) + palette.reset + palette.label +
                       labelOf(message.kind) + ":" + palette.reset + " " + palette.bold + printable(first) +
                       palette.reset;
    if (!message.rule.empty()) text += " [" + message.rule + "]";
    text += "\n";
    // The line at the place says more than the one that the compiler read last.
    const bool replaced = quotesSource(message) && message.place.known() &&
                          sourceLine(message.place.file, message.place.line) != nullptr;
    if (message.line2 && !oneLine && !replaced) text += "    " + printable(*message.line2) + "\n";
    std::fputs(text.c_str(), out);
    writeSource(out, colour, message.place);
    std::fflush(out);
}

void MessagePrinter::writeSource(std::FILE* out, bool colour, const Place& place) {
    if (!place.known()) return;
    const Palette palette = paletteOf(Kind::Hint, colour);
    if (const std::string* source = sourceLine(place.file, place.line)) {
        const int length = static_cast<int>(source->size());
        const int column = std::clamp(place.column, 0, length + 1);
        const int first = column > kWindow ? column - kWindow / 2 : 1;
        const std::string shown =
            printable(std::string_view(*source).substr(static_cast<std::size_t>(first - 1), kWindow));
        std::fprintf(out, "%s%5d |%s %s\n", palette.faint, shownLine(place), palette.reset, shown.c_str());
        if (column > 0) {
            const std::size_t start = static_cast<std::size_t>(column - first);
            const int last = std::clamp(place.endColumn, column + 1, std::max(length + 1, column + 1));
            const int width =
                columnsOf(std::string_view(shown).substr(start, static_cast<std::size_t>(last - column)));
            std::string mark(static_cast<std::size_t>(columnsOf(std::string_view(shown).substr(0, start))),
                             ' ');
            mark += '^';
            mark.append(static_cast<std::size_t>(std::max(width - 1, 0)), '~');
            std::fprintf(out, "%s      |%s %s%s%s\n", palette.faint, palette.reset, palette.label,
                         mark.c_str(), palette.reset);
        }
    }
    for (const Place& outer : place.broughtInBy) {
        std::fprintf(out, "%s      = brought in by %s:%d%s\n", palette.faint,
                     printable(shownFile(outer)).c_str(), shownLine(outer), palette.reset);
    }
}

const std::string* MessagePrinter::sourceLine(const std::string& file, int line) {
    auto found = sources_.find(file);
    if (found == sources_.end()) {
        std::vector<std::string> lines;
        std::ifstream in(file, std::ios::binary);
        for (std::string text; std::getline(in, text);) {
            if (!text.empty() && text.back() == '\r') text.pop_back();
            lines.push_back(std::move(text));
        }
        found = sources_.emplace(file, std::move(lines)).first;
    }
    const auto index = static_cast<std::size_t>(line - 1);
    return index < found->second.size() ? &found->second[index] : nullptr;
}

}  // namespace kestrel::cli
