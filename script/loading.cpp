#include "script/loading.h"

#include "engine/run/call_scope.h"
#include "engine/run/entry.h"
#include "engine/run/prepare.h"
#include "platform/paths.h"

namespace kestrel {

bool compileInto(EngineContext& ctx, std::string_view path, const CompileOptions& options) {
    ctx.reset();
    ctx.reporter.state.scriptPath = platform::upperCase(path);
    ctx.scriptFile = path;
    return compileScript(ctx, path, options) == 0;
}

bool prepare(EngineContext& ctx, Demand demand) {
    if (demand == Demand::Names && !checkNames(ctx)) return false;
    if (demand == Demand::Process && !checkProgram(ctx)) return false;
    linkProgram(ctx);
    return true;
}

bool start(EngineContext& ctx, const std::function<void()>& assign) {
    const CallScope scope(ctx);
    if (assign) assign();
    runTopLevel(ctx);
    if (assign) assign();
    return ctx.run.abort;
}

bool callFunction(EngineContext& ctx, FunctionRecord& function, std::span<const ValueCell> arguments) {
    const CallScope scope(ctx);
    return invoke(ctx, function, arguments);
}

}  // namespace kestrel
