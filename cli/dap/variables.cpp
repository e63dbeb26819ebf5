#include "cli/dap/variables.h"

#include "cli/dap/asking.h"
#include "cli/debugger/value_text.h"

#include <algorithm>
#include <utility>

namespace kestrel::cli::dap {

namespace {

using namespace debug;  // NOLINT: values of a script are all that this file is about

/// An editor that asks for all of a large array gets this much of it; it can ask for any part.
constexpr std::size_t kMostListed = 10000;
constexpr std::size_t kMostText = 10000;
constexpr std::size_t kListedText = 1000;
constexpr std::string_view kField = "->";

std::string typeOf(const DebugValue& value) {
    switch (value.shape) {
        case ValueShape::Plain:
            break;
        case ValueShape::Nothing:
            return "";
        case ValueShape::Array:
            return "array";
        case ValueShape::Record:
            return value.text;
        case ValueShape::Object:
            return "object";
    }
    switch (value.kind) {
        case kSharedNone:
            break;
        case kSharedInteger:
            return "integer";
        case kSharedNumber:
            return "number";
        case kSharedText:
            return "text";
        case kSharedVector:
            return "vector";
        case kSharedNil:
            return "nil";
    }
    return "";
}

std::string textOf(const DebugValue& value) {
    if (value.shape == ValueShape::Array) return "array" + value.text;
    if (value.shape == ValueShape::Record) return value.text;
    return valueText({value, {}});
}

}  // namespace

std::string referenceOf(DebugClient& client, const std::string& function, std::string_view name) {
    if (name.find(kScope) != std::string_view::npos) return std::string(name);
    if (!function.empty()) {
        std::string local = function + std::string(kScope);
        local.append(name);
        DebugValue value;
        const Answer answer = client.value(local, value);
        if (answer.done()) return local;
        if (answer.outcome != Answer::Outcome::Refused) need(answer);
    }
    return std::string(kScope).append(name);
}

void Variables::clear() {
    gone_ += static_cast<int>(holders_.size());
    holders_.clear();
    ids_.clear();
}

int Variables::idOf(Holder holder) {
    const int next = gone_ + static_cast<int>(holders_.size()) + 1;
    const auto [entry, fresh] = ids_.try_emplace(holder.reference, next);
    if (fresh)
        holders_.push_back(std::move(holder));
    else  // another value may have taken its place
        holders_[static_cast<std::size_t>(entry->second - gone_ - 1)] = std::move(holder);
    return entry->second;
}

const Variables::Holder& Variables::holder(int id) const {
    if (id <= gone_ || static_cast<std::size_t>(id - gone_) > holders_.size())
        throw Refused("the script has gone on since then");
    return holders_[static_cast<std::size_t>(id - gone_ - 1)];
}

Json Variables::scope(DebugClient& client, const char* name, const std::string& reference) {
    std::vector<DebugVariable> none;
    std::size_t total = 0;
    need(client.values(reference, 0, 0, none, total));
    return {{"name", name},
            {"variablesReference", idOf({reference, {}, false})},
            {"namedVariables", total},
            {"expensive", false}};
}

Json Variables::list(DebugClient& client, int id, std::string_view filter, std::size_t first,
                     std::size_t count) {
    Json listed = Json::array();
    const Holder from = holder(id);
    if (!filter.empty() && (filter == "indexed") != from.indexed) return listed;
    std::vector<DebugVariable> variables;
    std::size_t total = 0;
    const std::size_t most = std::min(count > 0 ? count : kMostListed, kMostListed);
    need(client.values(from.reference, first, most, variables, total));
    for (DebugVariable& variable : variables) {
        const std::string reference = from.reference + variable.name;
        Json entry = describe(client, reference, std::move(variable.value), "value", kListedText);
        entry["name"] = variable.name.substr(from.prefix.size());
        entry["evaluateName"] = reference;
        listed.push_back(std::move(entry));
    }
    const std::size_t end = first + variables.size();
    if (variables.size() == kMostListed && end < total && count != kMostListed)
        listed.push_back(
            {{"name", "..."}, {"value", std::to_string(total - end) + " more"}, {"variablesReference", 0}});
    return listed;
}

Json Variables::set(DebugClient& client, int id, const std::string& name, std::string_view value) {
    const Holder in = holder(id);
    return setValue(client, in.reference + in.prefix + name, value);
}

Json Variables::setValue(DebugClient& client, const std::string& reference, std::string_view value) {
    const std::optional<DebugValue> given = parseValue(value);
    if (!given) throw Refused("a value is written 3, 2.5, \"text\", <1, 2, 3> or nil");
    need(client.assign(reference, *given));
    return describe(client, reference, "value");
}

Json Variables::describe(DebugClient& client, const std::string& reference, const char* textName) {
    DebugValue value;
    need(client.value(reference, value));
    return describe(client, reference, std::move(value), textName, kMostText);
}

Json Variables::describe(DebugClient& client, const std::string& reference, DebugValue value,
                         const char* textName, std::size_t mostText) {
    if (value.textCut()) need(client.text(reference, mostText, value.text));
    Json json{{textName, textOf(value)}, {"type", typeOf(value)}, {"variablesReference", 0}};
    if (!value.hasParts()) return json;
    const bool indexed = value.shape == ValueShape::Array;
    json["variablesReference"] =
        idOf({reference, std::string(indexed ? std::string_view() : kField), indexed});
    json[indexed ? "indexedVariables" : "namedVariables"] = value.size;
    return json;
}

}  // namespace kestrel::cli::dap
