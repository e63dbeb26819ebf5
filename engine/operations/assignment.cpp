#include "engine/operations/assignment.h"

#include "engine/context/kind_table.h"
#include "engine/operations/arrays.h"
#include "engine/operations/members.h"
#include "engine/operations/slots.h"
#include "engine/operations/storage.h"
#include "engine/values/record_instance.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

namespace {

void illegalType(EngineContext& ctx) {
    ctx.report(MessageId::AssignmentType);
}

/// True when an element of `variable` may hold the value; reports otherwise.
bool checkElementValue(EngineContext& ctx, const Variable& variable, const ValueCell& value) {
    if (value.type == ArrayRef || value.type == NewArray) {
        ctx.report(MessageId::ArrayIntoElement, variable.name);
        return false;
    }
    const std::string_view internalName =
        isObjectKind(value.type) ? ctx.kinds().of(value.type).internalName(value.type) : "";
    if (!internalName.empty()) {
        ctx.report(MessageId::InternalObject, internalName, variable.ownerName(), variable.name);
        return false;
    }
    if (value.type == VarRef || isStorable(value.type)) return true;
    illegalType(ctx);
    return false;
}

// ---- characters of a text ----

void storeCharacter(EngineContext& ctx, Variable& variable, const IndexList& list, const ValueCell& value) {
    const char* owner = variable.ownerName();
    if (!value.isText()) {
        ctx.report(MessageId::CharacterType, owner, variable.name);
        return;
    }
    if (std::strlen(value.text) != 1) {
        ctx.report(MessageId::CharacterLength, owner, variable.name);
        return;
    }
    if (list.count != 1) {
        ctx.report(MessageId::CharacterDimensions, list.count, owner, variable.name);
        return;
    }
    const std::optional<std::int64_t> index = indexAt(ctx, variable, list, 0);
    if (!index) return;
    if (*index == -1) {
        ctx.report(MessageId::CharacterFill, owner, variable.name);
        return;
    }
    std::string text = variable.text;
    if (*index < 1 || *index > static_cast<std::int64_t>(text.size())) {
        ctx.report(MessageId::AssignedCharacterRange, *index, owner, variable.name);
        return;
    }
    // A new copy: cells on the stack may still borrow the old text.
    text[static_cast<std::size_t>(*index - 1)] = value.text[0];
    storeText(ctx, variable, text);
}

// ---- elements ----

/// @return null after reporting that there is no memory
ArrayRecord* giveArray(EngineContext& ctx, Variable& variable, std::int64_t count) {
    ArrayRecord* array = makeArray(ctx, {&count, 1}, Nil);
    if (array != nullptr) holdArray(ctx, variable, array);
    return array;
}

/// Makes an array of a variable that is none yet, as LAX mode does on the first assignment to an element.
ArrayRecord* createOnTheFly(EngineContext& ctx, Variable& variable, const IndexList& list) {
    if (ctx.options.strict) {
        ctx.report(MessageId::ArrayNotDeclared, variable.ownerName(), variable.name);
        return nullptr;
    }
    if (list.count != 1) {
        ctx.report(MessageId::DimensionsUndeclared);
        return nullptr;
    }
    const std::optional<std::int64_t> index = indexAt(ctx, variable, list, 0);
    if (!index) return nullptr;
    if (*index == -1) {
        ctx.report(MessageId::FillWithoutArray);
        return nullptr;
    }
    if (*index < 1) {
        reportAssignedIndex(ctx, variable, *index, 0);
        return nullptr;
    }
    return giveArray(ctx, variable, *index);
}

constexpr std::int64_t kEveryElement = -2;

/// 0-based position of the element, after growing the array where that is allowed; -1 after reporting;
/// kEveryElement for the single index -1.
std::int64_t assignedElement(EngineContext& ctx, ArrayRecord& array, Variable& variable,
                             const IndexList& list) {
    if (list.count == 1) {
        const ValueCell& index = list.cells.back();
        if (index.isNumeric() && truncate(index.number) == -1) return kEveryElement;
    }
    if (list.count != array.dimCount) {
        ctx.report(MessageId::DimensionCount, list.count, variable.name, array.dimCount);
        return -1;
    }
    const std::optional<std::int64_t> position = linearPosition(ctx, array, variable, list);
    if (!position) return -1;
    if (*position >= 1 && *position <= array.count()) return *position - 1;
    const bool grows = !ctx.options.strict && array.dimCount == 1 && *position >= 1;
    if (!grows) {
        reportAssignedIndex(ctx, variable, *position, array.count());
        return -1;
    }
    return resizeArray(ctx, array, *position) ? *position - 1 : -1;
}

void storeElement(EngineContext& ctx, Variable& variable, const IndexList& list, const ValueCell& value) {
    if (variable.heldArray() == nullptr && variable.holdsText()) {
        storeCharacter(ctx, variable, list, value);
        return;
    }
    if (!checkElementValue(ctx, variable, value)) return;
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) array = createOnTheFly(ctx, variable, list);
    if (array == nullptr) return;
    const std::int64_t index = assignedElement(ctx, *array, variable, list);
    if (index == kEveryElement) {
        for (ValueCell& element : array->elements) store(ctx, element, value);
    } else if (index >= 0) {
        store(ctx, array->elements[static_cast<std::size_t>(index)], value);
    }
}

// ---- several values ----

/// True when the value can become an element of a list; reports otherwise.
bool checkInitializer(EngineContext& ctx, const Variable& variable, const ValueCell& value) {
    if (value.type == ArrayRef || value.type == NewArray) {
        ctx.report(MessageId::ListWithArray);
        return false;
    }
    std::string_view label;
    std::string_view name;
    if (isObjectKind(value.type) &&
        ctx.kinds().of(value.type).refusedInLists(value.object, variable, label, name)) {
        ctx.report(MessageId::ListWithObject, label, name);
        return false;
    }
    return checkElementValue(ctx, variable, value);
}

void distributeToParts(EngineContext& ctx, std::span<RecordMember> parts, std::span<const ValueCell> values) {
    for (std::size_t i = 0; i < std::min(values.size(), parts.size()); ++i) {
        if (!isStorable(values[i].type)) return ctx.report(MessageId::RecordMemberType);
        store(ctx, parts[i].value, values[i]);
    }
}

/// Makes the array where there is none.
void distributeToArray(EngineContext& ctx, Variable& variable, std::span<const ValueCell> values) {
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) {
        if (ctx.options.strict) {
            ctx.report(MessageId::ArrayNotDeclared, variable.ownerName(), variable.name);
            return;
        }
        array = giveArray(ctx, variable, static_cast<std::int64_t>(values.size()));
        if (array == nullptr) return;
    }
    if (static_cast<std::int64_t>(values.size()) > array->count()) {
        ctx.report(MessageId::MoreValuesThanElements, static_cast<std::int64_t>(values.size()), variable.name,
                   array->count());
        values = values.first(static_cast<std::size_t>(array->count()));
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!checkInitializer(ctx, variable, values[i])) return;
        store(ctx, array->elements[i], values[i]);
    }
}

/// To the parts of an object that consists of values, else to the elements.
void distributeToVariable(EngineContext& ctx, Variable& variable, std::span<const ValueCell> values) {
    std::optional<std::span<RecordMember>> parts;
    if (isObjectKind(variable.type)) parts = ctx.kinds().of(variable.type).parts(variable.object);
    if (parts)
        distributeToParts(ctx, *parts, values);
    else
        distributeToArray(ctx, variable, values);
}

}  // namespace

void assignVariable(EngineContext& ctx, Variable& variable, const ValueCell& value) {
    if (areInline(variable, value) && value.type != Uninitialized) [[likely]]
        return setInline(variable, value);
    const bool isArray = value.type == ArrayRef || value.type == NewArray;
    const ArrayRecord* const own = variable.heldArray();
    if (!isArray && own != nullptr)
        ctx.report(MessageId::ArrayOverwritten, variable.ownerName(), variable.name);
    if (value.type == ArrayRef && own != nullptr && own->count() != value.array->count()) {
        const Variable& source = *value.named;
        ctx.report(MessageId::ArraySizesDiffer, source.ownerName(), source.name, value.array->count(),
                   variable.ownerName(), variable.name, own->count());
    }
    if (isArray) {
        holdArray(ctx, variable, value.array);
    } else if (isObjectKind(value.type)) {
        ObjectKind& kind = ctx.kinds().of(value.type);
        void* const object = kind.assigned(ctx, value.object);
        kind.named(object, variable);
        holdObject(ctx, variable, value.type, object);
    } else if (isStorable(value.type)) {
        store(ctx, variable, value);
    } else {
        illegalType(ctx);
    }
}

bool assignFromOutside(EngineContext& ctx, Variable& variable, const ValueCell& value) {
    ctx.gate.shut();
    if (value.isText()) return storeText(ctx, variable, value.text != nullptr ? value.text : "");
    if (variable.type == Array) {
        variable.type = Uninitialized;
        variable.object = nullptr;
    }
    assignVariable(ctx, variable, value);
    return true;
}

void assignPlace(EngineContext& ctx, const Place& place, const ValueCell& value, int position) {
    ValueCell nothing;  // "=" leaves no value of its own
    switch (place.kind) {
        case Place::Kind::Variable:
            return assignVariable(ctx, *place.variable, value);
        case Place::Kind::Element: {
            const FreshVariable fresh(ctx, *place.variable);
            if (!refusesElements(ctx, *place.variable))
                storeElement(ctx, *place.variable, place.indexes, value);
            return;
        }
        case Place::Kind::Slot:
            return assignSlot(ctx, place, value);
        case Place::Kind::SlotElement:
            return assignSlotElement(ctx, place, value);
        case Place::Kind::Field:
            if (position > 0 && !isStorable(value.type))
                ctx.report(MessageId::RecordMemberOfList, position);
            else
                writeMember(ctx, place, value, OP_ASSIGN, nothing);
            return;
        case Place::Kind::Member:
        case Place::Kind::IndexedMember:
            writeMember(ctx, place, value, OP_ASSIGN, nothing);
            return;
    }
}

void distributeToPlace(EngineContext& ctx, const Place& place, std::span<const ValueCell> values,
                       Several from) {
    switch (place.kind) {
        case Place::Kind::Variable:
            return from == Several::List ? distributeToVariable(ctx, *place.variable, values)
                                         : distributeToArray(ctx, *place.variable, values);
        case Place::Kind::Element:
            // Several returned values fill the array that the reference names, also where it names an
            // element.
            if (from == Several::Returned) return distributeToArray(ctx, *place.variable, values);
            break;
        case Place::Kind::Slot:
            if (distributeToSlots(ctx, place, values)) return;
            break;
        case Place::Kind::SlotElement:
            if (from == Several::Returned && distributeToSlots(ctx, place, values)) return;
            break;
        case Place::Kind::Field:
            return ctx.report(MessageId::RecordMemberType);
        case Place::Kind::Member:
        case Place::Kind::IndexedMember:
            break;
    }
    ctx.report(MessageId::AssignmentType);
}

}  // namespace kestrel
