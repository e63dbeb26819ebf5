// dump(): all variables of the running script and their values, appended to a file.
#include "builtins/common/handlers.h"
#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/file_names.h"
#include "engine/operations/slots.h"
#include "engine/operations/storage.h"
#include "engine/operations/text.h"
#include "engine/values/format.h"
#include "platform/files.h"

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::builtins {

namespace {

constexpr std::size_t kValueColumn = 45;
constexpr std::size_t kElementColumn = 47;

/// The text of one value; nothing for the kinds that have none.
std::optional<std::string> dumpText(const EngineContext& ctx, const ValueCell& cell) {
    switch (cell.type) {
        case Vector: {
            const VectorValue& v = cell.vec;
            return "<" + formatVector(v.x, v.y, v.z, ',') + ">";
        }
        case String:
        case TempString:
            return "\"" + std::string(cell.text != nullptr ? cell.text : "") + "\"";
        case Nil:
            return "(nil)";
        default:
            if (std::optional<std::string> text = objectText(ctx, TextUse::Dump, cell)) return text;
            return valueText(ctx, cell);
    }
}

/// The lines of a snapshot, each written as it is made.
class Snapshot {
public:
    Snapshot(std::FILE* file, EngineContext& ctx) : file_(file), ctx_(ctx) {}

    void write() {
        const Program& program = *ctx_.program;
        line("--- Dump of " + ctx_.reporter.state.scriptPath + " at line #" +
             std::to_string(ctx_.run.currentLine) + " ------");
        for (Variable* global = program.globals.head; global != nullptr; global = global->next)
            if (program.findFunction(global->name) == nullptr) entry("", *global);
        for (FunctionRecord* function = program.functions.head; function != nullptr;
             function = function->next)
            for (Variable* local = function->locals.head; local != nullptr; local = local->next)
                entry(function->name, *local);
    }

private:
    void line(const std::string& text) {
        std::fwrite(text.data(), 1, text.size(), file_);
        std::fputc('\n', file_);
    }

    void entry(std::string_view owner, Variable& variable) {
        const FreshVariable fresh(ctx_, variable);
        std::string label(owner);
        label.append("::").append(variable.name);
        label.resize(kValueColumn, ' ');  // one that reaches the value's column is cut there
        if (variable.type == Array) return arrayLines(label, variable.heldArray());
        const std::optional<std::string> text = dumpText(ctx_, load(variable));
        if (variable.type == Uninitialized)
            line(label + "(UNUSED)");
        else if (text)
            line(label + *text);
        else if (variable.owner == nullptr)
            line(label + "(internal)");
        else
            line(label + "(internal:" + std::to_string(variable.type) + ")");
    }

    void arrayLines(const std::string& label, const ArrayRecord* array) {
        const std::size_t count = array != nullptr ? array->elements.size() : 0;
        line(label + "array[" + std::to_string(count) + "]");
        const std::string indent(kElementColumn, ' ');
        for (std::size_t i = 0; i < count && !ctx_.endRequested(); ++i)
            if (const std::optional<std::string> text = dumpText(ctx_, array->elements[i]))
                line(indent + "[" + std::to_string(i + 1) + "] " + *text);
    }

    std::FILE* file_;
    EngineContext& ctx_;
};

}  // namespace

void dump(BuiltinCall& call) {
    EngineContext& ctx = call.ctx;
    if (!call.arg(0).isText()) return call.failType(1);
    const std::string path = convertSeparators(ctx, call.arg(0).text);
    // A file that does not open is passed over in silence, by design.
    if (const platform::FileHandle file = platform::openFile(path, "a")) Snapshot(file.get(), ctx).write();
    call.none();
}

}  // namespace kestrel::builtins
