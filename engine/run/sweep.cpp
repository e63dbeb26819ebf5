#include "engine/run/sweep.h"

#include "engine/operations/collector.h"

namespace kestrel {

namespace {

class StackBorrowers final : public Pool::Borrowers {
public:
    explicit StackBorrowers(EvalStack& stack) : stack_(stack) {}
    [[nodiscard]] bool borrows(const void* block) const override {
        for (int i = 0; i < stack_.size(); ++i) {
            const ValueCell& cell = stack_.at(i);
            if (cell.isText() && cell.text == block) return true;
        }
        return false;
    }

private:
    EvalStack& stack_;
};

}  // namespace

void sweepNow(EngineContext& ctx) {
    const bool overdue = ctx.pool.overdue();
    if (overdue || ctx.pool.grownBytes() > kSweepBytes || ctx.looseObjects > kSweepInterval) collectLost(ctx);
    if (ctx.pool.deferredBytes() > kSweepBytes)
        ctx.pool.sweep(StackBorrowers(ctx.stack));  // also what those let go
    if (overdue) ctx.pool.swept();
}

}  // namespace kestrel
