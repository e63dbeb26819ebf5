#include "engine/operations/slots.h"

#include "engine/context/script_queues.h"
#include "engine/operations/assignment.h"
#include "engine/operations/compound.h"
#include "engine/operations/increment.h"
#include "engine/operations/storage.h"

#include <algorithm>
#include <new>
#include <optional>
#include <string>

namespace kestrel {

namespace {

/// Where a value lies: a variable of a queue, or an element of an array in one.
struct Slot {
    const Place& place;
    std::int64_t element = 0;
};

bool checkFits(EngineContext& ctx, const Place& place, const ValueCell& value) {
    if (fitsQueue(value.type)) return true;
    ctx.report(MessageId::QueueValueType, place.variable->name);
    return false;
}

void write(EngineContext& ctx, const Slot& slot, const ValueCell& value) {
    if (ctx.queues != nullptr) ctx.queues->write(slot.place.queue, slot.element, value);
}

/// @return false when there is no such variable; the value is Nil then
bool fetch(EngineContext& ctx, const Slot& slot, ValueCell& value) {
    value = ValueCell::ofNil();
    return ctx.queues != nullptr && ctx.queues->read(slot.place.queue, slot.element, value);
}

/// The variable that the script itself has bound to the queue; null for one that is only named (queue$name).
Variable* boundVariable(const Place& place) noexcept {
    return place.variable->queue == place.queue ? place.variable : nullptr;
}

/// Elements of the array that the place names: 0 for a plain variable, -1 when that is not known here.
std::int64_t elementCount(const EngineContext& ctx, const Place& place) {
    return ctx.queues != nullptr ? ctx.queues->elements(place.queue) : -1;
}

/// The one index of a list. @return nothing after reporting
std::optional<std::int64_t> onlyIndex(EngineContext& ctx, const Place& place,
                                      MessageTaking<NumberArg, TextArg, NumberArg> wrongCount) {
    if (!requireList(ctx, place.indexes)) return std::nullopt;
    if (place.indexes.count == 1) return indexAt(ctx, *place.variable, place.indexes, 0);
    ctx.report(wrongCount, place.indexes.count, place.variable->name, 1);
    return std::nullopt;
}

/// What the place names, with its element where that is one. @return nothing after reporting
std::optional<Slot> slotOf(EngineContext& ctx, const Place& place,
                           MessageTaking<NumberArg, TextArg, NumberArg> wrongCount) {
    if (place.kind == Place::Kind::Slot) return Slot{place};
    const std::optional<std::int64_t> index = onlyIndex(ctx, place, wrongCount);
    if (!index) return std::nullopt;
    const std::int64_t count = elementCount(ctx, place);
    if (*index < 1 || (count >= 0 && *index > count)) {
        ctx.report(MessageId::IndexRange, *index, place.variable->name,
                   count >= 0 ? "[" + std::to_string(count) + "]" : "");
        return std::nullopt;
    }
    return Slot{place, *index};
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
        store(ctx, value, old);
        const bool wanted = apply(value) && !ctx.run.abort;
        const bool done = !wanted || ctx.queues->writeIfStill(slot.place.queue, slot.element, old, value);
        if (done && wanted && slot.element == 0)
            if (Variable* variable = boundVariable(slot.place)) assignVariable(ctx, *variable, value);
        clear(ctx, value);
        freeOwned(ctx.pool, old);
        if (done) return wanted ? Change::Done : Change::Refused;
    }
    return Change::NoEffect;
}

/// As if the value lay in a variable of the script.
bool combineAsVariable(EngineContext& ctx, const Place& place, std::int32_t code, ValueCell& current,
                       const ValueCell& value) {
    Variable scratch;
    scratch.name = place.variable->name;
    assignVariable(ctx, scratch, current);
    combineStored(ctx, code, scratch, value, Keeps::Kind);
    store(ctx, current, load(scratch));
    letGo(ctx, scratch);
    return true;
}

}  // namespace

Reading readSlot(EngineContext& ctx, const Place& place, ValueCell& out) {
    if (place.kind == Place::Kind::Slot) {
        Variable* variable = elementCount(ctx, place) > 0 ? boundVariable(place) : nullptr;
        if (variable != nullptr) {
            const FreshVariable fresh(ctx, *variable);
            out = load(*variable);
            return Reading::Value;
        }
    }
    const std::optional<Slot> slot = slotOf(ctx, place, MessageId::ReadDimensionCount);
    if (!slot) return Reading::Failed;
    static_cast<void>(fetch(ctx, *slot, out));
    return Reading::Value;
}

void assignSlot(EngineContext& ctx, const Place& place, const ValueCell& value) {
    if (!checkFits(ctx, place, value)) return;
    if (elementCount(ctx, place) > 0) {  // an array without an index
        ctx.report(MessageId::AssignmentType);
        return;
    }
    if (Variable* variable = boundVariable(place)) assignVariable(ctx, *variable, value);
    write(ctx, {place}, value);
}

void assignSlotElement(EngineContext& ctx, const Place& place, const ValueCell& value) {
    const std::optional<std::int64_t> index = onlyIndex(ctx, place, MessageId::DimensionCount);
    if (!index || !checkFits(ctx, place, value)) return;
    const bool every = *index == -1;
    const std::int64_t count =
        every && ctx.queues != nullptr ? ctx.queues->lookUpElements(place.queue) : elementCount(ctx, place);
    if (every && count != 0) {
        for (std::int64_t k = 1; k <= count; ++k) write(ctx, {place, k}, value);
    } else if (*index < 1 || (count >= 0 && *index > count)) {
        reportAssignedIndex(ctx, *place.variable, *index, std::max<std::int64_t>(count, 0));
    } else {
        write(ctx, {place, *index}, value);
    }
}

bool distributeToSlots(EngineContext& ctx, const Place& place, std::span<const ValueCell> values) {
    const std::int64_t elements = elementCount(ctx, place);
    if (elements < 1) return false;
    if (static_cast<std::int64_t>(values.size()) > elements) {
        ctx.report(MessageId::MoreValuesThanElements, static_cast<std::int64_t>(values.size()),
                   place.variable->name, elements);
        values = values.first(static_cast<std::size_t>(elements));
    }
    std::int64_t element = 0;
    for (const ValueCell& value : values) {
        if (!checkFits(ctx, place, value)) return true;
        write(ctx, {place, ++element}, value);
    }
    return true;
}

void combineSlot(EngineContext& ctx, const Place& place, std::int32_t code, const ValueCell& value) {
    const std::optional<Slot> slot = slotOf(ctx, place, MessageId::DimensionCount);
    if (!slot) return;
    const bool isElement = place.kind == Place::Kind::SlotElement;
    change(ctx, *slot, [&](ValueCell& current) {
        return isElement ? combineStored(ctx, code, current, value, Keeps::Nothing)
                         : combineAsVariable(ctx, place, code, current, value);
    });
}

bool incrementSlot(EngineContext& ctx, const Place& place, std::int32_t op, ValueCell& out) {
    const std::optional<Slot> slot = slotOf(ctx, place, MessageId::DimensionCount);
    if (!slot) return false;
    out = ValueCell::ofNil();
    const Change outcome =
        change(ctx, *slot, [&](ValueCell& current) { return incrementStored(op, current, out); });
    if (outcome != Change::Refused) return true;
    if (slot->element > 0)
        ctx.report(MessageId::CannotCountElement, place.variable->name, slot->element);
    else
        ctx.report(MessageId::CannotCount, place.variable->name);
    return false;
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
    freeOwned(ctx_.pool, value);
    before_ = load(variable_);
}

void FreshVariable::refreshArray(std::int64_t count) {
    ArrayRecord* array = variable_.heldArray();
    if (array == nullptr || array->count() != count) {
        array = makeArray(ctx_, {&count, 1}, Nil);
        if (array == nullptr) return;
        holdArray(ctx_, variable_, array);
    }
    for (std::int64_t k = 1; k <= count; ++k) {
        ValueCell value;
        ctx_.queues->read(variable_.queue, k, value);
        store(ctx_, array->elements[static_cast<std::size_t>(k - 1)], value);
        freeOwned(ctx_.pool, value);
    }
}

void FreshVariable::writeBack() noexcept {
    try {
        const ValueCell after = load(variable_);
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
