#include "engine/operations/slots.h"

#include "engine/context/script_queues.h"
#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/increment.h"
#include "engine/operations/operators.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <string>

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
    if (ctx.queues != nullptr) ctx.queues->write(slot.node.queueVariable, slot.element, value);
}

/// @return false when there is no such variable; the value is Nil then
bool fetch(EngineContext& ctx, const Slot& slot, ValueCell& value) {
    value = ValueCell::ofNil();
    return ctx.queues != nullptr && ctx.queues->read(slot.node.queueVariable, slot.element, value);
}

void pushValue(EngineContext& ctx, const Slot& slot) {
    ValueCell value;
    fetch(ctx, slot, value);
    ctx.stack.push(value);
}

/// The variable that the script itself has bound to the queue; null for one that is only named (queue$name).
Variable* boundVariable(const CodeNode& node) noexcept {
    Variable& variable = targetVariable(node);
    return variable.queue == node.queueVariable ? &variable : nullptr;
}

/// Elements of the array that the node names: 0 for a plain variable, -1 when that is not known here.
std::int64_t elementCount(const EngineContext& ctx, const CodeNode& node) {
    return ctx.queues != nullptr ? ctx.queues->elements(node.queueVariable) : -1;
}

/// The one index of a list. @return nothing after reporting
std::optional<std::int64_t> onlyIndex(EngineContext& ctx, const Variable& variable, const IndexList& list,
                                      MessageTaking<NumberArg, TextArg, NumberArg> wrongCount) {
    if (!requireList(ctx, list)) return std::nullopt;
    if (list.count == 1) return indexAt(ctx, variable, list, 0);
    ctx.report(wrongCount, list.count, variable.name, 1);
    return std::nullopt;
}

/// The element that the index list on top of the stack names; the list is dropped.
/// @return nothing after reporting
std::optional<Slot> takeElement(EngineContext& ctx, const CodeNode& node,
                                MessageTaking<NumberArg, TextArg, NumberArg> wrongCount) {
    const Variable& variable = targetVariable(node);
    const IndexList list = indexListBelow(ctx, ctx.stack.size());
    const std::optional<std::int64_t> index = onlyIndex(ctx, variable, list, wrongCount);
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

enum class Change {
    Done,
    Refused,   ///< `apply` has
    NoEffect,  ///< there is no such variable, or the run is to end
};

/// Applies a change until nobody else's value came between.
/// @param apply  changes a copy that owns its text; false: nothing is to be written
template <class Apply>
Change change(EngineContext& ctx, const Slot& slot, const Apply& apply) {
    while (!ctx.endRequested()) {
        ValueCell old;
        if (!fetch(ctx, slot, old)) return Change::NoEffect;
        ValueCell value = ValueCell::ofNil();
        storeValue(ctx, value, old);
        const bool wanted = apply(value) && !ctx.run.abort;
        const bool done =
            !wanted || ctx.queues->writeIfStill(slot.node.queueVariable, slot.element, old, value);
        if (done && wanted && slot.element == 0)
            if (Variable* variable = boundVariable(slot.node)) assignVariable(ctx, *variable, value);
        clearElement(ctx, value);
        ctx.stack.release(old);
        if (done) return wanted ? Change::Done : Change::Refused;
    }
    return Change::NoEffect;
}

/// As if the value lay in a variable of the script.
bool combineAsVariable(EngineContext& ctx, const Slot& slot, std::int32_t op, ValueCell& current,
                       const ValueCell& value) {
    Variable scratch;
    scratch.name = targetVariable(slot.node).name;
    assignVariable(ctx, scratch, current);
    combineVariable(ctx, op, scratch, value);
    storeValue(ctx, current, variableCell(scratch));
    releaseVariableValue(ctx, scratch);
    return true;
}

void increment(EngineContext& ctx, const Slot& slot, std::int32_t op) {
    ValueCell result = ValueCell::ofNil();
    const Change outcome = change(ctx, slot, [&](ValueCell& current) {
        const ValueCell old = current;
        if (!countUp(current, incrementStep(op))) return false;
        result = isPostfix(op) ? old : current;
        return true;
    });
    const char* name = targetVariable(slot.node).name;
    if (outcome != Change::Refused)
        ctx.stack.push(result);
    else if (slot.element > 0)
        ctx.report(MessageId::CannotCountElement, name, slot.element);
    else
        ctx.report(MessageId::CannotCount, name);
}

void invalidElement(EngineContext& ctx, const Variable& variable, std::int64_t index, std::int64_t count) {
    ctx.report(MessageId::AssignedIndexRange, index, variable.ownerName(), variable.name, count);
}

}  // namespace

void readSlot(EngineContext& ctx, const CodeNode& node) {
    Variable* variable = elementCount(ctx, node) > 0 ? boundVariable(node) : nullptr;
    if (variable == nullptr) return pushValue(ctx, {node});
    const FreshVariable fresh(ctx, *variable);
    ctx.stack.push(variableCell(*variable));
}

void readSlotElement(EngineContext& ctx, const CodeNode& node) {
    if (const std::optional<Slot> slot = takeElement(ctx, node, MessageId::ReadDimensionCount))
        pushValue(ctx, *slot);
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
    const std::optional<std::int64_t> index =
        onlyIndex(ctx, variable, indexListBelow(ctx, reference), MessageId::DimensionCount);
    if (!index || !checkFits(ctx, {node}, value)) return;
    const bool every = *index == -1;
    const std::int64_t count = every && ctx.queues != nullptr ? ctx.queues->lookUpElements(node.queueVariable)
                                                              : elementCount(ctx, node);
    if (every && count != 0) {
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
    const Slot slot{node};
    change(ctx, slot, [&](ValueCell& current) { return combineAsVariable(ctx, slot, op, current, value); });
}

void combineSlotElement(EngineContext& ctx, const CodeNode& node, std::int32_t op, const ValueCell& value) {
    if (const std::optional<Slot> slot = takeElement(ctx, node, MessageId::DimensionCount))
        change(ctx, *slot, [&](ValueCell& current) { return combineInto(ctx, op, current, value); });
}

void incrementSlot(EngineContext& ctx, const CodeNode& node, std::int32_t op) {
    increment(ctx, {node}, op);
}

void incrementSlotElement(EngineContext& ctx, const CodeNode& node, std::int32_t op) {
    if (const std::optional<Slot> slot = takeElement(ctx, node, MessageId::DimensionCount))
        increment(ctx, *slot, op);
}

bool refusesElements(EngineContext& ctx, const Variable& variable) {
    if (variable.queue == 0 || variable.holdsText()) return false;
    ctx.report(MessageId::QueueValueType, variable.name);
    return true;
}

void FreshVariable::refresh() {
    if (ctx_.queues == nullptr) return;
    ScriptQueues& queues = *ctx_.queues;
    const std::int64_t count = queues.elements(variable_.queue);
    if (count > 0) return refreshArray(count);
    ValueCell value;
    if (!queues.read(variable_.queue, 0, value)) return;
    assignVariable(ctx_, variable_, value);
    ctx_.stack.release(value);
    before_ = variableCell(variable_);
}

void FreshVariable::refreshArray(std::int64_t count) {
    ArrayRecord* array = variable_.heldArray();
    if (array == nullptr || array->count() != count) {
        array = makeArray(ctx_, {&count, 1}, Nil);
        if (array == nullptr) return;
        variable_.type = Array;
        variable_.object = array;
    }
    for (std::int64_t k = 1; k <= count; ++k) {
        ValueCell value;
        ctx_.queues->read(variable_.queue, k, value);
        storeValue(ctx_, array->elements[static_cast<std::size_t>(k - 1)], value);
        ctx_.stack.release(value);
    }
}

void FreshVariable::writeBack() noexcept {
    try {
        const ValueCell after = variableCell(variable_);
        if (sameValue(after, *before_)) return;
        if (fitsQueue(after.type))
            ctx_.queues->write(variable_.queue, 0, after);
        else
            ctx_.report(MessageId::QueueValueType, variable_.name);
    } catch (const std::bad_alloc&) {
        ctx_.run.abort = true;
    }
}

}  // namespace kestrel
