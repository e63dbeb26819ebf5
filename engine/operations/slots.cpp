#include "engine/operations/slots.h"

#include "engine/context/script_queues.h"
#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/increment.h"
#include "engine/operations/operators.h"

#include <cstring>
#include <optional>

namespace kestrel {

namespace {

/// Where a value lies: a variable of a queue, or an element of an array in one.
struct Slot {
    const CodeNode& node;
    std::int64_t element = 0;
};

bool checkFits(EngineContext& ctx, const Slot& slot, const ValueCell& value) {
    if (fitsQueue(value.type)) return true;
    ctx.report(MessageId::QueueValueType, targetVariable(slot.node).name);
    return false;
}

void store(EngineContext& ctx, const Slot& slot, const ValueCell& value) {
    if (ctx.queues != nullptr) ctx.queues->write(slot.node.slot, slot.element, value);
}

ValueCell fetch(EngineContext& ctx, const Slot& slot) {
    return ctx.queues != nullptr ? ctx.queues->read(slot.node.slot, slot.element) : ValueCell::ofNil();
}

/// The variable that the script itself has bound to the queue; null for one that is only named (queue$name).
Variable* boundVariable(const CodeNode& node) noexcept {
    Variable& variable = targetVariable(node);
    return variable.queue == node.slot ? &variable : nullptr;
}

/// Elements of the array that the node names: 0 for a plain variable, -1 when that is not known here.
std::int64_t elementCount(const EngineContext& ctx, const CodeNode& node) {
    return ctx.queues != nullptr ? ctx.queues->elements(node.slot) : -1;
}

/// The one index of a list. @return nothing after reporting
std::optional<std::int64_t> onlyIndex(EngineContext& ctx, const Variable& variable, const IndexList& list) {
    if (list.count == 1) return indexAt(ctx, variable, list, 0);
    ctx.report(MessageId::DimensionCount, list.count, variable.name, 1);
    return std::nullopt;
}

/// The element that the index list on top of the stack names; the list is dropped.
/// @return nothing after reporting
std::optional<Slot> takeElement(EngineContext& ctx, const CodeNode& node) {
    const Variable& variable = targetVariable(node);
    const IndexList list = indexListBelow(ctx, ctx.stack.size());
    const std::optional<std::int64_t> index = onlyIndex(ctx, variable, list);
    if (!index) return std::nullopt;
    const std::int64_t count = elementCount(ctx, node);
    if (*index < 1 || (count >= 0 && *index > count)) {
        ctx.report(MessageId::IndexRange, *index, variable.name,
                   count >= 0 ? "[" + std::to_string(count) + "]" : "");
        return std::nullopt;
    }
    ctx.stack.dropTo(list.first);
    return Slot{node, *index};
}

/// Applies a change until nobody else's value came between.
/// @param apply  changes a copy that owns its text; false: nothing is to be written
template <class Apply>
void change(EngineContext& ctx, const Slot& slot, const Apply& apply) {
    for (bool done = false; !done;) {
        const ValueCell old = fetch(ctx, slot);
        ValueCell value = ValueCell::ofNil();
        storeValue(ctx, value, old);
        const bool wanted = apply(value) && !ctx.run.abort;
        done = !wanted || ctx.queues == nullptr ||
               ctx.queues->writeIfStill(slot.node.slot, slot.element, old, value);
        if (done && wanted) {
            if (Variable* variable = boundVariable(slot.node); variable != nullptr && slot.element == 0)
                assignVariable(ctx, *variable, value);
        }
        clearElement(ctx, value);
        ctx.stack.release(old);
        if (ctx.endRequested()) return;
    }
}

void combineAt(EngineContext& ctx, const Slot& slot, std::int32_t op, const ValueCell& value) {
    change(ctx, slot, [&](ValueCell& current) { return combineInto(ctx, op, current, value); });
}

void incrementAt(EngineContext& ctx, const Slot& slot, std::int32_t op) {
    ValueCell result;
    bool counted = false;
    change(ctx, slot, [&](ValueCell& current) {
        const ValueCell old = current;
        counted = countUp(current, incrementStep(op));
        result = isPostfix(op) ? old : current;
        return counted;
    });
    if (counted)
        ctx.stack.push(result);
    else
        ctx.report(MessageId::CannotCount, targetVariable(slot.node).name);
}

void invalidElement(EngineContext& ctx, const Variable& variable, std::int64_t index, std::int64_t count) {
    ctx.report(MessageId::AssignedIndexRange, index, variable.ownerName(), variable.name, count);
}

}  // namespace

void readSlot(EngineContext& ctx, const CodeNode& node) {
    ctx.stack.push(fetch(ctx, {node}));
}

void readSlotElement(EngineContext& ctx, const CodeNode& node) {
    if (const std::optional<Slot> slot = takeElement(ctx, node)) ctx.stack.push(fetch(ctx, *slot));
}

void assignSlot(EngineContext& ctx, const CodeNode& node, const ValueCell& value) {
    const Slot slot{node};
    if (!checkFits(ctx, slot, value)) return;
    if (elementCount(ctx, node) > 0) {  // an array without an index
        ctx.report(MessageId::AssignmentType);
        return;
    }
    if (Variable* variable = boundVariable(node)) assignVariable(ctx, *variable, value);
    store(ctx, slot, value);
}

void assignSlotElement(EngineContext& ctx, const CodeNode& node, int reference, const ValueCell& value) {
    const Variable& variable = targetVariable(node);
    const std::optional<std::int64_t> index = onlyIndex(ctx, variable, indexListBelow(ctx, reference));
    if (!index || !checkFits(ctx, {node}, value)) return;
    const std::int64_t count = elementCount(ctx, node);
    if (*index == -1 && count > 0) {
        for (std::int64_t k = 1; k <= count; ++k) store(ctx, {node, k}, value);
    } else if (*index < 1 || (count >= 0 && *index > count)) {
        invalidElement(ctx, variable, *index, std::max<std::int64_t>(count, 0));
    } else {
        store(ctx, {node, *index}, value);
    }
}

bool distributeToSlots(EngineContext& ctx, const CodeNode& node, int first, int count) {
    const std::int64_t elements = elementCount(ctx, node);
    if (elements < 1) return false;
    if (count > elements) {
        ctx.report(MessageId::MoreValuesThanElements, count, targetVariable(node).name, elements);
        count = static_cast<int>(elements);
    }
    for (int i = 0; i < count; ++i) {
        const Slot slot{node, i + 1};
        if (!checkFits(ctx, slot, ctx.stack.at(first + i))) return true;
        store(ctx, slot, ctx.stack.at(first + i));
    }
    return true;
}

void combineSlot(EngineContext& ctx, const CodeNode& node, std::int32_t op, const ValueCell& value) {
    combineAt(ctx, {node}, op, value);
}

void combineSlotElement(EngineContext& ctx, const CodeNode& node, std::int32_t op, const ValueCell& value) {
    if (const std::optional<Slot> slot = takeElement(ctx, node)) combineAt(ctx, *slot, op, value);
}

void incrementSlot(EngineContext& ctx, const CodeNode& node, std::int32_t op) {
    incrementAt(ctx, {node}, op);
}

void incrementSlotElement(EngineContext& ctx, const CodeNode& node, std::int32_t op) {
    if (const std::optional<Slot> slot = takeElement(ctx, node)) incrementAt(ctx, *slot, op);
}

void FreshVariable::refresh() {
    if (ctx_.queues == nullptr || ctx_.queues->elements(variable_.queue) != 0) return;
    const ValueCell value = ctx_.queues->read(variable_.queue, 0);
    assignVariable(ctx_, variable_, value);
    ctx_.stack.release(value);
    before_ = variableCell(variable_);
}

void FreshVariable::writeBack() {
    if (ctx_.queues == nullptr || ctx_.queues->elements(variable_.queue) != 0) return;
    const ValueCell after = variableCell(variable_);
    const bool same = after.type == before_.type &&
                      std::memcmp(&after.payload, &before_.payload, sizeof after.payload) == 0;
    if (same) return;
    if (fitsQueue(after.type))
        ctx_.queues->write(variable_.queue, 0, after);
    else
        ctx_.report(MessageId::QueueValueType, variable_.name);
}

}  // namespace kestrel
