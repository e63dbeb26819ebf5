#include "engine/operations/increment.h"

#include "engine/operations/arrays.h"
#include "engine/operations/members.h"
#include "engine/operations/slots.h"
#include "engine/operations/storage.h"

namespace kestrel {

namespace {

bool incrementVariable(EngineContext& ctx, const Place& place, std::int32_t op, ValueCell& out) {
    Variable& variable = *place.variable;
    if (incrementStored(op, variable, out)) return true;
    if (variable.type == Uninitialized || (variable.type == Array && variable.array == nullptr))
        ctx.reportAt({.line = place.line}, MessageId::CountedNeverSet, variable.name);
    else
        ctx.report(MessageId::CannotCount, variable.name);
    return false;
}

bool incrementElement(EngineContext& ctx, const Place& place, std::int32_t op, ValueCell& out) {
    Variable& variable = *place.variable;
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) {
        ctx.report(MessageId::UndeclaredArray, variable.name);
        return false;
    }
    const std::int64_t index = elementIndex(ctx, *array, variable, place.indexes);
    if (index < 0) return false;
    ValueCell& element = array->elements[static_cast<std::size_t>(index)];
    if (element.type == Uninitialized) {
        ctx.report(MessageId::ElementNeverSet, variable.name, index + 1);
        return false;
    }
    if (incrementStored(op, element, out)) return true;
    ctx.report(MessageId::CannotCountElement, variable.name, index + 1);
    return false;
}

}  // namespace

bool incrementPlace(EngineContext& ctx, const Place& place, std::int32_t op, ValueCell& out) {
    switch (place.kind) {
        case Place::Kind::Variable:
            return incrementVariable(ctx, place, op, out);
        case Place::Kind::Element:
            return incrementElement(ctx, place, op, out);
        case Place::Kind::Slot:
        case Place::Kind::SlotElement:
            return incrementSlot(ctx, place, op, out);
        case Place::Kind::Member:
        case Place::Kind::IndexedMember:
        case Place::Kind::Field:
            return writeMember(ctx, place, ValueCell::ofInteger(1), op, out);
    }
    return false;
}

bool countUp(ValueCell& value, double step) noexcept {
    if (value.isNumeric()) {
        value.number += step;
    } else if (value.type == Vector) {
        value.vec.x += step;
        value.vec.y += step;
        value.vec.z += step;
    } else {
        return false;
    }
    return true;
}

bool incrementStored(std::int32_t op, ValueCell& stored, ValueCell& out) {
    const ValueCell old = load(stored);
    if (!countUp(stored, incrementStep(op))) return false;
    out = isPostfix(op) ? old : load(stored);
    return true;
}

}  // namespace kestrel
