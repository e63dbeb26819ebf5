// What a run leaves behind, and when it goes.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// How often, in statements, a run that does not return to the host looks whether texts that nobody borrows
/// any more, arrays and objects that are lost are worth letting go. A few large ones would fill the memory
/// before: Pool::overdue() says so after any statement.
inline constexpr int kSweepInterval = 256;

/// From how many bytes on they are worth it.
inline constexpr std::size_t kSweepBytes = 1u << 20;

void sweepNow(EngineContext& ctx);
/// Lets go of them where they are worth it. Safe between any two instructions: all that is borrowed is on the
/// stack.
inline void sweep(EngineContext& ctx) {
    const Pool& pool = ctx.pool;
    if (pool.overdue() || pool.grownBytes() > kSweepBytes || pool.deferredBytes() > kSweepBytes ||
        ctx.looseObjects > kSweepInterval) [[unlikely]]
        sweepNow(ctx);
}

/// Counts the statements of a run.
class Sweeper {
public:
    explicit Sweeper(EngineContext& ctx) : ctx_(ctx) {}
    void statementEnded() {
        if (--statementsLeft_ > 0 && !ctx_.pool.overdue()) [[likely]]
            return;
        sweep(ctx_);
        statementsLeft_ = kSweepInterval;
    }

private:
    EngineContext& ctx_;
    int statementsLeft_ = kSweepInterval;
};

}  // namespace kestrel
