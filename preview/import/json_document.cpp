#include "preview/import/json_document.h"

#include "preview/import/import_error.h"

#include <algorithm>
#include <cmath>
#include <locale>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace kestrel::preview {

using nlohmann::json;

namespace {

std::string lineAndColumn(std::string_view text, std::size_t byte) {
    const std::string_view before = text.substr(0, std::min(byte, text.size()));
    const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    return std::to_string(line) + ":" + std::to_string(before.size() - lineStart + 1);
}

/// Looks at brackets and commas alone, so that a text too deep or too long is known before memory is spent.
void checkSize(const std::string& file, std::string_view text) {
    int depth = 0;
    std::size_t values = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            inString = c != '"';
            continue;
        }
        inString = c == '"';
        if (c == '[' || c == '{') ++depth;
        if (c == ']' || c == '}') --depth;
        if (c == ',' || c == '[' || c == '{') ++values;
        if (depth > ImportLimits::kJsonDepth) {
            throw ImportError(file, lineAndColumn(text, i),
                              "nested deeper than " + std::to_string(ImportLimits::kJsonDepth) + " levels");
        }
        if (values > ImportLimits::kJsonValues) {
            throw ImportError(file, lineAndColumn(text, i), "has too many values");
        }
    }
}

/// The library's words, after its own prefix and place.
std::string wordsOf(const json::exception& error) {
    const std::string_view what = error.what();
    const std::size_t at = what.find(": ");
    return std::string(at == std::string_view::npos ? what : what.substr(at + 2));
}

json parse(const std::string& file, std::string_view text) {
    std::vector<std::set<std::string>> keys;
    const auto watch = [&](int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::object_start) keys.emplace_back();
        if (event == json::parse_event_t::object_end) keys.pop_back();
        if (event == json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second) {
            throw ImportError(file, "",
                              "the key \"" + parsed.get<std::string>() + "\" stands twice in one object");
        }
        return true;
    };
    try {
        return json::parse(text.begin(), text.end(), watch);
    } catch (const json::parse_error& error) {
        throw ImportError(file, lineAndColumn(text, error.byte == 0 ? 0 : error.byte - 1), wordsOf(error));
    } catch (const json::exception& error) {
        throw ImportError(file, "", wordsOf(error));
    }
}

/// Only for messages. Texts are never deep, so it may call itself.
bool findPlace(const json& in, const json& wanted, json::json_pointer& place) {
    if (&in == &wanted) return true;
    if (!in.is_structured()) return false;
    const auto visit = [&](const json& child, const auto& step) {
        place.push_back(step);
        if (findPlace(child, wanted, place)) return true;
        place.pop_back();
        return false;
    };
    if (in.is_object()) {
        for (auto entry = in.begin(); entry != in.end(); ++entry) {
            if (visit(entry.value(), entry.key())) return true;
        }
        return false;
    }
    for (std::size_t i = 0; i < in.size(); ++i) {
        if (visit(in[i], std::to_string(i))) return true;
    }
    return false;
}

std::string listed(std::initializer_list<std::string_view> words) {
    std::string text;
    for (const std::string_view word : words) {
        text += text.empty() ? "" : ", ";
        text += word;
    }
    return text;
}

}  // namespace

JsonDocument::JsonDocument(std::string file, std::string_view text) : file_(std::move(file)) {
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    checkSize(file_, text);
    root_ = parse(file_, text);
    if (!root_.is_object()) fail(root_, "is no object");
}

void JsonDocument::fail(const json& value, const std::string& sentence) const {
    json::json_pointer place;
    findPlace(root_, value, place);
    throw ImportError(file_, place.empty() ? "/" : place.to_string(), sentence);
}

void JsonValue::allows(std::initializer_list<std::string_view> keys) const {
    if (!isObject()) fail("must be an object");
    for (auto entry = json_->begin(); entry != json_->end(); ++entry) {
        if (std::find(keys.begin(), keys.end(), entry.key()) == keys.end()) {
            JsonValue(*document_, entry.value()).fail("unknown key; known here: " + listed(keys));
        }
    }
}

std::optional<JsonValue> JsonValue::find(std::string_view key) const {
    if (!isObject()) fail("must be an object");
    const auto found = json_->find(std::string(key));
    if (found == json_->end()) return std::nullopt;
    return JsonValue(*document_, *found);
}

JsonValue JsonValue::require(std::string_view key) const {
    const std::optional<JsonValue> value = find(key);
    if (!value) fail("lacks \"" + std::string(key) + "\"");
    return *value;
}

std::size_t JsonValue::size() const {
    if (!isArray()) fail("must be a list");
    return json_->size();
}

JsonValue JsonValue::at(std::size_t index) const {
    if (index >= size()) fail("has no element " + std::to_string(index));
    return {*document_, (*json_)[index]};
}

double JsonValue::number() const {
    if (!json_->is_number()) fail("must be a number");
    const double value = json_->get<double>();
    if (!std::isfinite(value)) fail("must be a finite number");
    return value;
}

double JsonValue::number(double least, double most) const {
    const double value = number();
    if (value < least || value > most) {
        std::ostringstream range;
        range.imbue(std::locale::classic());
        range << least << " to " << most;
        fail("must be from " + range.str());
    }
    return value;
}

std::int64_t JsonValue::integer(std::int64_t least, std::int64_t most) const {
    // A whole number written with a fraction (1.0) is one; beyond 2^53 nothing in a scene is meant.
    const double value = number();
    if (value != std::floor(value) || std::abs(value) > 9007199254740992.0) fail("must be a whole number");
    const auto whole = static_cast<std::int64_t>(value);
    if (whole < least || whole > most) {
        fail("must be from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return whole;
}

bool JsonValue::boolean() const {
    if (!json_->is_boolean()) fail("must be true or false");
    return json_->get<bool>();
}

const std::string& JsonValue::text() const {
    if (!isString()) fail("must be a text");
    const auto& value = json_->get_ref<const std::string&>();
    if (value.find('\0') != std::string::npos) fail("contains a zero character");
    return value;
}

Vec3 JsonValue::vector() const {
    if (size() != 3) fail("must be a list of three numbers");
    return {at(0).number(), at(1).number(), at(2).number()};
}

std::size_t JsonValue::oneOf(std::initializer_list<std::string_view> words) const {
    const auto found = std::find(words.begin(), words.end(), text());
    if (found == words.end()) fail("must be one of: " + listed(words));
    return static_cast<std::size_t>(found - words.begin());
}

double JsonValue::numberOr(std::string_view key, double otherwise) const {
    const std::optional<JsonValue> value = find(key);
    return value ? value->number() : otherwise;
}

std::int64_t JsonValue::integerOr(std::string_view key, std::int64_t least, std::int64_t most,
                                  std::int64_t otherwise) const {
    const std::optional<JsonValue> value = find(key);
    return value ? value->integer(least, most) : otherwise;
}

bool JsonValue::booleanOr(std::string_view key, bool otherwise) const {
    const std::optional<JsonValue> value = find(key);
    return value ? value->boolean() : otherwise;
}

std::string JsonValue::textOr(std::string_view key, const std::string& otherwise) const {
    const std::optional<JsonValue> value = find(key);
    return value ? value->text() : otherwise;
}

}  // namespace kestrel::preview
