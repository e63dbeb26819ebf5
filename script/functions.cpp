#include "script/functions.h"

#include "builtins/common/arguments.h"
#include "builtins/common/subjects.h"
#include "frontend/keywords.h"
#include "platform/ascii.h"
#include "script/script_state.h"
#include "script/values.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace kestrel::script {

namespace {

namespace subjects = builtins::subjects;

/// Those that reach out of the script, in other words than their subject says; the rest of Files and Programs
/// is split(), which looks at nothing, and what only tells the time.
constexpr std::string_view kFilesBesides[] = {"dump", "getlocalestr"};
constexpr std::string_view kHarmless[] = {"split", "sleep", "timestart", "timestop", "platform"};

bool contains(std::span<const std::string_view> names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

bool isClosed(const BuiltinEntry& row, const Options& options) {
    if (contains(kHarmless, row.name)) return false;
    if (row.subject == subjects::kFiles || contains(kFilesBesides, row.name)) return !options.files;
    if (row.subject == subjects::kPrograms) return !options.processes;
    return row.subject == subjects::kStorage && !options.store;
}

void closed(BuiltinCall& call) {
    call.fail(MessageId::NotAllowed, std::string(call.name) + "()");
}

/// The cells of a call's arguments, where the last may stand for several values.
std::vector<Value> argumentsOf(BuiltinCall& call) {
    static_cast<void>(builtins::widen(call));
    std::vector<Value> values;
    appendValues(call.ctx, call.base(), call.ctx.stack.size(), values);
    return values;
}

void finish(BuiltinCall& call, const Value& value) {
    checkNesting(value);
    call.none();
    if (!pushValue(call.ctx, value, NewArray)) call.ctx.run.abort = true;
}

}  // namespace

FunctionTable::FunctionTable(const Options& options,
                             std::vector<std::shared_ptr<const DefinedFunction>> defined)
    : defined_(std::move(defined)), library_(rows(options)) {
    for (const BuiltinEntry& row : table().rows()) {
        const auto found = std::ranges::find(defined_, row.name,
                                             [](const auto& each) { return std::string_view(each->name); });
        byRow_.push_back(found != defined_.end() ? found->get() : nullptr);
    }
}

std::vector<BuiltinEntry> FunctionTable::rows(const Options& options) const {
    const BuiltinLibrary language;
    std::vector<BuiltinEntry> rows;
    for (BuiltinEntry row : language.table().rows()) {
        if (!isClosed(row, options)) continue;
        row.argCount = -1;
        row.handler = closed;
        rows.push_back(row);
    }
    for (const auto& each : defined_)
        rows.push_back({each->name, each->argumentCount, callDefined, BuiltinFamily::Host});
    return rows;
}

void callDefined(BuiltinCall& call) {
    const DefinedFunction& defined = stateOf(call.ctx).functions->defined(*call.node.to.builtin);
    try {
        finish(call, defined.function(argumentsOf(call)));
    } catch (const std::exception& fault) {
        call.fail(MessageId::NativeCodeFailed, call.name, fault.what());
    } catch (...) {
        call.fail(MessageId::NativeCodeFailed, call.name, "unknown exception");
    }
}

bool isFreeName(std::string_view name) {
    const auto fits = [](char c) { return ascii::isLetter(c) || ascii::isDigit(c) || c == '_'; };
    return !name.empty() && !ascii::isDigit(name.front()) && std::ranges::all_of(name, fits) &&
           keywordToken(name) == 0 && BuiltinLibrary().table().find(name) == nullptr;
}

}  // namespace kestrel::script
