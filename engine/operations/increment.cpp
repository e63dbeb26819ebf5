#include "engine/operations/increment.h"

#include "engine/operations/arrays.h"
#include "engine/operations/slots.h"

namespace kestrel {

namespace {

void addStep(VectorValue& v, double delta) noexcept {
    v.x += delta;
    v.y += delta;
    v.z += delta;
}

}  // namespace

void incrementVariable(EngineContext& ctx, const CodeNode& naming, std::int32_t op) {
    const double step = incrementStep(op);
    Variable& variable = targetVariable(naming);
    if (variable.type == Number || variable.type == Integer) {
        const double old = variable.number;
        variable.number += step;
        ValueCell cell = ValueCell::ofNumber(isPostfix(op) ? old : variable.number);
        cell.type = variable.type;
        ctx.stack.push(cell);
    } else if (variable.type == Vector) {
        const VectorValue old = variable.vec;
        addStep(variable.vec, step);
        ctx.stack.push(ValueCell::ofVector(isPostfix(op) ? old : variable.vec));
    } else if (variable.type == Uninitialized || (variable.type == Array && variable.heldArray() == nullptr)) {
        ctx.reportAt({.line = naming.line}, MessageId::CountedNeverSet, variable.name);
    } else {
        ctx.report(MessageId::CannotCount, variable.name);
    }
}

void incrementElement(EngineContext& ctx, const CodeNode& naming, std::int32_t op) {
    Variable& variable = targetVariable(naming);
    if (naming.queueVariable != 0) {
        incrementSlotElement(ctx, naming, op);
        return;
    }
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) {
        ctx.report(MessageId::UndeclaredArray, variable.name);
        return;
    }
    const std::int64_t index = elementIndex(ctx, *array, naming);
    if (index < 0) return;
    ValueCell& element = array->elements[static_cast<std::size_t>(index)];
    if (element.type == Uninitialized) {
        ctx.report(MessageId::ElementNeverSet, variable.name, index + 1);
    } else if (!incrementStored(ctx, op, element)) {
        ctx.report(MessageId::CannotCountElement, variable.name, index + 1);
    }
}

bool countUp(ValueCell& value, double step) noexcept {
    if (value.isNumeric())
        value.number += step;
    else if (value.type == Vector)
        addStep(value.vec, step);
    else
        return false;
    return true;
}

bool incrementStored(EngineContext& ctx, std::int32_t op, ValueCell& slot) {
    const ValueCell old = slot;
    if (!countUp(slot, incrementStep(op))) return false;
    ctx.stack.push(isPostfix(op) ? old : slot);
    return true;
}

}  // namespace kestrel
