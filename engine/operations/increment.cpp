#include "engine/operations/increment.h"

#include "engine/operations/arrays.h"

namespace kestrel {

namespace {

/// The value that "++" or "--" leaves on the stack and the change it makes.
struct Step {
    double delta;
    bool postfix;
};

Step stepOf(std::int32_t op) noexcept {
    return {incrementStep(op), isPostfix(op)};
}

void addStep(VectorValue& v, double delta) noexcept {
    v.x += delta;
    v.y += delta;
    v.z += delta;
}

}  // namespace

void incrementVariable(EngineContext& ctx, const CodeNode& naming, std::int32_t op) {
    const Step step = stepOf(op);
    Variable& variable = targetVariable(naming);
    if (variable.type == Number || variable.type == Integer) {
        const double old = variable.number;
        variable.number += step.delta;
        ValueCell cell = ValueCell::ofNumber(step.postfix ? old : variable.number);
        cell.type = variable.type;
        ctx.stack.push(cell);
    } else if (variable.type == Vector) {
        const VectorValue old = variable.vec;
        addStep(variable.vec, step.delta);
        ctx.stack.push(ValueCell::ofVector(step.postfix ? old : variable.vec));
    } else if (variable.type == Uninitialized || (variable.type == Array && variable.array() == nullptr)) {
        ctx.reportAt({.line = naming.line}, MessageId::CountedNeverSet, variable.name);
    } else {
        ctx.report(MessageId::CannotCount, variable.name);
    }
}

void incrementElement(EngineContext& ctx, const CodeNode& naming, std::int32_t op) {
    Variable& variable = targetVariable(naming);
    ArrayRecord* array = variable.array();
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

bool incrementStored(EngineContext& ctx, std::int32_t op, ValueCell& slot) {
    const Step step = stepOf(op);
    const ValueCell old = slot;
    if (slot.isNumeric())
        slot.payload.number += step.delta;
    else if (slot.type == Vector)
        addStep(slot.payload.vec, step.delta);
    else
        return false;
    ctx.stack.push(step.postfix ? old : slot);
    return true;
}

}  // namespace kestrel
