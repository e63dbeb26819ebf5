#include "cli/debugger/value_text.h"

#include "platform/ascii.h"

#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace kestrel::cli {

namespace {

using namespace debug;  // NOLINT: values of a debugged script are all that this file is about
using Json = nlohmann::ordered_json;

constexpr std::size_t kMostParts = 20;
constexpr std::size_t kMostText = 10000;
constexpr int kDeepest = 3;

std::optional<double> parseNumber(std::string_view text) {
    text = ascii::trimmed(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return number;
}

std::optional<DebugValue> parseText(std::string_view text) {
    DebugValue value;
    value.kind = kSharedText;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            if (i + 1 != text.size()) return std::nullopt;
            value.size = value.text.size();
            return value;
        }
        if (text[i] != '\\' || i + 1 == text.size()) {
            value.text += text[i];
            continue;
        }
        const char c = text[++i];
        value.text += c == 'n' ? '\n' : c == 't' ? '\t' : c;
    }
    return std::nullopt;  // no quote at its end
}

std::optional<DebugValue> parseVector(std::string_view text) {
    if (!text.ends_with('>')) return std::nullopt;
    text = text.substr(1, text.size() - 2);
    DebugValue value;
    value.kind = kSharedVector;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t comma = i < 2 ? text.find(',') : text.size();
        if (comma == std::string_view::npos) return std::nullopt;
        const std::optional<double> number = parseNumber(text.substr(0, comma));
        if (!number) return std::nullopt;
        value.numbers[i] = *number;
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return value;
}

/// The shortest text that gives the number back.
std::string numberText(double number) {
    std::array<char, 40> buffer;
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    return {buffer.data(), end};
}

std::string quoted(std::string_view text, bool cut) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '\n')
            result += "\\n";
        else if (c == '\t')
            result += "\\t";
        else if (c == '"' || c == '\\')
            (result += '\\') += c;
        else if (static_cast<unsigned char>(c) < 32 || c == 127)
            result += '?';  // a terminal would act on it
        else
            result += c;
    }
    return result + (cut ? "\"..." : "\"");
}

std::string plainText(const DebugValue& value) {
    switch (value.kind) {
        case kSharedNone:
            break;
        case kSharedInteger:
            return std::to_string(value.integer);
        case kSharedNumber: {
            // With a point, so that it can be told from an integer.
            std::string text = numberText(value.numbers[0]);
            return text.find_first_of(".eni") == std::string::npos ? text + ".0" : text;
        }
        case kSharedText:
            return quoted(value.text, value.textCut());
        case kSharedVector:
            return "<" + numberText(value.numbers[0]) + ", " + numberText(value.numbers[1]) + ", " +
                   numberText(value.numbers[2]) + ">";
        case kSharedNil:
            return "nil";
    }
    return "?";
}

std::string partsText(const ShownValue& value) {
    std::string text = " {";
    for (const auto& [name, part] : value.parts) {
        if (&part != &value.parts.front().value) text += ", ";
        if (name.starts_with("->")) text += name.substr(2) + " = ";
        text += valueText(part);
    }
    const std::size_t more = value.value.size - std::min(value.value.size, value.parts.size());
    if (more > 0)
        text +=
            (value.parts.empty() ? "" : ", ") + std::to_string(more) + (value.parts.empty() ? "" : " more");
    return text + "}";
}

/// An infinite number and one that is none have no place in JSON.
Json numberJson(double number) {
    return std::isfinite(number) ? Json(number) : Json(nullptr);
}

void fetchParts(DebugClient& client, const std::string& reference, ShownValue& value, int level) {
    if (value.value.textCut()) {
        std::string text;
        if (client.text(reference, kMostText, text).done()) value.value.text = std::move(text);
    }
    if (!value.value.hasParts() || level >= kDeepest) return;
    std::vector<DebugVariable> variables;
    std::size_t total = 0;
    if (!client.values(reference, 0, kMostParts, variables, total).done()) return;
    for (DebugVariable& variable : variables) {
        value.parts.push_back({variable.name, {std::move(variable.value), {}}});
        fetchParts(client, reference + variable.name, value.parts.back().value, level + 1);
    }
}

}  // namespace

std::optional<DebugValue> parseValue(std::string_view text) {
    text = ascii::trimmed(text);
    DebugValue value;
    if (text.empty()) return std::nullopt;
    if (text == "nil") {
        value.kind = kSharedNil;
        return value;
    }
    if (text.front() == '"') return parseText(text);
    if (text.front() == '<') return parseVector(text);
    const std::optional<double> number = parseNumber(text);
    if (!number) return std::nullopt;
    const auto [end, error] = std::from_chars(text.data() + (text.front() == '+' ? 1 : 0),
                                              text.data() + text.size(), value.integer);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    value.kind = whole ? kSharedInteger : kSharedNumber;
    value.numbers[0] = *number;
    return value;
}

std::string valueText(const ShownValue& value) {
    switch (value.value.shape) {
        case ValueShape::Plain:
            return plainText(value.value);
        case ValueShape::Nothing:
            return "(no value yet)";
        case ValueShape::Array:
            return "array" + value.value.text + partsText(value);
        case ValueShape::Record:
            return value.value.text + partsText(value);
        case ValueShape::Object:
            return value.value.text.empty() ? "(object)" : value.value.text;
    }
    return "?";
}

Json valueJson(const ShownValue& value) {
    static constexpr std::array<const char*, 6> kKinds = {"unknown", "integer", "number",
                                                          "text",    "vector",  "nil"};
    static constexpr std::array<const char*, 5> kShapes = {"", "nothing", "array", "record", "object"};
    const DebugValue& v = value.value;
    const auto kind = static_cast<std::size_t>(v.kind);
    const auto shape = static_cast<std::size_t>(v.shape);
    Json json;
    json["type"] = shape > 0 && shape < kShapes.size() ? kShapes[shape]
                   : kind < kKinds.size()              ? kKinds[kind]
                                                       : kKinds[0];
    json["value"] = nullptr;
    if (v.kind == kSharedInteger) json["value"] = v.integer;
    if (v.kind == kSharedNumber) json["value"] = numberJson(v.numbers[0]);
    if (v.kind == kSharedVector)
        json["value"] = {numberJson(v.numbers[0]), numberJson(v.numbers[1]), numberJson(v.numbers[2])};
    if (v.kind == kSharedText || v.shape == ValueShape::Object || v.shape == ValueShape::Record)
        json["value"] = v.text;
    if (v.shape == ValueShape::Array || v.shape == ValueShape::Record) {
        json["size"] = v.size;
        json["parts"] = Json::array();
        for (const auto& [name, part] : value.parts) {
            Json entry{{"name", name}};
            entry.update(valueJson(part));
            json["parts"].push_back(std::move(entry));
        }
    }
    return json;
}

Answer fetchValue(DebugClient& client, const std::string& reference, ShownValue& value) {
    value = {};
    Answer answer = client.value(reference, value.value);
    if (answer.done()) fetchRest(client, reference, value);
    return answer;
}

void fetchRest(DebugClient& client, const std::string& reference, ShownValue& value) {
    fetchParts(client, reference, value, 0);
}

}  // namespace kestrel::cli
