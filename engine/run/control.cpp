// Loops, switch and select: the control entries of the running frame.

#include "engine/run/instructions.h"

namespace kestrel {

namespace {

ControlEntry* topEntry(EngineContext& ctx) noexcept {
    Frame& frame = ctx.run.frames.back();
    return frame.top < 0 ? nullptr : &frame.entries[static_cast<std::size_t>(frame.top)];
}

/// Takes the condition off and empties the statement's cells, as every loop test does.
bool popCondition(EngineContext& ctx) {
    const bool truth = isTrue(ctx.stack.top());
    ctx.stack.dropTo(ctx.base());
    return truth;
}

}  // namespace

bool pushControl(EngineContext& ctx, const CodeNode* node) {
    Frame& frame = ctx.run.frames.back();
    if (frame.top + 1 >= kControlLimit) {
        ctx.report(MessageId::TooDeep);
        return false;
    }
    frame.entries[static_cast<std::size_t>(++frame.top)] = {node, node->op};
    return true;
}

const CodeNode* executeWhile(EngineContext& ctx, const CodeNode* node) {
    if (!ctx.need(1)) return node;
    if (!popCondition(ctx)) return node->operand.target;
    pushControl(ctx, node);
    return node;
}

const CodeNode* executeEndWhile(EngineContext& ctx, const CodeNode* node) {
    pollWatch(ctx);
    const ControlEntry* entry = topEntry(ctx);
    if (entry == nullptr || entry->node->link == nullptr) return node;
    --ctx.run.frames.back().top;
    return entry->node->link;
}

const CodeNode* executeForTest(EngineContext& ctx, const CodeNode* node) {
    if (!ctx.need(1)) return node;
    if (!popCondition(ctx)) return node->operand.target;
    if (!pushControl(ctx, node)) return node;
    return node->to.body;  // the step code runs only after the body
}

const CodeNode* executeEndFor(EngineContext& ctx, const CodeNode* node) {
    const ControlEntry* entry = topEntry(ctx);
    return entry != nullptr ? entry->node : node;
}

const CodeNode* executeForBody(EngineContext& ctx, const CodeNode* node) {
    return executeEndWhile(ctx, node);  // back to the test after the step code
}

const CodeNode* executeBreak(EngineContext& ctx, const CodeNode* node) {
    const ControlEntry* entry = topEntry(ctx);
    if (entry == nullptr) {
        ctx.report(MessageId::BreakOutsideLoop);
        return node;
    }
    --ctx.run.frames.back().top;
    ctx.stack.dropTo(ctx.base());
    return entry->node->operand.target;
}

const CodeNode* executeContinue(EngineContext& ctx) {
    pollWatch(ctx);
    const ControlEntry* entry = topEntry(ctx);
    if (entry == nullptr) return nullptr;
    if (entry->kind == OP_WHILE) {
        --ctx.run.frames.back().top;
        return entry->node->link;
    }
    // Not popped: for a `for` the step code runs next; a switch or select starts over behind its opening,
    // which is meant that way.
    return entry->node;
}

const CodeNode* executeCase(EngineContext& ctx, const CodeNode* node) {
    if (!ctx.need(2)) return node;
    const bool equal = matchesCase(ctx.stack.top(1), ctx.stack.top(0));
    ctx.stack.drop(equal ? 2 : 1);
    return equal ? node : node->link;
}

const CodeNode* executeWhen(EngineContext& ctx, const CodeNode* node) {
    if (!ctx.need(1)) return node;
    const bool truth = takesBranch(ctx.stack.top());
    ctx.stack.drop(1);
    return truth ? node : node->link;
}

const CodeNode* executeEndWhen(EngineContext& ctx, const CodeNode* node) {
    const ControlEntry* entry = topEntry(ctx);
    if (entry == nullptr) return node;
    --ctx.run.frames.back().top;
    return entry->node->operand.target;
}

void executeEndSwitch(EngineContext& ctx) {
    Frame& frame = ctx.run.frames.back();
    if (frame.top >= 0) --frame.top;
    ctx.stack.dropTo(ctx.base());  // the value of a switch in which no case matched
}

}  // namespace kestrel
