// What debug builds look at after each instruction: whether it did to the stack what its row says.
#pragma once

#include "engine/context/context.h"
#include "engine/program/stack_effect.h"
#include "engine/program/verifier.h"

namespace kestrel {

/// What debug builds remember of the stack while an instruction runs.
struct StackBefore {
    const CodeNode* node;
    std::int32_t base;
    int cells;
    std::size_t frames;
};

[[nodiscard]] inline StackBefore beforeInstruction(const EngineContext& ctx, const CodeNode* node) noexcept {
    return {node, ctx.base(), ctx.stack.size() - ctx.base(), ctx.run.frames.size()};
}

/// Compares what an instruction, or several that ran as one, did to the stack with the table.
/// @param after  where the instruction left off
template <bool kHooked>
void checkInstruction(EngineContext& ctx, const StackBefore& before, const CodeNode* after) {
    if (ctx.run.frames.size() != before.frames || ctx.base() != before.base) return;
    const CodeNode& node = *before.node;
    const bool fused = !kHooked && node.exec != node.op && after != &node;
    StackEffect effect = effectOf(node);
    for (const CodeNode* last = &node; fused && last != after;) {
        last = last->next;
        effect = followedBy(effect, effectOf(*last));
    }
    const int cells = ctx.stack.size() - ctx.base();
    const bool allowed = effect.allows(before.cells, cells);
    const bool otherKind =
        allowed && !fused && familyOf(node.op) == OpFamily::Value && ctx.stack.top().type != node.op;
    if (!allowed || otherKind) failStackCheck(*ctx.program, {&node, effect, before.cells, cells, otherKind});
}

}  // namespace kestrel
