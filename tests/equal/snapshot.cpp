#include "tests/equal/snapshot.h"

#include "engine/values/array_record.h"
#include "engine/values/record_instance.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string_view>
#include <unordered_map>

namespace kestrel::equal {

namespace {

/// Elements that are told one by one; the rest is one number.
constexpr std::size_t kElementsTold = 200;

class Describer {
public:
    explicit Describer(Lines& lines) : lines_(lines) {}

    void variable(std::string_view owner, const Variable& variable) {
        std::string line =
            std::string(owner) + "::" + variable.name + " type " + std::to_string(variable.type);
        line += " number " + bitsOf(variable.number) + " vector " + vector(variable.vec);
        if (variable.object != nullptr) line += " holds " + held(variable);
        lines_.push_back(std::move(line));
    }

private:
    static std::string vector(const VectorValue& v) {
        return bitsOf(v.x) + ',' + bitsOf(v.y) + ',' + bitsOf(v.z);
    }

    std::string held(const Variable& variable) {
        if (variable.holdsText()) return quoted(variable.text);
        if (const ArrayRecord* record = variable.heldArray()) return array(*record);
        if (const RecordInstance* instance = variable.heldRecord()) return record(*instance);
        if (variable.type == HxObject) return item(variable.object);
        return "something";
    }

    std::string cell(const ValueCell& cell) {
        const std::string type = std::to_string(cell.type) + ' ';
        if (cell.isNumeric() || cell.type == Nil) return type + bitsOf(cell.number);
        if (cell.type == Vector) return type + vector(cell.vec);
        if (cell.isText()) return type + quoted(cell.text != nullptr ? cell.text : "");
        if (cell.type == UserRecord) return type + record(*cell.record);
        if (cell.type == HxObject) return type + item(cell.object);
        return type;
    }

    /// Loops that double a text come to hundreds of megabytes, which are told many times.
    static std::string quoted(std::string_view text) {
        constexpr std::size_t kTold = 2000;
        if (text.size() <= kTold) return '"' + std::string(text) + '"';
        return '"' + std::string(text.substr(0, kTold)) + "\" ... " + std::to_string(text.size()) +
               " bytes, " + std::to_string(std::hash<std::string_view>()(text));
    }

    static std::string item(const void* object) {
        const auto& item = *static_cast<const SceneItem*>(object);
        return "item " + std::to_string(item.item) + " kind " + std::to_string(item.kind) + " cursor " +
               std::to_string(item.childCursor);
    }

    /// @return true the first time
    bool first(const void* object, std::string& name) {
        const auto [place, added] = seen_.emplace(object, seen_.size() + 1);
        name += std::to_string(place->second);
        return added;
    }

    std::string array(const ArrayRecord& array) {
        std::string text = "array ";
        if (!first(&array, text)) return text;
        for (int i = 0; i < array.dimCount; ++i)
            text += '[' + std::to_string(array.dims[static_cast<std::size_t>(i)]) + ']';
        const std::size_t told = std::min(array.elements.size(), kElementsTold);
        for (std::size_t i = 0; i < told; ++i) text += " | " + cell(array.elements[i]);
        std::size_t sum = 0;
        for (std::size_t i = told; i < array.elements.size(); ++i) sum = sum * 31 + hashOf(array.elements[i]);
        return text + " | " + std::to_string(sum);
    }

    /// Scripts of the tests have arrays of millions.
    std::size_t hashOf(const ValueCell& element) {
        if (element.type == Nil || element.type == Uninitialized) return 7;
        if (element.type == Number) return std::bit_cast<std::uint64_t>(element.number);
        return std::hash<std::string>()(cell(element));
    }

    std::string record(const RecordInstance& record) {
        std::string text = "record ";
        if (!first(&record, text)) return text;
        for (const RecordMember& member : record.members)
            text += std::string(" | ") + member.name + ' ' + cell(member.value);
        return text;
    }

    Lines& lines_;
    std::unordered_map<const void*, std::size_t> seen_;
};

}  // namespace

std::string bitsOf(double number) {
    if (std::isnan(number)) return "NaN";
    if (number == std::floor(number) && std::abs(number) < 1e9 && !std::signbit(number))
        return std::to_string(static_cast<std::int64_t>(number));
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", number);
    return text;
}

void describe(const LoadedScript& script, bool predefined, fast::Carryover* carryover, Lines& lines) {
    const EngineContext& ctx = script.engine;
    const ReportState& report = ctx.reporter.state;
    lines.push_back("abort " + std::to_string(ctx.run.abort) + " stop " + std::to_string(ctx.run.stop) +
                    " stack " + std::to_string(ctx.stack.size()) + " frames " +
                    std::to_string(ctx.run.frames.size()) + " calls " + std::to_string(ctx.run.calls.size()));
    lines.push_back("errors " + std::to_string(report.errorCount) + " warnings " +
                    std::to_string(report.warningCount) + " random " + std::to_string(ctx.randomState));
    const SourcePos& bad = script.host.badWrite;
    lines.push_back("description " + script.host.description + ", bad write " + std::to_string(bad.line) +
                    ':' + std::to_string(bad.column));
    Describer describer(lines);
    for (const Variable* v = ctx.program->globals.head; v != nullptr; v = v->next)
        if (predefined || (v->flags & kVarPredefined) == 0) describer.variable("", *v);
    for (const FunctionRecord* f = ctx.program->functions.head; f != nullptr; f = f->next) {
        for (const auto* variables : {&f->params, &f->locals})
            for (const Variable* v = variables->head; v != nullptr; v = v->next)
                if (carryover == nullptr || carryover->counts(*v)) describer.variable(f->name, *v);
    }
}

}  // namespace kestrel::equal
