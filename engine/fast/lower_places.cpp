// Lowering: variables, members of the sample, elements of arrays; assignments to them.
#include "engine/context/kind_table.h"
#include "engine/fast/lowering.h"
#include "engine/program/node_modes.h"

#include <algorithm>

namespace kestrel::fast {

namespace {

/// A slot for the random state among those of members.
constexpr std::int64_t kRandomOffset = -1;

Immediate at(const void* address) noexcept {
    Immediate imm;
    imm.address = const_cast<void*>(address);  // NOLINT: what is stored to is never const
    return imm;
}

Immediate at(std::int64_t offset) noexcept {
    Immediate imm;
    imm.whole = offset;
    return imm;
}

const double* partOf(const Variable& variable, int which) noexcept {
    const double* const parts[] = {&variable.number, &variable.vec.x, &variable.vec.y, &variable.vec.z};
    return parts[which];
}

}  // namespace

// ---- slots

/// What a slot holds when the sample begins.
Cell Lowering::entryOf(std::size_t index) {
    const SlotInfo& info = knowledge_.slots.infos[index];
    Cell cell;
    if (info.variable == nullptr) {
        cell.type = info.offset == kRandomOffset ? kRandomKind : std::int32_t{Number};
        (info.offset == kRandomOffset ? cell.kind : cell.number) = kAtEntry;
        return cell;
    }
    const Variable& variable = *info.variable;
    if (!info.visible) {
        info.parameter ? assumptions_.bound(variable) : assumptions_.plain(variable);
        return cell;
    }
    cell.type = variable.type;
    if (variable.isNumeric() && knowledge_.ambiguous.contains(&variable)) {
        if (begun_) {  // a branch may not be where it is loaded
            knowledge_.slots.infos[index].preload = true;
            throw Restart{};
        }
        assumptions_.numeric(variable);
        cell.type = kMixedKind;
        cell.number = cell.vec[0] = cell.vec[1] = cell.vec[2] = kAtEntry;
        cell.kind = builder_.make(Op::LoadWord, kNoReg, kNoReg, kNoReg, at(&variable.type));
        return cell;
    }
    if (variable.type == Array || variable.type == ShaderObj) {
        assumptions_.kind(variable);
        cell.object = variable.object;
    } else if (isInlineKind(variable.type)) {
        assumptions_.kind(variable);
        if (info.steady) assumptions_.value(variable);
        for (int i = 0; i < kParts; ++i)
            partOf(cell, i) = info.steady ? builder_.real(*partOf(variable, i)) : kAtEntry;
    }
    return cell;
}

std::size_t Lowering::newSlot(const SlotInfo& info) {
    if (info.variable != nullptr && info.variable->queue != 0) refuse("a variable of a queue");
    knowledge_.slots.infos.push_back(info);
    return knowledge_.slots.infos.size() - 1;
}

std::size_t Lowering::slotOf(Variable& variable) {
    const auto found = knowledge_.slots.ofVariable.find(&variable);
    if (found != knowledge_.slots.ofVariable.end()) return found->second;
    SlotInfo info;
    info.variable = &variable;
    info.visible = carryover_.counts(variable);
    info.steady = variable.owner == nullptr && !knowledge_.written.contains(&variable);
    if (variable.owner != nullptr)
        for (const Variable* p = variable.owner->params.head; p != nullptr; p = p->next)
            info.parameter = info.parameter || p == &variable;
    const std::size_t index = newSlot(info);
    knowledge_.slots.ofVariable.emplace(&variable, index);
    return index;
}

std::size_t Lowering::slotOfMember(std::int64_t offset) {
    const auto found = knowledge_.slots.ofMember.find(offset);
    if (found != knowledge_.slots.ofMember.end()) return found->second;
    SlotInfo info;
    info.offset = offset;
    const std::size_t index = newSlot(info);
    knowledge_.slots.ofMember.emplace(offset, index);
    return index;
}

Cell& Lowering::slot(std::size_t index) {
    while (entries_.size() <= index) entries_.push_back(entryOf(entries_.size()));
    while (state_.slots.size() <= index) state_.slots.push_back(entries_[state_.slots.size()]);
    return state_.slots[index];
}

/// A part of a slot, loaded where it has not changed: the number, or one of three of the vector.
Reg Lowering::part(std::size_t index, int which) {
    Reg& reg = partOf(slot(index), which);
    if (reg == kAtEntry) {
        const SlotInfo& info = knowledge_.slots.infos[index];
        reg = info.variable != nullptr
                  ? builder_.make(Op::LoadReal, kNoReg, kNoReg, kNoReg, at(partOf(*info.variable, which)))
                  : builder_.make(Op::LoadRecordReal, kNoReg, kNoReg, kNoReg, at(info.offset));
    }
    if (reg == kNoReg) refuse("a value that not every way gives");
    return reg;
}

/// Something is to be written to the sample at the end.
bool Lowering::changesRecord() const {
    for (std::size_t i = 0; i < state_.slots.size(); ++i) {
        const SlotInfo& info = knowledge_.slots.infos[i];
        const Reg held = state_.slots[i].number;
        if (info.variable == nullptr && info.offset != kRandomOffset && held != kAtEntry &&
            !builder_.loads(held, Op::LoadRecordReal, at(info.offset)))
            return true;
    }
    return false;
}

Reg Lowering::randomState() {
    const std::size_t index = slotOfMember(kRandomOffset);
    Reg& reg = slot(index).kind;
    if (reg == kAtEntry) reg = builder_.make(Op::LoadWord, kNoReg, kNoReg, kNoReg, at(&ctx_.randomState));
    return reg;
}

void Lowering::setRandomState(Reg state) {
    slot(slotOfMember(kRandomOffset)).kind = state;
}

/// Loads what some ways change and others do not.
void Lowering::preload() {
    for (std::size_t i = 0; i < knowledge_.slots.infos.size(); ++i) {
        const SlotInfo& info = knowledge_.slots.infos[i];
        if (!info.preload) continue;
        if (info.variable == nullptr && info.offset == kRandomOffset) {
            static_cast<void>(randomState());
            continue;
        }
        for (int which = 0; which < kParts; ++which)
            if (partOf(slot(i), which) == kAtEntry) static_cast<void>(part(i, which));
    }
    begun_ = true;
}

// ---- variables

Cell Lowering::readVariable(Variable& variable) {
    const std::size_t index = slotOf(variable);
    const Cell held = slot(index);
    switch (held.type) {
        case Number:
        case Integer:
        case kMixedKind: {
            if (!held.isNumeric()) refuse("a variable whose kind depends on the way");
            Cell cell = held;
            cell.vec = {kNoReg, kNoReg, kNoReg};
            cell.number = part(index, 0);
            return cell;
        }
        case Vector:
            return Cell::ofVector({part(index, 1), part(index, 2), part(index, 3)});
        case Uninitialized:
            if (ctx_.options.strict) refuse("a variable without a value");
            slot(index).type = Nil;  // reading makes it so
            return Cell::ofKind(Nil);
        case Nil:
            return Cell::ofKind(Nil);
        case ShaderObj:
            return Cell::ofKind(ShaderObj);
        case Array: {
            if (held.object == nullptr) refuse("an array that was never declared");
            Cell cell = Cell::ofKind(ArrayRef);
            cell.object = held.object;
            return cell;
        }
        default:
            refuse("a variable that holds neither a number nor a vector");
    }
}

void Lowering::assignVariable(Variable& variable, const Cell& value) {
    Cell& held = slot(slotOf(variable));
    if (held.type >= 0 && !isInlineKind(held.type)) refuse("an assignment that lets go of something");
    if (value.isNumeric()) {
        held.number = numberOf(value);
        held.kind = value.kind;
        held.numeric = value.numeric;
    } else if (value.type == Vector) {
        held.vec = value.vec;
        held.kind = kNoReg;
    } else if (value.type == Nil) {
        held.kind = kNoReg;
    } else {
        refuse("an assignment of something else than numbers and vectors");
    }
    held.type = value.type;
}

void Lowering::variable(const Node& node) {
    switch (node.mode) {
        case kLoad:
            return push(readVariable(*node.operand.variable));
        case kReference:
            return push(Cell::ofKind(VarRef, &node));
        case kMemberRead:
            return push(readMember(node, nullptr));
        case kMemberReference:
            return push(Cell::ofKind(MemberRef, &node));
        default:
            refuse("a record or a queue");
    }
}

// ---- index lists

/// Takes `DimMark SepMark i SepMark j ...` off the stack. Behind an index that has brackets itself there is
/// no mark.
std::vector<Cell> Lowering::takeIndexes() {
    std::vector<Cell> indexes;
    for (Cell cell = pop(); cell.type != DimMark; cell = pop()) {
        if (cell.type == SepMark) continue;
        if (!cell.isNumeric()) refuse("an index that is no number");
        indexes.push_back(cell);
    }
    std::ranges::reverse(indexes);
    return indexes;
}

void Lowering::indexed(const Node& node) {
    switch (node.mode) {
        case kLoad: {
            const std::vector<Cell> indexes = takeIndexes();
            return push(element(elementPlace(*node.operand.variable, indexes)));
        }
        case kMemberRead: {
            const std::vector<Cell> indexes = takeIndexes();
            if (indexes.size() != 1) refuse("a member with several indexes");
            return push(readMember(node, &indexes.front()));
        }
        case kMemberReference:
            return push(Cell::ofKind(IndexedMemberRef, &node));
        case kReference:
            return push(Cell::ofKind(Array, &node));
        case kDeclare:
            return declare(*node.operand.variable);
        default:
            refuse("an element in a queue");
    }
}

// ---- members

const MemberRow& Lowering::memberRow(std::int32_t type, NameId name) {
    const MemberRow* const row = ctx_.kinds().member(type, name);
    if (row == nullptr) refuse("a member that is not there");
    return *row;
}

/// Which part of a vector a member is.
int Lowering::vectorPart(NameId name) {
    const std::string_view letter = memberRow(Vector, name).name;
    const std::size_t which = std::string_view("xyz").find(letter);
    if (letter.size() != 1 || which == std::string_view::npos) refuse("a member that is not x, y or z");
    return static_cast<int>(which) + 1;
}

/// Which element of a member is meant, from 1.
Reg Lowering::indexOf(const MemberRow& row, const Cell* index) {
    if (row.layout == MemberLayout::None) refuse("a member that is computed");
    if (row.elements <= 1) return builder_.whole(1);
    if (index == nullptr) refuse("a member without its index");
    const Reg which = builder_.toWhole(numberOf(*index));
    const auto require = [&](Reg low, Reg high) {
        builder_.guard(builder_.make(Op::LessEqualWhole, low, high), "a member's index out of range");
    };
    require(builder_.whole(1), which);
    require(which, builder_.whole(row.elements));
    return which;
}

/// Of several elements one is chosen: some may have been written.
Reg Lowering::readReal(const MemberRow& row, Reg which) {
    if (const auto known = builder_.wholeConstant(which)) return part(slotOfMember(row.placeOf(*known)), 0);
    Reg value = part(slotOfMember(row.placeOf(row.elements)), 0);
    for (std::int64_t i = row.elements - 1; i > 0; --i) {
        const Reg is = builder_.make(Op::EqualWhole, which, builder_.whole(i));
        value = builder_.make(Op::Choose, is, part(slotOfMember(row.placeOf(i)), 0), value);
    }
    return value;
}

void Lowering::writeReal(const MemberRow& row, Reg which, Reg value) {
    if (const auto known = builder_.wholeConstant(which)) {
        slot(slotOfMember(row.placeOf(*known))).number = value;
        return;
    }
    for (std::int64_t i = 1; i <= row.elements; ++i) {
        const std::size_t element = slotOfMember(row.placeOf(i));
        const Reg is = builder_.make(Op::EqualWhole, which, builder_.whole(i));
        const Reg chosen = builder_.make(Op::Choose, is, value, part(element, 0));
        slot(element).number = chosen;
    }
}

Cell Lowering::readMember(const Node& node, const Cell* index) {
    Variable& object = *node.to.object;
    const std::size_t held = slotOf(object);
    if (slot(held).type == Vector) return Cell::ofNumber(part(held, vectorPart(node.name)));
    if (slot(held).type != ShaderObj) refuse("a member of something else than the sample or a vector");
    const MemberRow& row = memberRow(ShaderObj, node.name);
    const Reg which = indexOf(row, index);
    if (row.layout == MemberLayout::Whole)
        return Cell::ofInteger(builder_.make(
            Op::FromWhole, builder_.make(Op::LoadRecordWhole, kNoReg, kNoReg, kNoReg, at(row.placeOf(1)))));
    return Cell::ofNumber(readReal(row, which));
}

/// What an operator makes of a member that is a Number. @return what it leaves
std::optional<Cell> Lowering::changeNumber(std::int32_t op, Reg current, Reg value, Reg& changed) {
    if (op == OP_ASSIGN) {
        changed = value;
        return std::nullopt;
    }
    if (isIncrement(op)) {
        changed = builder_.make(Op::Add, current, builder_.real(incrementStep(op)));
        return Cell::ofNumber(isPostfix(op) ? current : changed);
    }
    changed = plainNumbers(plainOperator(op), current, value);
    return std::nullopt;
}

std::optional<Cell> Lowering::changeMember(const Node& node, const Cell* index, std::int32_t op,
                                           const Cell& value) {
    Variable& object = *node.to.object;
    const std::size_t held = slotOf(object);
    Reg changed = kNoReg;
    if (slot(held).type == Vector) {
        const int which = vectorPart(node.name);
        const Reg number = numberOf(value);
        const std::optional<Cell> left = changeNumber(op, part(held, which), number, changed);
        partOf(slot(held), which) = changed;
        return left;
    }
    if (slot(held).type != ShaderObj) refuse("a member of something else than the sample or a vector");
    const MemberRow& row = memberRow(ShaderObj, node.name);
    if (row.write == nullptr || row.layout != MemberLayout::Real) refuse("a member that cannot be written");
    const Reg which = indexOf(row, index);
    const Reg number = numberOf(value);
    // Only what the operator looks at is loaded.
    const Reg current = op == OP_ASSIGN ? number : readReal(row, which);
    const std::optional<Cell> left = changeNumber(op, current, number, changed);
    // The interpreter remembers where a number that is not finite came from.
    if (!builder_.facts(changed).finite())
        builder_.guard(builder_.make(Op::Less, builder_.make(Op::Absolute, changed),
                                     builder_.real(std::numeric_limits<double>::infinity())),
                       "a number that is not finite");
    writeReal(row, which, changed);
    return left;
}

// ---- assignments

void Lowering::assign(const Node&) {
    const Cell& top = state_.stack.empty() ? Cell{} : state_.stack.back();
    if (top.type == ReturnCount) return assignReturned();
    if (top.type == ListMark) return assignList();
    const Cell value = popValue();
    const Cell target = pop();
    if (target.type == BlockMark) {
        const std::vector<Target> members = takeBlock();
        if (!members.empty()) assignTo(members.front(), value);
        return push(value);
    }
    // An assignment to a data member leaves none.
    const bool hasValue = target.type == VarRef || target.type == Array;
    assignTo(takeTarget(target), value);
    if (hasValue) push(value);
}

/// A reference that has been taken off the stack, with its index.
Lowering::Target Lowering::takeTarget(const Cell& reference) {
    Target target{reference.type, reference.node};
    if (reference.type == Array) {
        target.indexes = takeIndexes();
    } else if (reference.type == IndexedMemberRef) {
        const std::vector<Cell> indexes = takeIndexes();
        if (indexes.size() != 1) refuse("a member with several indexes");
        target.index = indexes.front();
    } else if (reference.type != VarRef && reference.type != MemberRef) {
        refuse("an assignment to something else than variables, elements and members");
    }
    return target;
}

/// The members of an assignment's block, whose closing mark has been taken off, in order.
std::vector<Lowering::Target> Lowering::takeBlock() {
    std::vector<Target> members;
    for (;;) {
        const Cell reference = pop();
        if (reference.type == BlockMark) break;
        members.push_back(takeTarget(reference));
    }
    std::ranges::reverse(members);
    return members;
}

void Lowering::assignTo(const Target& target, const Cell& value) {
    if (target.type == VarRef) return assignVariable(*target.node->operand.variable, value);
    if (target.type == Array)
        return assignElement(elementPlace(*target.node->operand.variable, target.indexes), value);
    static_cast<void>(changeMember(*target.node, target.index ? &*target.index : nullptr, OP_ASSIGN, value));
}

/// `(a, b) = f()`
void Lowering::assignReturned() {
    const auto count = static_cast<std::size_t>(*builder_.constant(pop().number));
    std::vector<Cell> values;
    for (std::size_t i = 0; i < count; ++i) values.push_back(popValue());
    std::ranges::reverse(values);
    if (pop().type != BlockMark) refuse("several values that become an array");
    const std::vector<Target> members = takeBlock();
    if (values.size() > members.size()) refuse("more values than variables");
    for (std::size_t i = 0; i < values.size(); ++i) assignTo(members[i], values[i]);
    push(Cell::ofInteger(builder_.real(1.0)));
}

void Lowering::compound(const Node& node) {
    const Cell value = popValue();
    const Target target = takeTarget(pop());
    if (target.type == VarRef)
        return combineInto(*target.node->operand.variable, plainOperator(node.op), value);
    if (target.type == Array) {
        static_cast<void>(
            changeElement(elementPlace(*target.node->operand.variable, target.indexes), node.op, value));
        return;
    }
    static_cast<void>(changeMember(*target.node, target.index ? &*target.index : nullptr, node.op, value));
}

/// What a compound assignment makes of a variable: its kind stays.
void Lowering::combineInto(Variable& variable, std::int32_t op, const Cell& value) {
    const std::size_t index = slotOf(variable);
    Cell held = slot(index);
    if (held.type == Vector) {
        const Cell current = Cell::ofVector({part(index, 1), part(index, 2), part(index, 3)});
        if (value.type == Vector && (op == OP_BITAND || op == OP_XOR)) {  // by component
            for (std::size_t i = 0; i < 3; ++i) slot(index).vec[i] = bits(op, current.vec[i], value.vec[i]);
            return;
        }
        slot(index).vec = combine(op, current, value).vec;
        return;
    }
    if (!held.isNumeric()) refuse("a compound assignment to a variable without a number");
    const Reg current = part(index, 0);
    held = settled(variable);
    Cell other = value;
    if (held.type == Integer) settleKind(other);
    if (held.type == Integer && other.type == Integer) {
        // Integers combine truncated and stay whole.
        const auto cut = [this](Reg reg) { return builder_.make(Op::Truncate, reg); };
        slot(index).number = cut(plainNumbers(op, cut(current), cut(numberOf(other))));
        return;
    }
    const bool arithmetic = op == OP_ADD || op == OP_SUB || op == OP_MUL || op == OP_DIV;
    if (other.type == Vector && !arithmetic) refuse("a bit operator of a number and a vector");
    if (other.type == Nil) refuse("an operator of other kinds than numbers and vectors");
    slot(index).number = plainNumbers(op, current, firstNumber(other));
}

/// `-x;` and `!x;`
void Lowering::changeInPlace(const Node& node) {
    static_cast<void>(pop());
    const std::size_t index = slotOf(*node.operand.variable);
    if (!slot(index).isNumeric() && (node.op == OP_NOT || !isInlineKind(slot(index).type)))
        refuse("a sign or a truth of something else than a number");
    if (node.op == OP_NOT) {
        slot(index).number = inverted(readVariable(*node.operand.variable)).number;
        settled(*node.operand.variable);
        return;
    }
    for (int which = 0; which < kParts; ++which) {  // whatever the kind
        if (partOf(slot(index), which) == kNoReg) continue;
        const Reg negative = builder_.make(Op::Negate, part(index, which));
        partOf(slot(index), which) = negative;
    }
}

void Lowering::increment(const Node& node) {
    const Target target = takeTarget(pop());
    if (target.type == Array) {
        const ElementPlace place = elementPlace(*target.node->operand.variable, target.indexes);
        return push(*changeElement(place, node.op, Cell::ofInteger(builder_.real(1.0))));
    }
    if (target.type != VarRef) {
        const auto left = changeMember(*target.node, target.index ? &*target.index : nullptr, node.op,
                                       Cell::ofInteger(builder_.real(1.0)));
        if (left) push(*left);
        return;
    }
    const Reg step = builder_.real(incrementStep(node.op));
    Variable& variable = *target.node->operand.variable;
    const std::size_t index = slotOf(variable);
    const Cell old = slot(index);
    if (!old.isNumeric() && old.type != Vector)
        refuse("an increment of something else than numbers and vectors");
    const Cell before = readVariable(variable);
    if (old.type == Vector) {
        for (std::size_t i = 0; i < 3; ++i) slot(index).vec[i] = builder_.make(Op::Add, before.vec[i], step);
    } else {
        slot(index).number = builder_.make(Op::Add, before.number, step);
    }
    push(isPostfix(node.op) ? before : readVariable(variable));
}

// ---- the end

void Lowering::storeSlot(std::size_t index, bool& kindsChange) {
    const SlotInfo& info = knowledge_.slots.infos[index];
    const Cell& now = state_.slots[index];
    const Cell& before = entries_[index];
    if (!info.visible || now == before) return;
    if (info.variable == nullptr && info.offset == kRandomOffset) {
        if (!builder_.loads(now.kind, Op::LoadWord, at(&ctx_.randomState)))
            builder_.store(Op::StoreWord, now.kind, at(&ctx_.randomState));
        return;
    }
    if (info.variable == nullptr) {
        if (!builder_.loads(now.number, Op::LoadRecordReal, at(info.offset)))
            builder_.store(Op::StoreRecordReal, now.number, at(info.offset));
        return;
    }
    Variable& variable = *info.variable;
    if (now.type != before.type || now.kind != before.kind) {
        kindsChange = true;
        const Reg kind = now.type == kMixedKind ? now.kind : builder_.whole(now.type);
        builder_.store(Op::StoreWord, kind, at(&variable.type));
    }
    Cell current = now;
    Cell entry = before;
    for (int which = 0; which < kParts; ++which)
        if (const Reg reg = partOf(current, which);
            reg != partOf(entry, which) && reg >= 0 &&
            !builder_.loads(reg, Op::LoadReal, at(partOf(variable, which))))
            builder_.store(Op::StoreReal, reg, at(partOf(variable, which)));
}

void Lowering::finish() {
    if (!state_.reached) refuse("a function that always leaves");
    if (undo_ != nullptr) builder_.store(Op::StoreWord, builder_.whole(0), at(&undo_->used));
    bool kindsChange = false;
    for (std::size_t i = 0; i < state_.slots.size(); ++i) storeSlot(i, kindsChange);
    builder_.control(Op::Done, kNoReg, at(std::int64_t{kindsChange}));
}

}  // namespace kestrel::fast
