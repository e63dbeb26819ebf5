#include "cli/dap/condition.h"

#include "cli/dap/asking.h"
#include "cli/dap/variables.h"
#include "cli/debugger/value_text.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <compare>

namespace kestrel::cli::dap {

namespace {

using namespace debug;  // NOLINT: values of a script are all that is compared here

// Longer ones first.
constexpr std::array<std::string_view, 6> kComparisons = {"==", "!=", "<=", ">=", "<", ">"};

std::string_view comparisonAt(std::string_view text) {
    const auto* found =
        std::ranges::find_if(kComparisons, [&](std::string_view c) { return text.starts_with(c); });
    return found != kComparisons.end() ? *found : std::string_view();
}

bool fits(std::partial_ordering order, std::string_view comparison) {
    if (comparison == "==") return order == 0;
    if (comparison == "!=") return order != 0;
    if (comparison == "<") return order < 0;
    if (comparison == "<=") return order <= 0;
    if (comparison == ">") return order > 0;
    return order >= 0;
}

bool isNumber(const DebugValue& value) {
    return value.kind == kSharedInteger || value.kind == kSharedNumber;
}

double numberOf(const DebugValue& value) {
    return value.kind == kSharedInteger ? value.integer : value.numbers[0];
}

/// Values that cannot be told apart or put in order are unordered: neither equal, smaller nor greater.
std::partial_ordering compare(const DebugValue& a, const DebugValue& b) {
    if (isNumber(a) && isNumber(b)) return numberOf(a) <=> numberOf(b);
    if (a.kind != b.kind || a.shape != ValueShape::Plain || b.shape != ValueShape::Plain)
        return std::partial_ordering::unordered;
    if (a.kind == kSharedText) return a.text <=> b.text;
    if (a.kind == kSharedVector && a.numbers != b.numbers) return std::partial_ordering::unordered;
    return std::partial_ordering::equivalent;
}

bool isTrue(const DebugValue& value) {
    if (value.shape != ValueShape::Plain) return value.shape != ValueShape::Nothing;
    if (isNumber(value)) return numberOf(value) != 0;
    return value.kind == kSharedText ? value.size > 0 : value.kind == kSharedVector;
}

DebugValue operand(DebugClient& client, const std::string& function, const std::string& text) {
    if (const std::optional<DebugValue> literal = parseValue(text)) return *literal;
    DebugValue value;
    const std::string reference = referenceOf(client, function, text);
    need(client.value(reference, value));
    if (value.textCut()) need(client.text(reference, value.size, value.text));
    return value;
}

}  // namespace

std::optional<Condition> Condition::parse(std::string_view text) {
    text = ascii::trimmed(text);
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (quoted && text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            quoted = !quoted;
        } else if (!quoted && text.substr(at).starts_with("->")) {
            ++at;
        } else if (const std::string_view comparison = comparisonAt(text.substr(at));
                   !quoted && !comparison.empty()) {
            const std::string_view left = ascii::trimmed(text.substr(0, at));
            const std::string_view right = ascii::trimmed(text.substr(at + comparison.size()));
            if (left.empty() || right.empty()) return std::nullopt;
            return Condition{std::string(left), std::string(comparison), std::string(right)};
        }
    }
    if (text.empty() || quoted || text.find_first_of(" \t(") != std::string_view::npos) return std::nullopt;
    return Condition{std::string(text), {}, {}};
}

bool Condition::holds(DebugClient& client, const std::string& function) const {
    const DebugValue value = operand(client, function, left);
    if (comparison.empty()) return isTrue(value);
    return fits(compare(value, operand(client, function, right)), comparison);
}

std::optional<HitCondition> HitCondition::parse(std::string_view text) {
    HitCondition condition;
    text = ascii::trimmed(text);
    const std::string_view comparison = text.starts_with('%') ? std::string_view("%") : comparisonAt(text);
    if (comparison == "!=") return std::nullopt;
    if (!comparison.empty()) condition.comparison = comparison;
    text = ascii::trimmed(text.substr(comparison.size()));
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), condition.number);
    if (error != std::errc() || end != text.data() + text.size() || condition.number < 1) return std::nullopt;
    return condition;
}

bool HitCondition::holds(std::int64_t times) const {
    return comparison == "%" ? times % number == 0 : fits(times <=> number, comparison);
}

}  // namespace kestrel::cli::dap
