#include "engine/run/entry.h"

#include "engine/run/call_scope.h"
#include "engine/run/instructions.h"
#include "engine/run/interpreter.h"

#include <cassert>
#include <new>

namespace kestrel {

namespace {

/// A nested run of a handler of the main program.
void runHandler(EngineContext& ctx, std::string_view name) {
    if (FunctionRecord* handler = ctx.program->findFunction(name)) {
        const CallScope scope(ctx);
        invoke(ctx, *handler, {});
    }
}

}  // namespace

bool run(EngineContext& ctx, const CodeNode* start, const CodeNode* end) {
    assert(ctx.program->linked);
    const std::size_t depth = ctx.run.frames.size();
    const std::size_t calls = ctx.run.calls.size();
    ctx.run.frames.emplace_back();
    ctx.keepReserve();
    try {
        ctx.gate.shut();
        ctx.run.abort = false;
        ctx.run.stop = false;
        execute(ctx, start, end);
        ctx.run.returned = false;
    } catch (const std::bad_alloc&) {
        ctx.useReserve();
        ctx.run.returned = false;
        ctx.report(MessageId::MemoryExhausted);
    }
    // A run that was ended from the middle of a call leaves frames and call records behind.
    while (ctx.run.calls.size() > calls) {
        FunctionRecord& left = *ctx.run.calls.back().function;
        ctx.run.trimCalls(ctx.run.calls.size() - 1);
        releaseOwnedObjects(ctx, left);
    }
    ctx.run.frames.resize(depth);
    return ctx.run.abort;
}

bool runMain(EngineContext& ctx) {
    FunctionRecord* main = ctx.program->findFunction("main");
    if (main == nullptr) return false;
    ctx.run.frames.clear();
    ctx.run.frames.emplace_back();
    ctx.run.trimCalls(0);
    {
        const CallScope scope(ctx);
        invoke(ctx, *main, {});
    }
    // Ended from outside nothing more runs. A `main` that the debugger only stopped has not failed.
    if (ctx.run.stop && ctx.run.abort) return true;
    if (ctx.run.abort) runHandler(ctx, "ONERROR");
    runHandler(ctx, ctx.run.abort ? "ONERROR" : "ONEXIT");
    return ctx.run.abort;
}

bool invoke(EngineContext& ctx, FunctionRecord& function, std::span<const ValueCell> args) {
    const std::size_t calls = ctx.run.calls.size();
    ctx.run.pushCall(&function, 0);
    for (const ValueCell& arg : args) ctx.stack.push(arg);
    // More arguments than parameters bind the first ones; fewer leave the rest to the entry's count check.
    const bool failed = run(ctx, function.entry, function.end);
    ctx.run.trimCalls(calls);
    releaseOwnedObjects(ctx, function);
    ctx.reporter.place = nullptr;
    return failed;
}

}  // namespace kestrel
