#include "engine/report/reporter.h"

#include <algorithm>
#include <utility>

namespace kestrel {

namespace {

std::string linePrefix(const MessageOrigin& origin) {
    return "Line " + std::to_string(origin.line) + ", ";
}

std::string filePrefix(const MessageOrigin& origin) {
    std::string prefix = "File '";
    prefix += origin.file;
    return prefix + "', line " + std::to_string(origin.line) + std::string(kLineBreak);
}

/// A message of the compiler between the place and the source line.
std::string sourceText(const MessageRow& row, const MessageOrigin& origin, const std::string& message) {
    std::string head = linePrefix(origin);
    if (origin.function != nullptr)
        head = std::string("In ") + origin.function + ", line " + std::to_string(origin.line) + ", ";
    if (row.kind == MessageKind::Error) head += std::string("found '") + origin.found + "' ";
    head = formatMessage(std::move(head), "%s", {message});
    std::erase(head, '\0');  // the end of input has no character
    return formatMessage(std::move(head), "<br>Line: %s", {origin.sourceLine});
}

std::string textOf(const MessageRow& row, const MessageOrigin& origin, FormatArgs args) {
    switch (row.prefix) {
        case MessagePrefix::None:
            break;
        case MessagePrefix::Line:
            return formatMessage(linePrefix(origin), row.text, args);
        case MessagePrefix::File:
            return formatMessage(filePrefix(origin), row.text, args);
        case MessagePrefix::Source:
            return sourceText(row, origin, formatMessage(row.text, args));
    }
    return formatMessage(row.text, args);
}

}  // namespace

void Reporter::reportArgs(MessageId id, const MessageOrigin& origin, FormatArgs args) {
    const MessageRow& row = messageRow(id);
    if (row.effect == MessageEffect::Abort && abortFlag != nullptr) *abortFlag = true;
    if (count(row.kind)) route(id, row.kind, textOf(row, origin, args));
}

void Reporter::reportUser(std::string_view text) {
    MessageId id = MessageId::UserInfo;
    if (text.starts_with("#E"))
        id = MessageId::UserError;
    else if (text.starts_with("#W"))
        id = MessageId::UserWarning;
    if (text.starts_with('#')) text.remove_prefix(std::min<std::size_t>(2, text.size()));
    const MessageKind kind = messageRow(id).kind;
    if (count(kind)) route(id, kind, formatMessage(text, {}));
}

bool Reporter::count(MessageKind kind) {
    switch (kind) {
        case MessageKind::Info:
            break;
        case MessageKind::Warning:
            return ++state.warningCount <= state.maxWarnings;
        case MessageKind::Error:
            if (++state.errorCount <= state.maxErrors) break;
            if (abortFlag != nullptr) *abortFlag = true;
            if (state.errorCount == state.maxErrors + 1) {
                const MessageRow& row = messageRow(MessageId::TooManyErrors);
                showSplit(row.id, row.kind, formatMessage(row.text, {state.maxErrors}));
            }
            return false;
    }
    return true;
}

void Reporter::route(MessageId id, MessageKind kind, std::string text) {
    if (diversion != nullptr)
        diversion->message(kind, text);
    else if (kind != MessageKind::Warning || state.warningsShown)
        showSplit(id, kind, std::move(text));
}

void Reporter::showSplit(MessageId id, MessageKind kind, std::string text) {
    if (sink_ == nullptr) return;
    const SourcePos where = place != nullptr ? *place : SourcePos{};
    if (const std::size_t at = text.find(kLineBreak); at != std::string::npos) {
        sink_->show({id, kind, text.substr(0, at), text.substr(at + kLineBreak.size()), where, files});
    } else {
        sink_->show({id, kind, state.scriptPath, std::move(text), where, files});
    }
}

void Reporter::hintArgs(const SourcePos& where, HintId id, FormatArgs args) {
    if (++state.hintCount > kHintLimit) {
        hints->advise({HintId::MoreHints, std::string(hintRow(HintId::MoreHints).text), {}, files});
        return;
    }
    hints->advise({id, formatMessage(hintRow(id).text, args), where, files});
}

bool Reporter::firstHintAt(const SourcePos& where) {
    const auto same = [&where](const SourcePos& p) {
        return p.file == where.file && p.line == where.line && p.column == where.column;
    };
    if (std::ranges::any_of(state.hintPlaces, same)) return false;
    state.hintPlaces.push_back(where);  // bounded, as hints are
    return true;
}

void Reporter::showNotice(MessageId id, std::optional<std::string> line2) {
    if (sink_ == nullptr) return;
    const MessageRow& row = messageRow(id);
    sink_->show({id, row.kind, std::string(row.text), std::move(line2), {}, nullptr});
}

}  // namespace kestrel
