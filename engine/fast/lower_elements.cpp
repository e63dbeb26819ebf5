// Lowering: elements of arrays of numbers or vectors, read and written.
//
// An element is written where it stands, since nobody knows which elements another index may mean: what was
// there goes into the undo log, which is taken back where the code leaves. Each array has epochs, which its
// changes divide; what was loaded in one is not found in another.
#include "engine/fast/lowering.h"
#include "engine/operations/increment.h"
#include "engine/values/limits.h"

namespace kestrel::fast {

namespace {

/// Something in the element whose index is 0, as far as it is not constant.
/// @param part  in the first element
Immediate placeOf(const void* part, const Builder::Offset& index) noexcept {
    Immediate place;
    place.address = const_cast<void*>(part);  // NOLINT: an array that is written is not const
    // It may lie before the first element, so it is no pointer yet.
    place.whole += (index.constant - 1) * static_cast<std::int64_t>(sizeof(ValueCell));
    return place;
}

}  // namespace

std::uint32_t& Lowering::epochOf(const ArrayRecord& array) {
    return epochs_.try_emplace(&array, newestEpoch_).first->second;
}

/// What has been loaded is not found any more: in a loop the code may come to be behind what it writes.
void Lowering::forgetElements() {
    ++newestEpoch_;
    epochs_.clear();
}

std::int32_t Lowering::kindOfElements(const ArrayRecord& array) {
    return assumptions_.elements(array, knowledge_.mixed.contains(&array));
}

/// A declaration keeps the array that it has made before.
void Lowering::declare(Variable& variable) {
    static_cast<void>(takeIndexes());
    const Cell held = slot(slotOf(variable));
    if (held.type != Array || held.object == nullptr) refuse("a declaration that makes an array");
    if (kindOfElements(*static_cast<const ArrayRecord*>(held.object)) == Uninitialized)
        refuse("an array that holds neither numbers nor vectors alone");
}

Lowering::ElementPlace Lowering::elementPlace(Variable& variable, const std::vector<Cell>& indexes) {
    const Cell held = slot(slotOf(variable));
    if (held.type != Array || held.object == nullptr) refuse("an index of something else than an array");
    const auto& array = *static_cast<const ArrayRecord*>(held.object);
    if (static_cast<std::size_t>(array.dimCount) != indexes.size()) refuse("a wrong number of indexes");
    const std::int32_t kind = kindOfElements(array);
    if (kind == Uninitialized) refuse("an array that holds neither numbers nor vectors alone");
    const auto require = [&](Op op, Reg a, Reg b) {
        builder_.guard(builder_.make(op, a, b), "an index out of range");
    };
    Reg position = kNoReg;
    for (std::size_t k = 0; k < indexes.size(); ++k) {
        const Reg index = builder_.toWhole(numberOf(indexes[k]));
        if (k == 0) {
            position = index;
            if (indexes.size() > 1) {
                require(Op::LessEqualWhole, index, builder_.whole(kMaxElements));
                require(Op::LessEqualWhole, builder_.whole(-kMaxElements), index);
            }
            continue;
        }
        const Reg size = builder_.whole(array.dims[k]);
        require(Op::LessEqualWhole, index, size);
        require(Op::LessEqualWhole, builder_.whole(-kMaxElements), index);
        const Reg rows =
            builder_.make(Op::MulWhole, builder_.make(Op::SubWhole, position, builder_.whole(1)), size);
        position = builder_.make(Op::AddWhole, rows, index);
        if (k + 1 < indexes.size()) {  // as far as the interpreter follows it
            require(Op::LessEqualWhole, position, builder_.whole(kMaxElements));
            require(Op::LessEqualWhole, builder_.whole(-kMaxElements), position);
        }
    }
    require(Op::LessEqualWhole, builder_.whole(1), position);
    require(Op::LessEqualWhole, position, builder_.whole(array.count()));
    return {&array, kind, builder_.offsetOf(position)};  // what is constant goes into the address
}

Cell Lowering::element(const ElementPlace& place) {
    const ValueCell& first = place.array->elements.front();
    const std::uint32_t epoch = epochOf(*place.array);
    const auto load = [&](const double& part) {
        return builder_.load(epoch, Op::LoadElement, place.index.base, placeOf(&part, place.index));
    };
    if (place.kind == Vector)
        return Cell::ofVector({load(first.vec.x), load(first.vec.y), load(first.vec.z)});
    Cell value = Cell::ofNumber(load(first.number));
    value.type = place.kind;
    if (place.kind != kMixedKind) return value;
    value.kind =
        builder_.load(epoch, Op::LoadElementKind, place.index.base, placeOf(&first.type, place.index));
    if (const auto known = builder_.wholeConstant(value.kind)) {  // it has been assigned just now
        value.type = static_cast<std::int32_t>(*known);
        value.kind = kNoReg;
    }
    return value;
}

void Lowering::assignElement(const ElementPlace& place, const Cell& value) {
    if ((place.kind == Vector) != (value.type == Vector) || (!value.isNumeric() && value.type != Vector))
        refuse("an element that becomes something else");
    if (place.kind != kMixedKind && place.kind != value.type) {
        knowledge_.mixed.insert(place.array);
        throw Restart{};
    }
    storeParts(place, value);
}

void Lowering::storeParts(const ElementPlace& place, const Cell& value) {
    if (undo_ == nullptr) undo_ = std::make_unique<UndoLog>();
    const ValueCell& first = place.array->elements.front();
    std::uint32_t& epoch = epochOf(*place.array);
    epoch = ++newestEpoch_;
    const auto store = [&](const double& part, Reg number) {
        builder_.change(epoch, Op::StoreElement, Op::LoadElement, place.index.base, number,
                        placeOf(&part, place.index));
    };
    if (place.kind == Vector) {
        store(first.vec.x, value.vec[0]);
        store(first.vec.y, value.vec[1]);
        store(first.vec.z, value.vec[2]);
        return;
    }
    store(first.number, numberOf(value));
    if (place.kind == kMixedKind)
        builder_.change(epoch, Op::StoreElementKind, Op::LoadElementKind, place.index.base,
                        value.type == kMixedKind ? value.kind : builder_.whole(value.type),
                        placeOf(&first.type, place.index));
}

/// `a = @x, y, z@` of a variable that holds an array.
void Lowering::assignList() {
    static_cast<void>(pop());
    std::vector<Cell> values;
    while (state_.stack.empty() || state_.stack.back().type != ListMark) values.push_back(popValue());
    static_cast<void>(pop());
    const Cell target = pop();
    if (target.type != VarRef) refuse("a list that is assigned to something else than a variable");
    const Cell held = slot(slotOf(*target.node->operand.variable));
    if (held.type != Array || held.object == nullptr) refuse("a list that becomes an array");
    const auto& array = *static_cast<const ArrayRecord*>(held.object);
    const std::int32_t kind = kindOfElements(array);
    if (kind == Uninitialized) refuse("an array that holds neither numbers nor vectors alone");
    if (static_cast<std::int64_t>(values.size()) > array.count()) refuse("more values than elements");
    std::int64_t position = 0;
    for (auto value = values.rbegin(); value != values.rend(); ++value)
        assignElement({&array, kind, {builder_.whole(++position), 0}}, *value);
    push(Cell::ofInteger(builder_.real(1.0)));
}

std::optional<Cell> Lowering::changeElement(const ElementPlace& place, std::int32_t op, const Cell& value) {
    const Cell held = element(place);
    if (!isIncrement(op)) {
        assignElement(place, combinedElement(held, plainOperator(op), value));
        return std::nullopt;
    }
    const Reg step = builder_.real(incrementStep(op));
    Cell changed = held;
    if (held.type == Vector)
        for (Reg& part : changed.vec) part = builder_.make(Op::Add, part, step);
    else
        changed.number = builder_.make(Op::Add, held.number, step);
    assignElement(place, changed);
    return isPostfix(op) ? held : changed;
}

/// Unlike a variable an element becomes a Number by any value but an Integer.
Cell Lowering::combinedElement(const Cell& held, std::int32_t op, Cell value) {
    if (held.type == Vector) {
        if (value.type != Vector || (op != OP_BITAND && op != OP_XOR)) return combine(op, held, value);
        Cell result = held;  // by component
        for (std::size_t i = 0; i < 3; ++i) result.vec[i] = bits(op, held.vec[i], value.vec[i]);
        return result;
    }
    Cell current = held;
    if (value.type != Number) {
        settleKind(current);
        if (current.type == Integer) settleKind(value);
    }
    if (current.type != Integer || value.type != Integer)
        return Cell::ofNumber(plainNumbers(op, current.number, numberOf(value)));
    const auto whole = [this](Reg reg) { return builder_.make(Op::Truncate, reg); };
    return Cell::ofInteger(whole(plainNumbers(op, whole(current.number), whole(value.number))));
}

}  // namespace kestrel::fast
