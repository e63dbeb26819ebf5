#include "engine/run/call_scope.h"

#include "engine/run/sweep.h"

#include <exception>

namespace kestrel {

CallScope::CallScope(EngineContext& ctx) noexcept : ctx_(ctx), exceptions_(std::uncaught_exceptions()) {}

CallScope::~CallScope() {
    if (std::uncaught_exceptions() > exceptions_) {
        ctx_.run.frames.resize(1);
        ctx_.run.trimCalls(0);
        ctx_.run.abort = true;
    }
    ctx_.gate.shut();
    ctx_.stack.dropTo(0);
    try {
        sweep(ctx_);
        ctx_.pool.purgeIfWorthwhile();
    } catch (const std::exception&) {  // what could not be swept waits for the next call
    }
}

}  // namespace kestrel
