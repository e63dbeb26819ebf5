#include "script/loading.h"

#include "engine/run/interpreter.h"
#include "engine/run/prepare.h"
#include "platform/paths.h"

#include <exception>

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

CallScope::CallScope(EngineContext& ctx) noexcept : ctx_(ctx), exceptions_(std::uncaught_exceptions()) {}

CallScope::~CallScope() {
    if (std::uncaught_exceptions() > exceptions_) {
        ctx_.run.frames.resize(1);
        ctx_.run.trimCalls(0);
        ctx_.run.abort = true;
    }
    try {
        finishCall(ctx_);
    } catch (const std::exception&) {  // what could not be swept waits for the next call
    }
}

}  // namespace kestrel
