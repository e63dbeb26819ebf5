#include "script/loading.h"

#include "engine/run/prepare.h"
#include "platform/paths.h"

namespace kestrel {

bool compileInto(EngineContext& ctx, std::string_view path, const CompileOptions& options) {
    ctx.reset();
    ctx.reporter.state.scriptPath = platform::upperCase(path);
    ctx.scriptFile = path;
    return compileScript(ctx, path, options) == 0;
}

bool mayRun(EngineContext& ctx, Demand demand) {
    return demand == Demand::Process ? checkProgram(ctx) : checkNames(ctx);
}

}  // namespace kestrel
