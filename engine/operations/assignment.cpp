#include "engine/operations/assignment.h"

#include "engine/context/kind_table.h"
#include "engine/operations/arrays.h"
#include "engine/operations/members.h"
#include "engine/operations/slots.h"
#include "engine/values/record_instance.h"

#include <algorithm>
#include <optional>

namespace kestrel {

namespace {

/// A run of cells on the stack: the values of a list or of a `return`.
struct CellRun {
    int first = 0;
    int count = 0;
};

/// References that cannot be values: where one is found instead of a value, the value is missing.
bool isBareReference(std::int32_t type) noexcept {
    return type == Array || type == MemberRef || type == IndexedMemberRef || type == RecordMemberRef ||
           type == BlockMark || type == IpcSlotRef;
}

void reportNoValue(EngineContext& ctx) {
    const char* owner = "";
    const char* name = "";
    if (ctx.stack.size() > ctx.base()) {
        const ValueCell& top = ctx.stack.top();
        if (top.type == VarRef || (isBareReference(top.type) && top.type != BlockMark)) {
            const Variable& variable = targetVariable(*top.node);
            owner = variable.ownerName();
            name = variable.name;
        }
    }
    ctx.report(MessageId::NoValueToAssign, owner, name);
}

void illegalType(EngineContext& ctx) {
    ctx.report(MessageId::AssignmentType);
}

void illegalMemberType(EngineContext& ctx) {
    ctx.report(MessageId::RecordMemberType);
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

/// An element, or a character, that the index list below its reference names.
struct ElementTarget {
    Variable& variable;
    IndexList list;
};

ElementTarget elementTarget(EngineContext& ctx, const CodeNode& node, int reference) {
    return {targetVariable(node), indexListBelow(ctx, reference)};
}

void storeCharacter(EngineContext& ctx, const ElementTarget& target, const ValueCell& value) {
    Variable& variable = target.variable;
    const char* owner = variable.ownerName();
    if (!value.isText()) {
        ctx.report(MessageId::CharacterType, owner, variable.name);
        return;
    }
    if (std::strlen(value.text) != 1) {
        ctx.report(MessageId::CharacterLength, owner, variable.name);
        return;
    }
    if (target.list.count != 1) {
        ctx.report(MessageId::CharacterDimensions, target.list.count, owner, variable.name);
        return;
    }
    const std::optional<std::int64_t> index = indexAt(ctx, variable, target.list, 0);
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
    setVariableText(ctx, variable, text);
}

// ---- elements ----

void invalidElement(EngineContext& ctx, const Variable& variable, std::int64_t index, std::int64_t count) {
    ctx.report(MessageId::AssignedIndexRange, index, variable.ownerName(), variable.name, count);
}

/// Makes an array of a variable that is none yet, as LAX mode does on the first assignment to an element.
ArrayRecord* createOnTheFly(EngineContext& ctx, const ElementTarget& target) {
    Variable& variable = target.variable;
    if (ctx.options.strict) {
        ctx.report(MessageId::ArrayNotDeclared, variable.ownerName(), variable.name);
        return nullptr;
    }
    if (target.list.count != 1) {
        ctx.report(MessageId::DimensionsUndeclared);
        return nullptr;
    }
    const std::optional<std::int64_t> index = indexAt(ctx, variable, target.list, 0);
    if (!index) return nullptr;
    if (*index == -1) {
        ctx.report(MessageId::FillWithoutArray);
        return nullptr;
    }
    if (*index < 1) {
        invalidElement(ctx, variable, *index, 0);
        return nullptr;
    }
    const std::int64_t size[] = {*index};
    ArrayRecord* array = makeArray(ctx, size, Nil);
    if (array == nullptr) return nullptr;
    releaseVariableValue(ctx, variable);
    variable.type = Array;
    variable.object = array;
    return array;
}

constexpr std::int64_t kEveryElement = -2;

/// 0-based position of the element, after growing the array where that is allowed; -1 after reporting;
/// kEveryElement for the single index -1.
std::int64_t assignedElement(EngineContext& ctx, ArrayRecord& array, const ElementTarget& target) {
    const Variable& variable = target.variable;
    if (target.list.count == 1) {
        const ValueCell& index = ctx.stack.at(target.list.end - 1);
        if (index.isNumeric() && truncate(index.number) == -1) return kEveryElement;
    }
    if (target.list.count != array.dimCount) {
        ctx.report(MessageId::DimensionCount, target.list.count, variable.name, array.dimCount);
        return -1;
    }
    const std::optional<std::int64_t> position = linearPosition(ctx, array, variable, target.list);
    if (!position) return -1;
    if (*position >= 1 && *position <= array.count()) return *position - 1;
    const bool grows = !ctx.options.strict && array.dimCount == 1 && *position >= 1;
    if (!grows) {
        invalidElement(ctx, variable, *position, array.count());
        return -1;
    }
    return resizeArray(ctx, array, *position) ? *position - 1 : -1;
}

void storeElement(EngineContext& ctx, const ElementTarget& target, const ValueCell& value) {
    Variable& variable = target.variable;
    if (variable.heldArray() == nullptr && variable.holdsText()) {
        storeCharacter(ctx, target, value);
        return;
    }
    if (!checkElementValue(ctx, variable, value)) return;
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) array = createOnTheFly(ctx, target);
    if (array == nullptr) return;
    const std::int64_t index = assignedElement(ctx, *array, target);
    if (index == kEveryElement) {
        for (ValueCell& element : array->elements) storeValue(ctx, element, value);
    } else if (index >= 0) {
        storeValue(ctx, array->elements[static_cast<std::size_t>(index)], value);
    }
}

// ---- distribution of several values ----

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

void distributeToArray(EngineContext& ctx, Variable& variable, const CellRun& values) {
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) {
        if (ctx.options.strict) {
            ctx.report(MessageId::ArrayNotDeclared, variable.ownerName(), variable.name);
            return;
        }
        const std::int64_t size[] = {values.count};
        array = makeArray(ctx, size, Nil);
        if (array == nullptr) return;
        releaseVariableValue(ctx, variable);
        variable.type = Array;
        variable.object = array;
    }
    int count = values.count;
    if (count > array->count()) {
        ctx.report(MessageId::MoreValuesThanElements, count, variable.name, array->count());
        count = static_cast<int>(array->count());
    }
    for (int i = 0; i < count; ++i) {
        const ValueCell& value = ctx.stack.at(values.first + i);
        if (!checkInitializer(ctx, variable, value)) return;
        storeValue(ctx, array->elements[static_cast<std::size_t>(i)], value);
    }
}

/// A list assigned to a variable whose object consists of values fills these in order; surplus values are
/// dropped.
void distributeToParts(EngineContext& ctx, std::span<RecordMember> parts, const CellRun& values) {
    const int count = std::min(values.count, static_cast<int>(parts.size()));
    for (int i = 0; i < count; ++i) {
        const ValueCell& value = ctx.stack.at(values.first + i);
        if (!isStorable(value.type)) return illegalMemberType(ctx);
        storeValue(ctx, parts[static_cast<std::size_t>(i)].value, value);
    }
}

/// Gives one value to one reference.
/// @param position  1-based member of an assignment block, 0 outside blocks
void assignReference(EngineContext& ctx, int reference, const ValueCell& value, int position) {
    const ValueCell target = ctx.stack.at(reference);
    switch (target.type) {
        case VarRef:
            assignVariable(ctx, targetVariable(*target.node), value);
            return;
        case Array: {
            const CodeNode& node = *target.node;
            if (node.queueVariable != 0) {
                assignSlotElement(ctx, node, reference, value);
                return;
            }
            const FreshVariable fresh(ctx, targetVariable(node));
            if (refusesElements(ctx, targetVariable(node))) return;
            storeElement(ctx, elementTarget(ctx, node, reference), value);
            return;
        }
        case IpcSlotRef:
            assignSlot(ctx, *target.node, value);
            return;
        case RecordMemberRef:
            if (position > 0 && !isStorable(value.type)) {
                ctx.report(MessageId::RecordMemberOfList, position);
                return;
            }
            writeField(ctx, *target.node, value, OP_ASSIGN);
            return;
        case MemberRef:
            ctx.stack.push(target);
            writeMemberOnTop(ctx, value, OP_ASSIGN);
            return;
        case IndexedMemberRef: {
            const int first =
                std::max(elementTarget(ctx, *target.node, reference).list.first, ctx.base());
            for (int i = first; i < reference; ++i) ctx.stack.push(borrowValue(ctx.stack.at(i)));
            ctx.stack.push(target);
            writeMemberOnTop(ctx, value, OP_ASSIGN);
            return;
        }
        default:
            illegalType(ctx);
            return;
    }
}

/// The stack index of the reference of the block member that begins at `at` (an index list stands below its
/// reference).
int memberReference(EngineContext& ctx, int at, int close) {
    if (at >= close || ctx.stack.at(at).type != DimMark) return at;
    while (at < close && ctx.stack.at(at).type != Array && ctx.stack.at(at).type != IndexedMemberRef) ++at;
    return at;
}

int blockMembers(EngineContext& ctx, int open, int close) {
    int count = 0;
    for (int at = open + 1; at < close; ++at) {
        at = memberReference(ctx, at, close);
        ++count;
    }
    return count;
}

void distributeToBlock(EngineContext& ctx, int open, int close, const CellRun& values) {
    const int members = blockMembers(ctx, open, close);
    if (values.count > members) {
        ctx.report(MessageId::MoreValuesThanVariables, values.count, members);
    }
    int position = 0;
    for (int at = open + 1; at < close && position < values.count; ++at, ++position) {
        at = memberReference(ctx, at, close);
        if (at >= close) break;
        assignReference(ctx, at, ctx.stack.at(values.first + position), position + 1);
        if (ctx.run.abort) return;
    }
}

/// Stack index of the first cell that belongs to the reference at `reference`.
int referenceStart(EngineContext& ctx, int reference) {
    const ValueCell& target = ctx.stack.at(reference);
    if (target.type == Array || target.type == IndexedMemberRef)
        return std::max(elementTarget(ctx, *target.node, reference).list.first, ctx.base());
    if (target.type != BlockMark) return reference;
    int open = reference - 1;
    while (open > ctx.base() && ctx.stack.at(open).type != BlockMark) --open;
    return open;
}

/// Gives the values to what the reference below them names; the stack is cut at the reference's first cell.
void distribute(EngineContext& ctx, const CellRun& values, int lowest, bool isList) {
    const int reference = lowest - 1;
    if (reference < ctx.base()) {
        ctx.report(MessageId::NoValueToAssign, "", "");
        return;
    }
    const ValueCell target = ctx.stack.at(reference);
    const int start = referenceStart(ctx, reference);
    const bool named =
        target.type == IpcSlotRef || (target.type == Array && target.node->queueVariable != 0);
    if (target.type == BlockMark) {
        distributeToBlock(ctx, start, reference, values);
    } else if (named && (target.type == IpcSlotRef || !isList) &&
               distributeToSlots(ctx, *target.node, values.first, values.count)) {
        // done
    } else if (named) {
        illegalType(ctx);
    } else if (target.type == VarRef || (target.type == Array && !isList)) {
        // Several returned values fill the array that the reference names, also where it names an element.
        Variable& variable = targetVariable(*target.node);
        std::optional<std::span<RecordMember>> parts;
        if (isList && isObjectKind(variable.type))
            parts = ctx.kinds().of(variable.type).parts(variable.object);
        if (parts)
            distributeToParts(ctx, *parts, values);
        else
            distributeToArray(ctx, variable, values);
    } else if (target.type == RecordMemberRef) {
        illegalMemberType(ctx);
    } else {
        illegalType(ctx);
    }
    if (ctx.run.abort) return;
    ctx.stack.dropTo(start);
    ctx.stack.push(ValueCell::ofInteger(1));
}

void assignReturned(EngineContext& ctx) {
    const int count = static_cast<int>(ctx.stack.top().number);
    const int first = ctx.stack.size() - 1 - count;
    if (count < 0 || first <= ctx.base()) {
        reportNoValue(ctx);
        return;
    }
    distribute(ctx, {first, count}, first, false);
}

void assignList(EngineContext& ctx) {
    const int close = ctx.stack.size() - 1;
    int open = close - 1;
    while (open > ctx.base() && ctx.stack.at(open).type != ListMark) --open;
    if (open <= ctx.base()) {
        reportNoValue(ctx);
        return;
    }
    distribute(ctx, {open + 1, close - open - 1}, open, true);
}

void assignSingle(EngineContext& ctx) {
    const int reference = ctx.stack.size() - 2;
    ValueCell value = ctx.stack.top();
    if (value.type == VarRef) value = ValueCell::ofNumber(0.0);
    const ValueCell target = ctx.stack.at(reference);
    if (target.type == MemberRef || target.type == IndexedMemberRef) {
        assignMemberOnTop(ctx, OP_ASSIGN);
        return;
    }
    const int start = referenceStart(ctx, reference);
    if (target.type == BlockMark) {
        const int member = memberReference(ctx, start + 1, reference);
        if (member < reference) assignReference(ctx, member, value, 1);
    } else {
        assignReference(ctx, reference, value, 0);
    }
    if (ctx.run.abort) return;
    if (value.type == NewArray && target.type == VarRef)
        value = ValueCell::ofArray(value.array, &targetVariable(*target.node));
    // The value moves down over the reference: it is the assignment's result.
    ctx.stack.forgetTo(ctx.stack.size() - 1);
    ctx.stack.dropTo(start);
    ctx.stack.push(value);
}

}  // namespace

void setVariableText(EngineContext& ctx, Variable& variable, std::string_view text) {
    char* copy = ctx.pool.keep(text);  // first: `text` may be the variable's own
    if (copy == nullptr) return;
    releaseVariableValue(ctx, variable);
    variable.type = String;
    variable.object = copy;
}

void releaseVariableValue(EngineContext& ctx, Variable& variable) {
    if (variable.type == String || variable.type == TempString)
        ctx.pool.release(variable.object);
    else if (isObjectKind(variable.type) && ctx.kinds().of(variable.type).traits().counted)
        ctx.kinds().of(variable.type).drop(ctx, variable.object);
    else
        return;
    variable.object = nullptr;
}

ValueCell variableCell(Variable& variable) noexcept {
    ValueCell cell;
    cell.type = variable.type;
    switch (variable.type) {
        case Number:
        case Integer:
            cell.number = variable.number;
            break;
        case Vector:
            cell.vec = variable.vec;
            break;
        case String:
        case TempString:
            cell.type = String;
            cell.text = variable.object != nullptr ? variable.text : "";
            break;
        case Array:
            cell = ValueCell::ofArray(variable.heldArray(), &variable);
            break;
        case Nil:
            cell = ValueCell::ofNil();
            break;
        default:
            cell.object = variable.object;
            break;
    }
    return cell;
}

void assignVariable(EngineContext& ctx, Variable& variable, const ValueCell& value) {
    if (value.type != ArrayRef && value.type != NewArray && variable.heldArray() != nullptr) {
        ctx.report(MessageId::ArrayOverwritten, variable.ownerName(), variable.name);
    }
    switch (value.type) {
        case Number:
        case Integer:
            releaseVariableValue(ctx, variable);
            variable.number = value.number;
            break;
        case Vector:
            releaseVariableValue(ctx, variable);
            variable.vec = value.vec;
            break;
        case Nil:
            releaseVariableValue(ctx, variable);
            break;
        case String:
        case TempString:
            setVariableText(ctx, variable, value.text != nullptr ? value.text : "");
            return;
        case ArrayRef:
            if (const ArrayRecord* own = variable.heldArray();
                own != nullptr && own->count() != value.array->count()) {
                const Variable& source = *value.named;
                ctx.report(MessageId::ArraySizesDiffer, source.ownerName(), source.name,
                           value.array->count(), variable.ownerName(), variable.name, own->count());
            }
            [[fallthrough]];
        case NewArray:
            releaseVariableValue(ctx, variable);
            variable.object = value.array;
            variable.type = Array;
            return;
        default:
            if (!isObjectKind(value.type)) return illegalType(ctx);
            // First the new one: only the variable's old object may hold it.
            ObjectKind& kind = ctx.kinds().of(value.type);
            void* const object = kind.assigned(ctx, value.object);
            kind.named(object, variable);
            releaseVariableValue(ctx, variable);
            variable.object = object;
            break;
    }
    variable.type = value.type;
    if (isInlineKind(value.type)) variable.object = nullptr;
}

void assign(EngineContext& ctx) {
    const int cells = ctx.stack.size() - ctx.base();
    if (cells < 2) {
        reportNoValue(ctx);
        return;
    }
    const ValueCell& value = ctx.stack.top();
    if (isInlineKind(value.type) && ctx.stack.top(1).type == VarRef) {
        Variable& variable = targetVariable(*ctx.stack.top(1).node);
        if (isInlineKind(variable.type)) {  // the common case: no text, array or record on either side
            ValueCell& result = ctx.stack.top(1);
            if (value.type == Vector) {
                variable.vec = result.vec = value.vec;
            } else {
                result.number = value.number;
                if (value.type != Nil) variable.number = value.number;
            }
            variable.type = result.type = value.type;
            ctx.stack.forgetTo(ctx.stack.size() - 1);
            return;
        }
    }
    if (value.type == ReturnCount)
        assignReturned(ctx);
    else if (value.type == ListMark)
        assignList(ctx);
    else if (isBareReference(value.type))
        reportNoValue(ctx);
    else
        assignSingle(ctx);
}

}  // namespace kestrel
