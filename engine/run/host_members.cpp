#include "engine/run/host_members.h"

#include "engine/context/kind_table.h"
#include "engine/program/node_modes.h"

#include <optional>

namespace kestrel {

namespace {

[[nodiscard]] bool isTarget(const CodeNode& node) noexcept {
    return node.mode == kMemberReference;
}

/// @param which  the element; nothing: there is no index
/// @return where it lies in the record; nothing where there is more to the member, or to the access
std::optional<std::int32_t> recordPlace(const KindTable& kinds, const CodeNode& member,
                                        std::optional<std::int64_t> which) {
    const MemberRow* const row = kinds.member(ShaderObj, member.name);
    if (row == nullptr || row->layout == MemberLayout::None) return std::nullopt;
    if ((which || isTarget(member)) && row->layout != MemberLayout::Real) return std::nullopt;
    if (isTarget(member) && row->write == nullptr) return std::nullopt;
    if (row->elements > 1 && (!which || *which < 1 || *which > row->elements)) return std::nullopt;
    return static_cast<std::int32_t>(row->placeOf(which.value_or(1)));
}

/// The OP_INDEX behind a list of one constant.
/// @param list  its OP_DIM
CodeNode* indexBehind(const CodeNode& list) noexcept {
    if (!opIs(list.next, OP_SEP)) return nullptr;
    CodeNode* const constant = list.next->next;
    if (!opIs(constant, OP_INTEGER) && !opIs(constant, OP_NUMBER)) return nullptr;
    return opIs(constant->next, OP_INDEX) ? constant->next : nullptr;
}

std::int16_t linkList(const KindTable& kinds, CodeNode& list) {
    CodeNode* const index = indexBehind(list);
    if (index == nullptr || (index->mode != kMemberRead && !isTarget(*index))) return list.op;
    const auto place = recordPlace(kinds, *index, truncate(list.next->next->operand.number));
    if (!place) return list.op;
    list.place = index->place = *place;
    list.to.object = index->to.object;
    list.link = isTarget(*index) ? index : index->next;
    if (!isTarget(*index)) return kHostElement;
    index->exec = kHostTarget;
    return kHostElementTarget;
}

std::int16_t linkName(const KindTable& kinds, CodeNode& name) {
    const auto place = recordPlace(kinds, name, std::nullopt);
    if (!place) return name.op;
    name.place = *place;
    if (isTarget(name)) return kHostTarget;
    return kinds.member(ShaderObj, name.name)->layout == MemberLayout::Real ? kHostReal : kHostWhole;
}

}  // namespace

std::int16_t linkHostMember(const KindTable& kinds, CodeNode& node) {
    if (node.op == OP_DIM) return linkList(kinds, node);
    if (node.op == OP_VAR && (node.mode == kMemberRead || isTarget(node))) return linkName(kinds, node);
    return node.op;
}

}  // namespace kestrel
