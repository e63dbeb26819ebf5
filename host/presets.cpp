#include "host/presets.h"

#include "engine/operations/assignment.h"
#include "ipc/debug_values.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace kestrel {

namespace {

using debug::NamesOfVariables;

bool isName(std::string_view text) {
    const auto fits = [](char c) { return ascii::isLetter(c) || ascii::isDigit(c) || c == '_'; };
    return !text.empty() && !ascii::isDigit(text.front()) && std::ranges::all_of(text, fits);
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && ascii::isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && ascii::isSpace(text.back())) text.remove_suffix(1);
    return text;
}

/// @return nothing for a text that is no number as a whole
std::optional<double> readNumber(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument) return std::nullopt;
    return error == std::errc() ? number : HUGE_VAL;
}

std::optional<VectorValue> readVector(std::string_view text) {
    if (text.size() < 2 || text.front() != '<' || text.back() != '>') return std::nullopt;
    text = text.substr(1, text.size() - 2);
    std::array<double, 3> numbers{};
    for (double& number : numbers) {
        const bool last = &number == &numbers.back();
        const std::size_t end = last ? text.size() : text.find(',');
        if (end == std::string_view::npos) return std::nullopt;
        const std::optional<double> read = readNumber(text.substr(0, end));
        if (!read) return std::nullopt;
        number = *read;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return VectorValue{numbers[0], numbers[1], numbers[2]};
}

bool isFinite(const VectorValue& vec) {
    return std::isfinite(vec.x) && std::isfinite(vec.y) && std::isfinite(vec.z);
}

/// @return why a value that is no number and no Vector is probably not meant as a text; empty: it may be
std::string problemOfText(std::string_view text) {
    if (text.empty()) return "the value is missing; the empty text is \"\"";
    if (text.starts_with('<')) return "a Vector is <x,y,z>; a text that begins with < needs double quotes";
    return {};
}

bool isPresettable(const Program& program, const NamesOfVariables& names, Variable& global) {
    return debug::isGlobalOfScript(program, global) && names.has(global);
}

/// A text stays that of the preset.
ValueCell cellOf(const Preset& preset) {
    if (const auto* number = std::get_if<double>(&preset.value)) {
        const bool whole = *number == std::trunc(*number) && std::fabs(*number) < 2147483648.0;
        return whole ? ValueCell::ofInteger(*number) : ValueCell::ofNumber(*number);
    }
    if (const auto* vec = std::get_if<VectorValue>(&preset.value)) return ValueCell::ofVector(*vec);
    return ValueCell::ofText(std::get<std::string>(preset.value).c_str());
}

}  // namespace

std::optional<Preset> parsePreset(std::string_view assignment, std::string& problem) {
    problem.clear();
    const std::size_t equals = assignment.find('=');
    const std::string_view name = trimmed(assignment.substr(0, equals));
    if (equals == std::string_view::npos || !isName(name)) {
        problem = "write NAME=VALUE with the name of a global variable";
        return std::nullopt;
    }
    Preset preset{std::string(name), {}};
    const std::string_view text = assignment.substr(equals + 1);
    const std::optional<double> number = readNumber(text);
    const std::optional<VectorValue> vec = readVector(trimmed(text));
    if ((number && !std::isfinite(*number)) || (vec && !isFinite(*vec))) {
        problem = "the number is not finite; a text of these letters needs double quotes";
        return std::nullopt;
    }
    if (!number && !vec) problem = problemOfText(trimmed(text));
    if (!problem.empty()) return std::nullopt;
    if (number)
        preset.value = *number;
    else if (vec)
        preset.value = *vec;
    else if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        preset.value = std::string(text.substr(1, text.size() - 2));
    else
        preset.value = std::string(text);
    return preset;
}

void applyPresets(EngineContext& ctx, std::span<const Preset> presets) {
    if (presets.empty()) return;
    const NamesOfVariables names(*ctx.program);
    for (const Preset& preset : presets) {
        Variable* global = ctx.program->findGlobal(preset.name);
        if (global != nullptr && isPresettable(*ctx.program, names, *global))
            assignFromOutside(ctx, *global, cellOf(preset));
    }
}

std::vector<std::string> presettableGlobals(const Program& program) {
    const NamesOfVariables names(program);
    std::vector<std::string> found;
    for (Variable* global = program.globals.head; global != nullptr; global = global->next)
        if (isPresettable(program, names, *global)) found.emplace_back(global->name);
    return found;
}

}  // namespace kestrel
