// Directories: chdir, mkdir, rmdir, matchfiles.
#include "platform/directories.h"

#include "builtins/common/handlers.h"
#include "builtins/common/several_texts.h"
#include "engine/operations/file_names.h"
#include "platform/environment.h"

#include <string>
#include <vector>

namespace kestrel::builtins {

namespace {

void applyToDirectory(BuiltinCall& call, bool (*action)(std::string_view systemPath)) {
    if (!call.arg(0).isText()) return call.failType(1);
    call.resultInteger(action(convertSeparators(call.ctx, call.arg(0).text)) ? 0.0 : -1.0);
}

}  // namespace

void changeDirectory(BuiltinCall& call) {
    if (call.argc > 1) return call.failCount();
    if (call.argc == 1 && !call.arg(0).isText()) return call.failType(1);
    const std::string previous = platform::currentDirectory();
    // Meant: a change that fails leaves no value at all.
    if (call.argc == 1 && !platform::changeDirectory(convertSeparators(call.ctx, call.arg(0).text)))
        return call.none();
    call.resultText(previous);
}

void makeDirectory(BuiltinCall& call) {
    applyToDirectory(call, platform::makeDirectory);
}

void removeDirectory(BuiltinCall& call) {
    applyToDirectory(call, platform::removeDirectory);
}

void matchFiles(BuiltinCall& call) {
    if (!call.arg(1).isText()) return call.failType(2);
    if (!call.arg(0).isText()) return call.failType(1);
    std::string search = convertSeparators(call.ctx, call.arg(0).text);
    if (!search.ends_with('\\')) search += '\\';
    search += call.arg(1).text;
    const std::vector<std::string> names = platform::matchFiles(search);
    // Meant: without a match the directory stays as the result, without a count.
    if (names.empty()) return call.resultArgument(0);
    SeveralTexts results(call);
    for (const std::string& name : names) results.add(name);
    results.leave();
}

}  // namespace kestrel::builtins
