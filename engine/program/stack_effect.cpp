#include "engine/program/stack_effect.h"

#include "engine/program/node_modes.h"

#include <algorithm>

namespace kestrel {

bool isMarker(const CodeNode& node) noexcept {
    const OpcodeInfo* row = opcodeInfo(node.op);
    return row != nullptr &&
           (row->flow == OpFlow::Marker || (row->flow == OpFlow::ModalMarker && node.mode == 0));
}

StackEffect effectOf(const CodeNode& node, const OpcodeInfo& row) noexcept {
    StackEffect effect{row.pops, row.pushes};
    if (row.flow == OpFlow::ModalMarker && node.mode == 0) return {};
    switch (node.op) {
        case OP_VAR:  // a member that does not exist is reported and leaves nothing
            if (readsMember(node.mode)) effect.pushes = kVaries;
            break;
        case OP_NEG:
        case OP_NOT:
            if (node.mode == kStatementForm) effect.pushes = kVaries;
            break;
        default:
            break;
    }
    return effect;
}

StackEffect effectOf(const CodeNode& node) noexcept {
    const OpcodeInfo* row = opcodeInfo(node.op);
    return row != nullptr ? effectOf(node, *row) : StackEffect{};
}

StackEffect followedBy(StackEffect first, StackEffect second) noexcept {
    if (!first.isFixed()) {
        if (!second.isFixed()) return {first.pops, second.pushes};
        return {first.pops, kVaries};
    }
    const int more = std::max(second.pops - first.pushes, 0);
    StackEffect both{first.pops + more, second.pushes};
    if (second.isFixed()) both.pushes += first.pushes + more - second.pops;
    return both;
}

}  // namespace kestrel
