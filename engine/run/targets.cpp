// What instructions do with references on the stack: reads by index, assignments, "+=" and "++".

#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/compound.h"
#include "engine/operations/increment.h"
#include "engine/operations/members.h"
#include "engine/operations/reading.h"
#include "engine/operations/storage.h"
#include "engine/program/node_modes.h"
#include "engine/run/instructions.h"

#include <optional>

namespace kestrel {

namespace {

/// The values of a list or of a `return`: cells first to first + count - 1.
struct CellRun {
    int first = 0;
    int count = 0;
};

/// Cells of an index list with one index.
constexpr int kPlainList = 3;

bool isReference(std::int32_t type) noexcept {
    return type == VarRef || type == Array || type == MemberRef || type == IndexedMemberRef ||
           type == RecordMemberRef || type == IpcSlotRef;
}

/// References that cannot be values: where one is found instead of a value, the value is missing.
bool isBareReference(std::int32_t type) noexcept {
    return type == BlockMark || (type != VarRef && isReference(type));
}

/// A place, and the first of the cells that name it: an index list stands below its reference.
struct Target {
    Place place;
    int start;
};

/// How many cells an index list takes that a call with too few arguments has deprived of its DimMark: an
/// expression around it goes on with what lies below.
[[gnu::cold]] int cellsWithoutMark(const IndexList& list) noexcept {
    const std::size_t count = list.cells.size();
    if (count == 0 || list.cells.back().type == SepMark) return 0;
    const bool number = list.cells.back().isNumeric() || list.cells.back().type == VarRef;
    return number && count >= 2 && list.cells[count - 2].type == SepMark ? 2 : 1;
}

Target indexedTarget(EngineContext& ctx, const CodeNode& node, Place::Kind kind, int reference) {
    const IndexList list = lastIndexList(ctx.stack.cells(ctx.base(), reference));
    int cells = static_cast<int>(list.cells.size());
    if (!list.opened && kind == Place::Kind::IndexedMember) [[unlikely]]
        cells = cellsWithoutMark(list);
    return {placeOf(node, kind, list), reference - cells};
}

/// `object.member[number]`, by far the most frequent of places, without making one.
/// @param end  stack index behind the index list
/// @return nothing where the list is any other
std::optional<MemberAccess> plainMember(EngineContext& ctx, const CodeNode& node, int end) {
    const IndexList list = lastIndexList(ctx.stack.cells(ctx.base(), end));
    if (!list.opened || list.cells.size() != kPlainList || list.cells[1].type != SepMark ||
        !list.cells.back().isNumeric())
        return std::nullopt;
    return MemberAccess{node.to.object, node.operand.variable->name, node.name,
                        truncate(list.cells.back().number)};
}

/// @param reference  stack index of a cell that isReference()
Target targetAt(EngineContext& ctx, int reference) {
    const ValueCell& cell = ctx.stack.at(reference);
    switch (cell.type) {
        case Array:
            return indexedTarget(ctx, *cell.node, Place::Kind::Element, reference);
        case IndexedMemberRef:
            return indexedTarget(ctx, *cell.node, Place::Kind::IndexedMember, reference);
        case MemberRef:
            return {placeOf(*cell.node, Place::Kind::Member), reference};
        case RecordMemberRef:
            return {placeOf(*cell.node, Place::Kind::Field), reference};
        case IpcSlotRef:
            return {placeOf(*cell.node, Place::Kind::Slot), reference};
        default:
            return {placeOf(*cell.node, Place::Kind::Variable), reference};
    }
}

void reportNoValue(EngineContext& ctx) {
    const char* owner = "";
    const char* name = "";
    if (ctx.stack.size() > ctx.base() && isReference(ctx.stack.top().type)) {
        const Variable& variable = *ctx.stack.top().node->operand.variable;
        owner = variable.ownerName();
        name = variable.name;
    }
    ctx.report(MessageId::NoValueToAssign, owner, name);
}

// ---- assignment blocks: (a, b[i], c.x) = ...

/// The stack index of the reference of the block member that begins at `at`.
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

/// Gives one value to the reference of a block's member.
/// @param position  of the member, from 1
void assignMember(EngineContext& ctx, int reference, const ValueCell& value, int position) {
    const ValueCell& cell = ctx.stack.at(reference);
    if (cell.type == VarRef) [[likely]]
        assignVariable(ctx, *cell.node->operand.variable, value);
    else if (isReference(cell.type))
        assignPlace(ctx, targetAt(ctx, reference).place, value, position);
    else
        ctx.report(MessageId::AssignmentType);
}

void distributeToBlock(EngineContext& ctx, int open, int close, const CellRun& values) {
    const int members = blockMembers(ctx, open, close);
    if (values.count > members) ctx.report(MessageId::MoreValuesThanVariables, values.count, members);
    int position = 0;
    for (int at = open + 1; at < close && position < values.count; ++at, ++position) {
        at = memberReference(ctx, at, close);
        if (at >= close) break;
        assignMember(ctx, at, ctx.stack.at(values.first + position), position + 1);
        if (ctx.run.abort) return;
    }
}

/// Stack index of the mark that opens a block. It is below the running function's cells where only one mark
/// is left: a call that was given fewer values than it names takes the other.
int blockStart(EngineContext& ctx, int close) {
    int open = close - 1;
    while (open >= ctx.base() && ctx.stack.at(open).type != BlockMark) --open;
    return open;
}

// ---- several values

/// Gives the values to what the reference below them names; the stack is cut at the reference's first cell.
/// @param lowest  the first cell that belongs to the values
void distribute(EngineContext& ctx, const CellRun& values, int lowest, Several from) {
    const int reference = lowest - 1;
    if (reference < ctx.base()) {
        ctx.report(MessageId::NoValueToAssign, "", "");
        return;
    }
    int start = reference;
    const std::int32_t type = ctx.stack.at(reference).type;
    if (type == BlockMark) {
        start = blockStart(ctx, reference);
        if (start < ctx.base()) return reportNoValue(ctx);
        distributeToBlock(ctx, start, reference, values);
    } else if (isReference(type)) {
        const Target target = targetAt(ctx, reference);
        start = target.start;
        distributeToPlace(ctx, target.place, ctx.stack.cells(values.first, values.first + values.count),
                          from);
    } else {
        ctx.report(MessageId::AssignmentType);
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
    distribute(ctx, {first, count}, first, Several::Returned);
}

void assignList(EngineContext& ctx) {
    const int close = ctx.stack.size() - 1;
    int open = close - 1;
    while (open > ctx.base() && ctx.stack.at(open).type != ListMark) --open;
    if (open <= ctx.base()) {
        reportNoValue(ctx);
        return;
    }
    distribute(ctx, {open + 1, close - open - 1}, open, Several::List);
}

// ---- one value

/// The value moves down over the reference: it is the assignment's result.
void leaveValue(EngineContext& ctx, const ValueCell& value, int start) {
    ctx.stack.forgetTo(ctx.stack.size() - 1);
    ctx.stack.dropTo(start);
    ctx.stack.push(value);
}

void assignToBlock(EngineContext& ctx, const ValueCell& value, int close) {
    const int open = blockStart(ctx, close);
    if (open < ctx.base()) return reportNoValue(ctx);
    const int member = memberReference(ctx, open + 1, close);
    if (member < close) assignMember(ctx, member, value, 1);
    if (!ctx.run.abort) leaveValue(ctx, value, open);
}

void assignSingle(EngineContext& ctx) {
    const int reference = ctx.stack.size() - 2;
    const std::int32_t type = ctx.stack.at(reference).type;
    if (type == IndexedMemberRef) {
        if (const auto access = plainMember(ctx, *ctx.stack.at(reference).node, reference)) {
            ValueCell nothing;
            writeMember(ctx, *access, ctx.stack.top(), OP_ASSIGN, nothing);
            ctx.stack.dropTo(reference - kPlainList);
            return;
        }
    }
    if (type == MemberRef || type == IndexedMemberRef) {  // an assignment to a data member has no value
        const Target target = targetAt(ctx, reference);
        assignPlace(ctx, target.place, ctx.stack.top());
        ctx.stack.dropTo(target.start);
        return;
    }
    ValueCell value = plainValue(ctx.stack.top());
    if (type == BlockMark) return assignToBlock(ctx, value, reference);
    if (!isReference(type)) {
        ctx.report(MessageId::AssignmentType);
        return;
    }
    const Target target = targetAt(ctx, reference);
    assignPlace(ctx, target.place, value);
    if (ctx.run.abort) return;
    if (value.type == NewArray && type == VarRef)
        value = ValueCell::ofArray(value.array, target.place.variable);
    leaveValue(ctx, value, target.start);
}

}  // namespace

void executeAssign(EngineContext& ctx) {
    if (ctx.stack.size() - ctx.base() < 2) {
        reportNoValue(ctx);
        return;
    }
    const ValueCell& value = ctx.stack.top();
    if (ctx.stack.top(1).type == VarRef) {
        Variable& variable = *ctx.stack.top(1).node->operand.variable;
        if (areInline(variable, value)) {  // the common case
            setInline(variable, value);
            setInline(ctx.stack.top(1), value);
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

void executeCompound(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(2)) return;
    const int reference = ctx.stack.size() - 2;
    const std::int32_t type = ctx.stack.at(reference).type;
    if (isReference(type)) {
        const Target target = targetAt(ctx, reference);
        combinePlace(ctx, target.place, node.op, ctx.stack.top());
        ctx.stack.dropTo(target.start);
        return;
    }
    const int start = type == BlockMark ? blockStart(ctx, reference) : reference;
    ctx.stack.dropTo(start >= ctx.base() ? start : reference);
    ctx.report(MessageId::AssignmentType);
}

void executeIncrement(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(1)) return;
    const int reference = ctx.stack.size() - 1;
    if (!isReference(ctx.stack.top().type)) {
        ctx.report(MessageId::CannotCount, "");
        return;
    }
    const Target target = targetAt(ctx, reference);
    ValueCell value;
    const bool hasValue = incrementPlace(ctx, target.place, node.op, value);
    ctx.stack.dropTo(target.start);
    if (hasValue) ctx.stack.push(value);
}

void executeIndex(EngineContext& ctx, const CodeNode& node) {
    EvalStack& stack = ctx.stack;
    if (node.mode == kReference) return stack.pushNode(Array, &node);
    if (node.mode == kMemberReference) return stack.pushNode(IndexedMemberRef, &node);
    if (node.mode == kMemberRead) {
        if (const auto access = plainMember(ctx, node, stack.size())) {
            const int start = stack.size() - kPlainList;
            stack.forgetTo(readMember(ctx, *access, stack.at(start)) ? start + 1 : start);
            return;
        }
    }
    const Place::Kind kind = node.mode == kMemberRead ? Place::Kind::IndexedMember : Place::Kind::Element;
    const Target target = indexedTarget(ctx, node, kind, stack.size());
    if (node.mode == kDeclare) {
        if (declareArray(ctx, *target.place.variable, target.place.indexes)) stack.dropTo(target.start);
        return;
    }
    // The value takes the place of the list's first cell, which nobody reads any more when there is a value,
    // and the list is nothing but numbers and marks then.
    switch (
        readPlace(ctx, target.place, stack.size() > target.start ? stack.at(target.start) : stack.next())) {
        case Reading::Value:
            stack.forgetTo(target.start + 1);
            break;
        case Reading::Nothing:
            stack.dropTo(target.start);
            break;
        case Reading::Failed:
            break;
    }
}

void executeVariable(EngineContext& ctx, const CodeNode& node) {
    Place::Kind kind = Place::Kind::Variable;
    switch (node.mode) {
        case kMemberReference:
            return ctx.stack.pushNode(MemberRef, &node);
        case kRecordReference:
            return ctx.stack.pushNode(RecordMemberRef, &node);
        case kSlotReference:
            return ctx.stack.pushNode(IpcSlotRef, &node);
        case kMemberRead:
            kind = Place::Kind::Member;
            break;
        case kRecordRead:
            kind = Place::Kind::Field;
            break;
        case kSlotRead:
            kind = Place::Kind::Slot;
            break;
        default:
            break;
    }
    if (readPlace(ctx, placeOf(node, kind), ctx.stack.next()) == Reading::Value) ctx.stack.keep();
}

}  // namespace kestrel
