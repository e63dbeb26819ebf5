#include "frontend/member_advice.h"

#include "engine/context/kind_table.h"
#include "engine/values/format.h"
#include "frontend/define_advice.h"
#include "frontend/foreign_names.h"
#include "platform/near_names.h"

#include <algorithm>
#include <vector>

namespace kestrel {

namespace {

/// "=", "+=" and so on behind a member, or a "++" before it.
bool isAssigned(const CodeNode& marker) noexcept {
    return marker.next != nullptr && (marker.next->op == OP_ASSIGNMARK || isPrefix(marker.next->op));
}

/// An index that is a plain number, as the only one: DimMark, SepMark, number, index. -1 for others.
/// @param list  the last OP_DIM before the node, or null
double plainIndex(const CodeNode& node, const CodeNode* list) noexcept {
    if (node.op != OP_INDEX || list == nullptr || !opIs(list->next, OP_SEP)) return -1.0;
    const CodeNode* value = list->next->next;
    const bool plain = (opIs(value, OP_INTEGER) || opIs(value, OP_NUMBER)) && value->next == &node;
    return plain ? value->operand.number : -1.0;
}

template <class Row>
std::string_view nearestRow(std::string_view word, std::span<ObjectKind* const> kinds,
                            std::span<const Row> (ObjectInterface::*rows)() const noexcept) {
    std::vector<std::string_view> names;
    for (ObjectKind* kind : kinds) {
        for (const ObjectInterface& interface : kind->interfaces())
            for (const Row& row : (interface.*rows)()) names.push_back(row.name);
    }
    return nearestName(word, names);
}

}  // namespace

MemberAdvice::MemberAdvice(EngineContext& ctx, DefineAdvice& defines, bool usesClasses)
    : ctx_(ctx), defines_(defines), anyMember_(usesClasses) {
    ObjectKind& kind = ctx.kinds().of(ShaderObj);
    const std::span<ObjectInterface> interfaces = kind.interfaces();
    if (!interfaces.empty() && !interfaces.front().members().empty()) sample_ = &interfaces.front();
    for (const RecordTemplate* record = ctx.program->records.head; record != nullptr; record = record->next)
        for (const RecordField* field = record->fields.head; field != nullptr; field = field->next)
            fields_.insert(field->name->name);
}

void MemberAdvice::enter(const Variable& name) {
    const FunctionRecord* function = ctx_.program->findFunction(name.name);
    const bool process = function != nullptr && std::string_view(name.name) == "process";
    sampleVariable_ = process && sample_ != nullptr ? function->params.head : nullptr;
}

bool MemberAdvice::look(const CodeNode& node, const CodeNode* list) {
    const double index = plainIndex(node, list);
    const CodeNode* next = node.next;
    const bool counted = next != nullptr && isPostfix(next->op);
    const CodeNode* marker = counted ? next->next : next;
    if (opIs(marker, OP_IPCREF)) return true;
    if (opIs(marker, OP_RECORD)) {
        field(node, *marker->operand.variable);
        return true;
    }
    if (!opIs(marker, OP_MEMBER)) {
        if (!opIs(next, OP_ENDDECL)) indexFromZero(node, index, node.operand.variable->name);
        return false;
    }
    const Variable& owner = *marker->operand.variable;
    if (&owner == sampleVariable_) {
        ofSample(node, index, owner, counted || isAssigned(*marker));
    } else if (!anyMember_) {
        ofObject(node, owner);
    }
    return true;
}

void MemberAdvice::ofSample(const CodeNode& node, double index, const Variable& owner, bool assigned) {
    const std::string_view name = node.operand.variable->name;
    const std::span<const MemberRow> rows = sample_->members();
    const auto row = std::ranges::find(rows, name, &MemberRow::name);
    if (row == rows.end()) {
        if (defines_.tellIfCut(node.pos)) return;
        std::vector<std::string_view> names;
        for (const MemberRow& known : rows) names.push_back(known.name);
        const std::string_view instead = insteadOfForeign(ForeignKind::Sample, name);
        ctx_.reporter.hint(
            node.pos, HintId::UnknownMember, name,
            instead.empty() ? didYouMean(nearestName(name, names)) : ": " + std::string(instead));
    } else if (row->type == MemberType::Nothing) {
        ctx_.reporter.hint(node.pos, HintId::MemberWithoutValue, owner.name, name);
    } else if (assigned && row->write == nullptr) {
        ctx_.reporter.hint(node.pos, HintId::ReadOnlyMember, owner.name, name);
    } else if (row->elements > 1 && node.op == OP_VAR) {
        if (assigned)
            ctx_.reporter.hint(node.pos, HintId::WholeMemberAssigned, owner.name, name, owner.name, name,
                               row->elements);
        else
            ctx_.reporter.hint(node.pos, HintId::WholeMemberRead, owner.name, name, owner.name, name,
                               row->elements);
    } else if (row->elements > 1) {
        indexFromZero(node, index, std::string(owner.name) + "." + std::string(name));
        if (index > row->elements)
            ctx_.reporter.hint(node.pos, HintId::IndexBeyond, owner.name, name, formatG(index),
                               row->elements);
    }
}

void MemberAdvice::ofObject(const CodeNode& node, const Variable& owner) {
    const char* name = node.operand.variable->name;
    if (ctx_.kinds().names().find(name) != kNoName) return;
    if (isField(name)) {
        ctx_.reporter.hint(node.pos, HintId::RecordMember, name, owner.name, name);
        return;
    }
    if (defines_.tellIfCut(node.pos)) return;
    const std::string_view instead = insteadOfForeign(ForeignKind::Member, name);
    ctx_.reporter.hint(node.pos, HintId::UnknownMember, name,
                       instead.empty()
                           ? didYouMean(nearestRow(name, ctx_.kinds().all(), &ObjectInterface::members))
                           : ": " + std::string(instead));
}

void MemberAdvice::field(const CodeNode& node, const Variable& owner) {
    const char* name = node.operand.variable->name;
    if (isField(name) || defines_.tellIfCut(node.pos)) return;
    const bool ofSample = &owner == sampleVariable_ &&
                          std::ranges::find(sample_->members(), std::string_view(name), &MemberRow::name) !=
                              sample_->members().end();
    if (ofSample) {
        ctx_.reporter.hint(node.pos, HintId::UnknownField, name,
                           ": write " + std::string(owner.name) + "." + name);
        return;
    }
    const std::vector<std::string_view> names(fields_.begin(), fields_.end());
    ctx_.reporter.hint(node.pos, HintId::UnknownField, name, didYouMean(nearestName(name, names)));
}

void MemberAdvice::indexFromZero(const CodeNode& node, double index, const std::string& what) {
    if (index == 0.0) ctx_.reporter.hint(node.pos, HintId::IndexFromZero, what);
}

bool MemberAdvice::lookAtMethod(const CodeNode& node) {
    if (!opIs(node.next, OP_MEMBER)) return opIs(node.next, OP_IPCREF) || opIs(node.next, OP_RECORD);
    const char* name = node.operand.variable->name;
    if (!anyMember_ && ctx_.kinds().names().find(name) == kNoName && !defines_.tellIfCut(node.pos)) {
        const std::string_view instead = insteadOfForeign(ForeignKind::Method, name);
        ctx_.reporter.hint(node.pos, HintId::UnknownMethod, name,
                           instead.empty()
                               ? didYouMean(nearestRow(name, ctx_.kinds().all(), &ObjectInterface::methods))
                               : ": write " + std::string(instead));
    }
    return true;
}

}  // namespace kestrel
