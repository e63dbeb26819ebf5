// dump(): all variables of the running script and their values, appended to a file.
#include "builtins/handlers.h"
#include "engine/arrays.h"
#include "engine/assignment.h"
#include "engine/file_names.h"
#include "engine/format.h"
#include "engine/text.h"
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
std::optional<std::string> valueLine(const ValueCell& cell) {
    switch (cell.type) {
        case Number:
            return formatG(cell.payload.number);
        case Integer:
            return formatInt(cell.payload.number);
        case Vector: {
            const Vec3& v = cell.payload.vec;
            return "<" + formatVector(v.x, v.y, v.z, ',') + ">";
        }
        case String:
        case TempString:
            return "\"" + std::string(cell.payload.text != nullptr ? cell.payload.text : "") + "\"";
        case Nil:
            return "(nil)";
        case FileObj:
            return "(FileObject)" + std::string(fileName(cell));
        default:
            return std::nullopt;
    }
}

std::string arrayLines(const ArrayRecord* array) {
    std::string lines = "array[" + std::to_string(array != nullptr ? array->count() : 0) + "]\n";
    if (array == nullptr) return lines;
    for (std::size_t i = 0; i < array->elements.size(); ++i) {
        const std::optional<std::string> text = valueLine(array->elements[i]);
        if (!text) continue;
        lines.append(kElementColumn, ' ');
        lines += "[" + std::to_string(i + 1) + "] " + *text + "\n";
    }
    return lines;
}

std::string variableLines(Variable& variable) {
    if (variable.type == Array) return arrayLines(variable.array());
    if (variable.type == Uninitialized) return "(UNUSED)\n";
    if (const std::optional<std::string> text = valueLine(variableCell(variable))) return *text + "\n";
    if (variable.owner == nullptr) return "(internal)\n";
    return "(internal:" + std::to_string(variable.type) + ")\n";
}

/// A variable's line, and those of its elements.
std::string entry(std::string_view owner, Variable& variable) {
    std::string line(owner);
    line.append("::").append(variable.name);
    line.resize(kValueColumn, ' ');  // a label that reaches the value's column is cut there
    return line + variableLines(variable);
}

void write(std::FILE* file, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), file);
}

void writeSnapshot(std::FILE* file, EngineContext& ctx) {
    const Program& program = *ctx.program;
    write(file, "--- Dump of " + ctx.reporter.state.scriptPath + " at line #" +
                    std::to_string(ctx.run.currentLine) + " ------\n");
    for (Variable* global = program.globals.head; global != nullptr; global = global->next)
        if (program.findFunction(global->name) == nullptr) write(file, entry("", *global));
    for (FunctionRecord* function = program.functions.head; function != nullptr; function = function->next)
        for (Variable* local = function->locals.head; local != nullptr; local = local->next)
            write(file, entry(function->name, *local));
}

}  // namespace

void dump(BuiltinCall& call) {
    EngineContext& ctx = call.ctx;
    if (!call.arg(0).isText())
        return call.fail("#ELine %d, invalid argument 1 type to dump()", ctx.run.currentLine);
    const std::string path = convertSeparators(ctx, call.arg(0).payload.text);
    // A file that does not open is passed over in silence, by design.
    if (const platform::FileHandle file = platform::openFile(path, "a")) writeSnapshot(file.get(), ctx);
    call.none();
}

}  // namespace kestrel::builtins
