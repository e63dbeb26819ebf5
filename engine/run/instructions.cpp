// Loads, references, increments, unary and logical operators, the selector.

#include "engine/run/instructions.h"

#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/increment.h"
#include "engine/operations/members.h"
#include "engine/operations/operators.h"
#include "engine/operations/slots.h"
#include "engine/program/node_modes.h"

namespace kestrel {

namespace {

/// Takes the n-th of the cells [first, last) out of the stack, so that it owns its text.
ValueCell pickCell(EngineContext& ctx, int first, int last, std::int64_t n) {
    if (n < 1 || n > last - first) return ValueCell::ofNil();
    ValueCell& cell = ctx.stack.at(first + static_cast<int>(n) - 1);
    const ValueCell picked = cell;
    cell = ValueCell::ofNil();
    return picked;
}

ValueCell pickElement(const ArrayRecord& array, std::int64_t n) {
    if (array.dimCount != 1 || n < 1 || n > array.count()) return ValueCell::ofNil();
    const ValueCell& element = array.elements[static_cast<std::size_t>(n - 1)];
    return element.type == Uninitialized ? ValueCell::ofNil() : borrowValue(element);
}

ValueCell pickCharacter(EngineContext& ctx, const char* text, std::int64_t n) {
    const auto length = static_cast<std::int64_t>(std::strlen(text));
    if (n < 1 || n > length) return ValueCell::ofNil();
    const char* copy = ctx.pool.strdup(std::string_view(text + n - 1, 1));
    return copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil();
}

ValueCell select(EngineContext& ctx, int mark, std::int64_t n) {
    const int first = mark + 1;
    const int last = ctx.stack.size();
    if (first >= last) return ValueCell::ofNil();
    const ValueCell& value = ctx.stack.at(first);
    if (value.type == ListMark) {
        int close = first + 1;
        while (close < last && ctx.stack.at(close).type != ListMark) ++close;
        return pickCell(ctx, first + 1, close, n);
    }
    if (last - first == 1) {
        if (value.type == ArrayRef) return pickElement(*value.array, n);
        if (value.isText()) return pickCharacter(ctx, value.text, n);
    }
    return pickCell(ctx, first, last, n);
}

}  // namespace

void loadVariable(EngineContext& ctx, Variable& variable) {
    if (isStorable(variable.type) || variable.heldArray() != nullptr) {
        ctx.stack.push(variableCell(variable));
        return;
    }
    if (ctx.options.strict) {
        ctx.report(MessageId::ValueNeverSet, variable.name);
        return;
    }
    variable.type = Nil;
    ctx.stack.push(ValueCell::ofNil());
}

const CodeNode* executeVariable(EngineContext& ctx, const CodeNode* node) {
    switch (node->mode) {
        case kReference:
            ctx.stack.pushNode(VarRef, node);
            return node;
        case kMemberRead:
            readMember(ctx, *node, false);
            return node->next;
        case kMemberReference:
            ctx.stack.pushNode(MemberRef, node);
            return node;
        case kRecordRead:
            readField(ctx, *node);
            return node->next;
        case kRecordReference:
            ctx.stack.pushNode(RecordMemberRef, node);
            return node;
        case kSlotRead:
            readSlot(ctx, *node);
            return node;
        case kSlotReference:
            ctx.stack.pushNode(IpcSlotRef, node);
            return node;
        default:
            loadVariable(ctx, *node->variable);
            return node;
    }
}

void executeIncrement(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(1)) return;
    const ValueCell reference = ctx.stack.top();
    switch (reference.type) {
        case VarRef:
            ctx.stack.drop(1);
            incrementVariable(ctx, *reference.node, node.op);
            return;
        case Array:
            ctx.stack.drop(1);
            incrementElement(ctx, *reference.node, node.op);
            return;
        case IpcSlotRef:
            ctx.stack.drop(1);
            incrementSlot(ctx, *reference.node, node.op);
            return;
        case MemberRef:
        case IndexedMemberRef:
            writeMemberOnTop(ctx, ValueCell::ofInteger(1), node.op);
            return;
        case RecordMemberRef:
            ctx.stack.drop(1);
            writeField(ctx, *reference.node, ValueCell::ofInteger(1), node.op);
            return;
        default:
            ctx.report(MessageId::CannotCount, "");
            return;
    }
}

void executeNegate(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(1)) return;
    ValueCell& cell = ctx.stack.top();
    if (node.mode == kStatementForm && ctx.stack.size() == 1) {
        Variable& variable = targetVariable(*node.prev);
        ctx.stack.drop(1);
        const FreshVariable fresh(ctx, variable);
        if (variable.type == String || variable.type == TempString) {
            ctx.report(MessageId::TextNegated, variable.name);
            return;
        }
        variable.number = -variable.number;
        variable.vec = {-variable.vec.x, -variable.vec.y, -variable.vec.z};
        return;
    }
    switch (cell.type) {
        case Vector: {
            const VectorValue v = cell.vec;
            cell.vec = {-v.x, -v.y, -v.z};
            return;
        }
        case Integer:
            cell.number = -cell.number;
            return;
        default: {
            const double value = cell.firstDouble();
            ctx.stack.release(cell);
            cell = ValueCell::ofNumber(-value);
            return;
        }
    }
}

void executeNot(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(1)) return;
    ValueCell& cell = ctx.stack.top();
    if (node.mode == kStatementForm) {
        Variable& variable = targetVariable(*node.prev);
        ctx.stack.drop(1);
        const FreshVariable fresh(ctx, variable);
        if (variable.type != Integer && variable.type != Number) {
            ctx.report(MessageId::NoNumberInverted, variable.name);
            return;
        }
        const bool zero = variable.type == Integer ? truncate(variable.number) == 0 : variable.number == 0.0;
        variable.number = zero ? 1.0 : 0.0;
        return;
    }
    switch (cell.type) {
        case Integer:
            cell.number = truncate(cell.number) == 0 ? 1.0 : 0.0;
            return;
        case Number:
            cell.number = cell.firstDoubleSet() ? 0.0 : 1.0;
            return;
        case VarRef:
            cell = ValueCell::ofNumber(1.0);
            return;
        default: {
            const bool nil = cell.type == Nil;
            ctx.stack.release(cell);
            cell = ValueCell::ofBool(nil);
            return;
        }
    }
}

// Both operands have been evaluated, by design, and neither test looks at the tag: a Nil, whose number slot
// is -1, counts as true here although `if` treats it as false.
void executeLogical(EngineContext& ctx, bool isAnd) {
    if (!ctx.need(2)) return;
    const bool right = ctx.stack.top(0).firstDoubleSet();
    const bool left = ctx.stack.top(1).firstDoubleSet();
    ctx.stack.drop(2);
    ctx.stack.push(ValueCell::ofBool(isAnd ? left && right : left || right));
}

void executeVector(EngineContext& ctx) {
    if (ctx.stack.size() - ctx.base() < 3) {
        ctx.report(MessageId::VectorParts);
        return;
    }
    const VectorValue v{ctx.stack.top(2).firstDouble(), ctx.stack.top(1).firstDouble(),
                        ctx.stack.top(0).firstDouble()};
    ctx.stack.drop(3);
    ctx.stack.push(ValueCell::ofVector(v));
}

void executeSelector(EngineContext& ctx) {
    int mark = ctx.stack.size() - 1;
    while (mark > ctx.base() && ctx.stack.at(mark).type != SelectMark) --mark;
    if (mark <= ctx.base()) {  // no selector value below the mark
        ctx.report(MessageId::StackEmpty);
        return;
    }
    const ValueCell& selector = ctx.stack.at(mark - 1);
    if (selector.type != Integer) {
        ctx.report(MessageId::SelectorType);
        return;
    }
    const ValueCell picked = select(ctx, mark, truncate(selector.number));
    ctx.stack.dropTo(mark - 1);
    if (isStorable(picked.type)) ctx.stack.push(picked);
}

}  // namespace kestrel
