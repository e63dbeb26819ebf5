#include "script/functions.h"

#include "builtins/common/arguments.h"
#include "builtins/common/subjects.h"
#include "frontend/keywords.h"
#include "platform/ascii.h"
#include "script/script_state.h"
#include "script/values.h"

#include <cxxabi.h>

#include <algorithm>
#include <array>
#include <exception>
#include <unordered_map>
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

/// Adds the values of a call's arguments. The last may stand for several values; another one that does is
/// nil, since what it stands for lies out of the call's reach.
void addArguments(BuiltinCall& call, std::vector<Value>& values) {
    const builtins::Values last = builtins::widen(call);
    EngineContext& ctx = call.ctx;
    const int several = last.count >= 0 ? last.first : ctx.stack.size();
    for (int i = call.base(); i < several; ++i) values.push_back(valueOf(ctx.stack.at(i)));
    appendValues(ctx, std::max(several, call.base()), ctx.stack.size(), values);
}

/// The script's vector for arguments, which keeps its room from call to call. A call within a call makes one
/// of its own.
class ArgumentList {
public:
    explicit ArgumentList(std::vector<Value>& room) : room_(room), values(std::exchange(room, {})) {}
    ~ArgumentList() {
        values.clear();
        room_ = std::move(values);
    }
    ArgumentList(const ArgumentList&) = delete;
    ArgumentList& operator=(const ArgumentList&) = delete;

private:
    std::vector<Value>& room_;

public:
    std::vector<Value> values;
};

void finish(BuiltinCall& call, const Value& value) {
    checkNesting(value);
    call.none();
    if (!pushValue(call.ctx, value, NewArray)) call.ctx.run.abort = true;
}

}  // namespace

FunctionTable::FunctionTable(const BuiltinTable& language, const Options& options,
                             std::vector<std::shared_ptr<const DefinedFunction>> defined)
    : defined_(std::move(defined)), library_(rows(language, options)) {
    std::unordered_map<std::string_view, const DefinedFunction*> byName;
    for (const auto& each : defined_) byName.emplace(each->name, each.get());
    for (const BuiltinEntry& row : table().rows()) {
        const auto found = byName.find(row.name);
        byRow_.push_back(found != byName.end() ? found->second : nullptr);
    }
}

std::vector<BuiltinEntry> FunctionTable::rows(const BuiltinTable& language, const Options& options) const {
    std::vector<BuiltinEntry> rows;
    for (BuiltinEntry row : language.rows()) {
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
    Script::Impl& script = stateOf(call.ctx);
    const DefinedFunction& defined = script.functions->defined(*call.node.to.builtin);
    try {
        ArgumentList arguments(script.arguments);
        addArguments(call, arguments.values);
        const auto count = static_cast<int>(arguments.values.size());
        if (defined.argumentCount >= 0 && defined.argumentCount != count)
            return call.fail(MessageId::CallArgumentCount, call.name, defined.argumentCount, count);
        finish(call, defined.function(arguments.values));
    } catch (const std::exception& fault) {
        call.fail(MessageId::NativeCodeFailed, call.name, fault.what());
#ifdef __GLIBCXX__
    } catch (const abi::__forced_unwind&) {  // the thread ends; this must not be stopped
        throw;
#endif
    } catch (...) {
        call.fail(MessageId::NativeCodeFailed, call.name, "unknown exception");
    }
}

bool isFreeName(const BuiltinTable& language, std::string_view name) {
    const auto fits = [](char c) { return ascii::isLetter(c) || ascii::isDigit(c) || c == '_'; };
    return !name.empty() && !ascii::isDigit(name.front()) && std::ranges::all_of(name, fits) &&
           keywordToken(name) == 0 && language.find(name) == nullptr;
}

}  // namespace kestrel::script
