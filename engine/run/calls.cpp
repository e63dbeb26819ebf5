// Calls of script functions: entry, binding, return, end; and everything else that a call can reach.

#include "engine/context/builtin.h"
#include "engine/context/kind_table.h"
#include "engine/context/native_callee.h"
#include "engine/kinds/record_kind.h"
#include "engine/operations/binding.h"
#include "engine/operations/members.h"
#include "engine/operations/storage.h"
#include "engine/program/node_modes.h"
#include "engine/run/instructions.h"

#include <algorithm>

namespace kestrel {

namespace {

const CodeNode* callUser(EngineContext& ctx, const CodeNode* node) {
    pollWatch(ctx);
    if (ctx.run.frames.size() >= kFrameLimit) {
        ctx.report(MessageId::TooDeep);
        return node;
    }
    if (!pushControl(ctx, node)) return node;
    FunctionRecord* callee = node->to.function;
    ctx.run.frames.emplace_back();
    ctx.run.pushCall(callee, ctx.stack.size() - callee->paramCount);
    ctx.run.currentLine = callee->entry->line;
    executeFunctionEntry(ctx);
    return callee->entry;
}

void dropArguments(EngineContext& ctx, int count) {
    ctx.stack.drop(std::min(count, ctx.stack.size() - ctx.base()));
}

void reportArgumentCount(EngineContext& ctx, std::string_view name, int expected, int found) {
    ctx.report(MessageId::CallArgumentCount, name, expected, found);
}

void callBuiltin(EngineContext& ctx, const CodeNode& node) {
    const BuiltinEntry& entry = *node.to.builtin;
    if (!ctx.need(node.argc)) return;
    if (entry.argCount != -1 && entry.argCount != node.argc) {
        reportArgumentCount(ctx, node.operand.variable->name, entry.argCount, node.argc);
        ctx.stack.drop(node.argc);
        ctx.stack.push(ValueCell::ofNil());
        return;
    }
    BuiltinCall call(ctx, node, entry.name);
    entry.handler(call);
}

void callNative(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(node.argc)) return;
    BuiltinCall call(ctx, node, node.operand.variable->name);
    node.to.native->call(call);
}

/// The name of a record declaration called as a function.
void construct(EngineContext& ctx, const CodeNode& node) {
    const RecordTemplate& declaration = *node.to.record;
    if (!ctx.need(node.argc)) return;
    const int first = ctx.stack.size() - node.argc;
    if (node.argc > declaration.fieldCount) {
        reportArgumentCount(ctx, declaration.name->name, declaration.fieldCount, node.argc);
        ctx.stack.dropTo(first);
        ctx.stack.push(ValueCell::ofNil());
        return;
    }
    RecordInstance* const record =
        constructRecord(ctx, declaration, ctx.stack.cells(first, ctx.stack.size()));
    ctx.stack.dropTo(first);
    ctx.stack.push(ValueCell::ofObject(UserRecord, record));
}

/// Everything that is not a script function.
void callOther(EngineContext& ctx, const CodeNode& node) {
    switch (node.reach) {
        case Reach::Builtin:
            return callBuiltin(ctx, node);
        case Reach::Record:
            return construct(ctx, node);
        case Reach::Native:
            return callNative(ctx, node);
        case Reach::Nothing:
        case Reach::Function:
            ctx.report(MessageId::FunctionNotFound, node.operand.variable->name);
            dropArguments(ctx, node.argc);
    }
}

/// Stack index of the lowest of the `count` returned values: a value that is itself several returned values,
/// or a list between two marks, counts with all its cells.
int firstReturned(EngineContext& ctx, int count) {
    int first = ctx.stack.size();
    for (int i = 0; i < count && first > ctx.base(); ++i) {
        --first;
        const ValueCell& cell = ctx.stack.at(first);
        if (cell.type == ReturnCount) {
            first -= static_cast<int>(cell.number);
        } else if (cell.type == ListMark) {
            do --first;
            while (first > ctx.base() && ctx.stack.at(first).type != ListMark);
        }
    }
    return std::max(first, ctx.base());
}

/// Moves the returned values down to the callee's base, over what its last statement may have left there.
void settleReturned(EngineContext& ctx, int count) {
    const int from = firstReturned(ctx, count);
    const int to = ctx.base();
    if (from == to) return;
    const int size = ctx.stack.size();
    for (int i = to; i < from; ++i) ctx.stack.release(ctx.stack.at(i));
    for (int i = from; i < size; ++i) ctx.stack.at(to + i - from) = ctx.stack.at(i);
    ctx.stack.forgetTo(to + size - from);
}

/// A call with too few arguments binds cells of its caller. What it took from below the caller's own part of
/// the stack comes back as zeros, so that the caller's next statement finds the stack where it left it.
void refillCaller(EngineContext& ctx) {
    while (ctx.stack.size() < ctx.base()) ctx.stack.push(ValueCell::ofNumber(0.0));
}

/// Variables let go of the objects of the kinds that end at this point.
void endObjects(EngineContext& ctx, const LinkedList<Variable>& variables, bool KindTraits::*here) {
    for (Variable* variable = variables.head; variable != nullptr; variable = variable->next)
        if (isObjectKind(variable->type) && ctx.kinds().of(variable->type).traits().*here)
            holdObject(ctx, *variable, Nil, nullptr);
}

}  // namespace

const CodeNode* executeCall(EngineContext& ctx, const CodeNode* node) {
    if (node->mode == kMethodCall) {
        callMethod(ctx, *node, *node->to.object);
        pollWatch(ctx);
        return node->next;
    }
    if (node->reach == Reach::Function) return callUser(ctx, node);
    callOther(ctx, *node);
    pollWatch(ctx);
    return node;
}

void endOwnedObjects(EngineContext& ctx, FunctionRecord& function) {
    endObjects(ctx, function.locals, &KindTraits::endsWithActivation);
    // A function that calls itself goes on with the parameters that its inner activation was given.
    const auto runsStill = [&function](const CallRecord& call) { return call.function == &function; };
    function.ownsObjects = std::any_of(ctx.run.calls.rbegin(), ctx.run.calls.rend(), runsStill);
    if (!function.ownsObjects) endObjects(ctx, function.params, &KindTraits::endsWithActivation);
}

void executeFunctionEntry(EngineContext& ctx) {
    if (ctx.run.calls.empty()) return;
    FunctionRecord& function = *ctx.run.calls.back().function;
    const int count = function.paramCount;
    if (count <= 0) return;
    if (ctx.stack.size() < count) {
        ctx.run.calls.back().base = ctx.run.base = 0;
        ctx.report(MessageId::TooFewArguments, function.name, count);
        return;
    }
    const int base = ctx.base();
    int position = 0;
    for (Variable* p = function.params.head; p != nullptr && position < count; p = p->next, ++position)
        if (!bindArgument(ctx, *p, ctx.stack.at(base + position), position + 1, function.name)) break;
    ctx.stack.dropTo(base);
}

const CodeNode* executeReturn(EngineContext& ctx, const CodeNode* node) {
    if (ctx.run.calls.empty() || node->to.function == nullptr) return node;
    if (node->count == 0) {
        ctx.stack.dropTo(ctx.base());
    } else {
        settleReturned(ctx, node->count);
        if (node->count > 1) ctx.stack.push(ValueCell::ofCount(node->count));
    }
    ctx.run.frames.back().top = -1;
    ctx.run.returned = true;
    return node->to.function->last;
}

void settleResults(EngineContext& ctx) {
    if (!ctx.run.returned) ctx.stack.dropTo(ctx.base());
    ctx.run.returned = false;
}

const CodeNode* executeFunctionEnd(EngineContext& ctx, const CodeNode* node) {
    if (ctx.run.frames.size() < 2 || ctx.run.calls.empty()) return node;
    settleResults(ctx);
    ctx.run.frames.pop_back();
    Frame& frame = ctx.run.frames.back();
    const CodeNode* caller = frame.entries[static_cast<std::size_t>(frame.top)].node;
    --frame.top;
    FunctionRecord& function = *ctx.run.calls.back().function;
    ctx.run.trimCalls(ctx.run.calls.size() - 1);
    refillCaller(ctx);
    // Those among the values that it returns live as long as the stack refers to them.
    endObjects(ctx, function.locals, &KindTraits::endsWithCall);
    releaseOwnedObjects(ctx, function);
    return caller;
}

}  // namespace kestrel
