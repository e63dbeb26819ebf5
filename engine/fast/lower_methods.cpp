// Lowering: methods that numbers and vectors have as every value has them.
#include "engine/context/kind_table.h"
#include "engine/fast/lowering.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace kestrel::fast {

namespace {

constexpr std::pair<std::string_view, std::int32_t> kQuestions[] = {{"isNil", Nil},    {"isInt", Integer},
                                                                    {"isStr", String}, {"isNum", Number},
                                                                    {"isVec", Vector}, {"isArray", Array}};

}  // namespace

void Lowering::callMethod(const Node& node) {
    Variable& variable = *node.to.object;
    const Cell held = slot(slotOf(variable));
    if (held.type == kNoValue) refuse("a value that not every way gives");
    const bool plain =
        held.type == kMixedKind || isInlineKind(held.type) || (held.type == Array && held.object != nullptr);
    if (!plain) refuse("a method of something else than numbers, vectors and arrays");
    const auto interfaces =
        ctx_.kinds().of(held.type == kMixedKind ? std::int32_t{Nil} : held.type).interfaces();
    const MethodRow* row = interfaces.size() == 1 ? interfaces.front().method(node.name) : nullptr;
    if (row == nullptr || node.argc != 0) refuse("a method that is not there, or takes arguments");
    const auto* question =
        std::ranges::find(kQuestions, row->name, &std::pair<std::string_view, std::int32_t>::first);
    if (question != std::end(kQuestions)) return push(bit(isOfKind(held, question->second)));
    if (row->name == "trunc") return push(cutVariable(variable));
    if (row->name == "size" || row->name == "count") return push(sizeOf(variable, row->name == "size"));
    if (held.type == Array) refuse("the method " + std::string(row->name) + " of an array");
    // It may hold nothing on one of the ways that come here; questions about its kind are answered above.
    if (held.type == kMixedKind && !held.isNumeric()) refuse("a variable whose kind depends on the way");
    if (row->name == "asInt") return push(Cell::ofInteger(wholeOf(variable)));
    if (row->name == "asNum")
        return push(Cell::ofNumber(held.isNumeric() ? part(slotOf(variable), 0) : builder_.real(0.0)));
    if (row->name == "asVec") return push(asVector(variable));
    refuse("the method " + std::string(row->name));
}

Reg Lowering::isOfKind(const Cell& cell, std::int32_t kind) {
    // A name that was never assigned holds nothing.
    if (cell.type != kMixedKind)
        return builder_.whole(cell.type == kind || (kind == Nil && cell.type == Uninitialized) ? 1 : 0);
    const Reg is = builder_.make(Op::EqualWhole, cell.kind, builder_.whole(kind));
    if (kind != Nil || cell.numeric) return is;
    return builder_.make(Op::Either, is,
                         builder_.make(Op::EqualWhole, cell.kind, builder_.whole(Uninitialized)));
}

/// The kind of a variable that holds a number is known from here on.
Cell Lowering::settled(Variable& variable) {
    const std::size_t index = slotOf(variable);
    Cell held = slot(index);
    if (held.type != kMixedKind) return held;
    if (!held.isNumeric()) refuse("a variable whose kind depends on the way");
    settleKind(held);
    slot(index).type = held.type;
    slot(index).kind = held.kind;
    return slot(index);
}

Cell Lowering::cutVariable(Variable& variable) {
    const std::size_t index = slotOf(variable);
    const Cell held = settled(variable);
    switch (held.type) {
        case Number:
            return Cell::ofNumber(slot(index).number = cut(part(index, 0)));
        case Integer:
            return Cell::ofInteger(part(index, 0));
        case Vector: {
            std::array<Reg, 3> parts{};
            for (std::size_t i = 0; i < 3; ++i) parts[i] = cut(part(index, static_cast<int>(i) + 1));
            slot(index).vec = parts;
            return Cell::ofVector(parts);
        }
        case Array:
            refuse("the method trunc of an array");
        default:
            return Cell::ofInteger(builder_.real(0.0));
    }
}

/// A number is its own size, and counts as one value.
Cell Lowering::sizeOf(Variable& variable, bool ofItself) {
    const Cell held = settled(variable);
    if (held.isNumeric() && ofItself) {
        Cell size = held;
        size.vec = {kNoReg, kNoReg, kNoReg};
        size.number = part(slotOf(variable), 0);
        return size;
    }
    double count = held.isNumeric() || held.type == Vector ? 1.0 : 0.0;
    if (held.type == Array) {
        const auto& array = *static_cast<const ArrayRecord*>(held.object);
        if (kindOfElements(array) == Uninitialized) refuse("an array that has holes");
        count = static_cast<double>(array.count());
    }
    return Cell::ofInteger(builder_.real(count));
}

Reg Lowering::wholeOf(Variable& variable) {
    if (!slot(slotOf(variable)).isNumeric()) return builder_.real(0.0);
    return builder_.make(Op::FromWhole, builder_.toWhole(part(slotOf(variable), 0)));
}

Cell Lowering::asVector(Variable& variable) {
    const std::size_t index = slotOf(variable);
    const Cell held = settled(variable);
    if (held.type == Vector) return readVariable(variable);
    const Reg number = held.type == Number ? part(index, 0) : wholeOf(variable);
    return Cell::ofVector({number, number, number});
}

}  // namespace kestrel::fast
