// The handlers of the directives.

#include "engine/operations/file_names.h"
#include "engine/values/format.h"
#include "frontend/foreign_names.h"
#include "frontend/preprocessor.h"
#include "platform/ascii.h"
#include "platform/files.h"
#include "platform/near_names.h"
#include "platform/paths.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace kestrel {

namespace {

constexpr std::size_t kInsertDepth = 30;
/// Files that insert each other twice double with every level, which thirty of them would make endless.
constexpr std::size_t kInsertedMegabytes = 16;
constexpr std::size_t kMostInserted = kInsertedMegabytes << 20;
constexpr std::size_t kInsertCost = 1024;
constexpr std::size_t kDebugNameLength = 255;
/// The version of the language that scripts can require.
constexpr std::int64_t kMajorVersion = 1;
constexpr std::int64_t kMinorVersion = 3;

bool startsWithDigit(std::string_view text) noexcept {
    return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

/// The leading digits as a number that fits.
std::int32_t leadingNumber(std::string_view text) noexcept {
    const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    return static_cast<std::int32_t>(
        std::min<std::int64_t>(parseInteger(text.substr(0, end)), std::numeric_limits<std::int32_t>::max()));
}

/// The text between double quotes when it begins with one, otherwise all of it.
std::string_view unquoted(std::string_view text) noexcept {
    if (!text.starts_with('"')) return text;
    text.remove_prefix(1);
    return text.substr(0, text.find('"'));
}

/// Two significant digits, as "%2.02g" prints them, in any locale.
std::string twoDigits(double value) {
    std::array<char, 32> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 2).ptr;
    return std::string(text.data(), end);
}

}  // namespace

void Preprocessor::adviseOnDirective(std::string_view text) const {
    if (!ctx_.reporter.hintsWanted()) return;
    static constexpr std::string_view kNames[] = {
#define KESTREL_PRAGMA(name, ...) name,
#include "frontend/pragmas.def"
#undef KESTREL_PRAGMA
    };
    const auto* end = std::ranges::find_if_not(text, [](char c) { return ascii::isLetter(c); });
    const std::string_view word(text.data(), static_cast<std::size_t>(end - text.begin()));
    const std::string_view instead = insteadOfForeign(ForeignKind::Directive, word);
    const std::string_view near = nearestName(word, kNames);
    if (!instead.empty()) {
        ctx_.reporter.hint(currentPlace(), HintId::ForeignDirective, word, instead);
    } else if (!near.empty()) {
        ctx_.reporter.hint(currentPlace(), HintId::UnknownDirective, word, near);
    } else {
        ctx_.reporter.hint(currentPlace(), HintId::ForeignDirective, word, "a comment begins with //");
    }
}

void Preprocessor::pragmaDefine(std::string_view argument) {
    const std::size_t nameEnd = std::min(argument.find_first_of(" \t"), argument.size());
    const std::string_view name = argument.substr(0, nameEnd);
    if (name.empty()) {
        directiveError(MessageId::DefineWithoutName);
        return;
    }
    const std::size_t textStart = std::min(argument.find_first_not_of(" \t", nameEnd), argument.size());
    const std::string_view text = argument.substr(textStart);
    const std::string endless = defines_.add(name, text);
    if (ctx_.reporter.hintsWanted()) defineUses_.define(name, text, currentPlace());
    if (!endless.empty()) directiveError(MessageId::EndlessDefine, endless);
}

void Preprocessor::pragmaInsert(std::string_view argument) {
    const std::string name = convertSeparators(ctx_, unquoted(argument));
    std::string path = name;
    std::optional<std::string> text;
    if (inputs_.size() <= kInsertDepth) {
        if (!locatedOnly_) text = platform::readTextFile(path, kMostInserted);
        if (!text && ctx_.services.locator != nullptr && ctx_.services.locator->locate(ctx_, name, path))
            text = platform::readTextFile(path, kMostInserted);
    }
    if (!text) {
        directiveError(MessageId::InsertNotFound, name);
        return;
    }
    insertedBytes_ += text->size() + kInsertCost;
    if (insertedBytes_ > kMostInserted) {
        directiveError(MessageId::InsertsTooLarge, name, kInsertedMegabytes);
        return;
    }
    // The marker and the empty line that stands for the directive make diagnostics number an inserted file's
    // lines from 2 on. Scripts' users know those numbers; they stay.
    const SourcePos place = currentPlace();
    map_.addPlain(place.file, place.line, inputs_.back().column);
    addFile({.name = name, .text = *std::move(text)}, platform::nativePath(path), place);
    putMarker(1);
}

void Preprocessor::pragmaWarnings(std::string_view argument) {
    ReportState& state = ctx_.reporter.state;
    if (startsWithDigit(argument)) {
        state.maxWarnings = leadingNumber(argument);
    } else {
        state.warningsShown = !state.warningsShown;
    }
}

void Preprocessor::pragmaErrors(std::string_view argument) {
    if (startsWithDigit(argument)) {
        ctx_.reporter.state.maxErrors = leadingNumber(argument);
    } else {
        directiveError(MessageId::ErrorsWithoutNumber);
    }
}

void Preprocessor::pragmaUnused(std::string_view) {
    bool& report = ctx_.reporter.state.reportUnused;
    report = ctx_.options.strict && !report;
}

void Preprocessor::pragmaVersion(std::string_view argument) {
    if (!startsWithDigit(argument) && !argument.starts_with('"')) {
        directiveError(MessageId::DirectiveParameter, "version");
        return;
    }
    if (argument.front() == '"') argument.remove_prefix(1);
    const double version = parseDouble(argument);
    if (version == 0.0) {
        directiveError(MessageId::VersionValue);
        return;
    }
    const std::string text = twoDigits(version);
    const std::size_t point = text.find('.');
    const std::int64_t major = parseInteger(std::string_view(text).substr(0, point));
    const std::int64_t minor =
        point == std::string::npos ? 0 : parseInteger(std::string_view(text).substr(point + 1));
    if (major < kMajorVersion || (major == kMajorVersion && minor <= kMinorVersion)) return;
    directiveError(MessageId::NewerVersionNeeded, major, minor);
}

void Preprocessor::pragmaAutoerror(std::string_view) {
    ctx_.options.autoerror = !ctx_.options.autoerror;
}

void Preprocessor::pragmaAsyncspawn(std::string_view) {
    ctx_.options.asyncspawn = !ctx_.options.asyncspawn;
}

void Preprocessor::pragmaNonrandom(std::string_view) {
    ctx_.options.nonrandom = !ctx_.options.nonrandom;
}

void Preprocessor::pragmaLiteralpaths(std::string_view) {
    ctx_.options.literalpaths = !ctx_.options.literalpaths;
}

void Preprocessor::pragmaStrict(std::string_view) {
    ctx_.options.strict = !ctx_.options.strict;
    if (!ctx_.options.strict) ctx_.reporter.state.reportUnused = false;
}

void Preprocessor::pragmaLoadall(std::string_view) {}

void Preprocessor::pragmaDebug(std::string_view argument) {
    if (!argument.starts_with('"')) {
        directiveError(MessageId::DirectiveParameter, "debug");
        return;
    }
    ctx_.options.debugName = unquoted(argument).substr(0, kDebugNameLength);
}

}  // namespace kestrel
