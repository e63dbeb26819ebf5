// Members with a place in the host's record (MemberLayout), which most shaders read and write with constant
// indexes: the places are found once, when a program is linked. These are short cuts of the plain loop for
// what goes right; where anything else is the case the instructions run one by one, and report.
#pragma once

#include "engine/context/context.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kestrel {

/// Resolves the member that is named from this node on, in the node's `place`, `link` and `to.object`, and
/// where a list comes first in the OP_INDEX behind it. The nodes behind are linked already.
/// @return what the plain loop runs: one of kHostReal to kHostElementTarget, or the node's own code
[[nodiscard]] std::int16_t linkHostMember(const KindTable& kinds, CodeNode& node);

[[nodiscard]] inline bool isHostRecord(const EngineContext& ctx, const Variable& object) noexcept {
    return object.type == ShaderObj && object.queue == 0 && ctx.hostRecord != nullptr;
}

/// Pushes the number that lies at the node's place.
/// @param cells  that the instructions would need at most
/// @return false when it must be read the long way; nothing has changed then
template <class T>
[[nodiscard]] bool pushHostNumber(EngineContext& ctx, const CodeNode& node, int cells) {
    if (!isHostRecord(ctx, *node.to.object) || !ctx.stack.hasRoom(cells)) return false;
    T number;
    std::memcpy(&number, static_cast<const std::byte*>(ctx.hostRecord) + node.place, sizeof number);
    ctx.stack.pushScalar(sizeof(T) == sizeof(double) ? Number : Integer, number);
    return true;
}

/// Pushes the list of one constant index, which the node opens, and the reference behind it, which its `link`
/// is.
/// @return false when the stack is too full for it
[[nodiscard]] inline bool pushHostElement(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.stack.hasRoom(4)) return false;
    const CodeNode& index = *node.next->next;
    ctx.stack.pushScalar(DimMark, 0.0);
    ctx.stack.pushScalar(SepMark, 0.0);
    ctx.stack.pushScalar(index.op, index.operand.number);
    ctx.stack.pushNode(IndexedMemberRef, node.link);
    return true;
}

/// `object.member = number;` as a whole statement.
/// @return false when there is more to it; nothing has changed then
[[nodiscard]] inline bool assignHostMember(EngineContext& ctx) {
    const ValueCell& value = ctx.stack.top(0);
    const ValueCell& target = ctx.stack.top(1);
    int cells = 2;
    if (target.type == IndexedMemberRef)
        cells = 5;  // the index list lies below
    else if (target.type != MemberRef)
        return false;
    const CodeNode& node = *target.node;
    if (node.exec != kHostTarget || ctx.stack.size() - ctx.base() != cells) return false;
    // Where a number comes from that is not finite is remembered.
    if (!value.isNumeric() || !std::isfinite(value.number) || !isHostRecord(ctx, *node.to.object))
        return false;
    std::memcpy(static_cast<std::byte*>(ctx.hostRecord) + node.place, &value.number, sizeof value.number);
    ctx.stack.forgetTo(ctx.base());
    return true;
}

}  // namespace kestrel
