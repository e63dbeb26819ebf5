// Compound assignment: what "+=" and its like do to variables, array elements and record members.
#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/members.h"
#include "engine/operations/operand_advice.h"
#include "engine/operations/operators.h"
#include "engine/operations/slots.h"

#include <cmath>

namespace kestrel {

namespace {

/// Integers combine truncated and stay whole: `i /= 2` is the whole-number division that `i / 2` is not.
/// Meant.
bool combineIntegers(EngineContext& ctx, int op, double left, double right, double& result) {
    double value = 0.0;
    if (!combineNumbers(ctx, op, std::trunc(left), std::trunc(right), value)) return false;
    result = std::trunc(value);
    return true;
}

void reportArithmeticError(EngineContext& ctx) {
    ctx.report(MessageId::OperandTypes);
}

/// The number that a value contributes when only the number of a variable is combined: a vector gives its x.
/// @return false after reporting a value that has none
bool numberSlot(EngineContext& ctx, int op, const ValueCell& value, double& number) {
    const bool isArithmetic = op == OP_ADD || op == OP_SUB || op == OP_MUL || op == OP_DIV;
    if (value.isNumeric() || value.type == VarRef || (value.type == Vector && isArithmetic)) {
        number = value.firstDouble();
        return true;
    }
    reportArithmeticError(ctx);
    return false;
}

/// What a variable without text or vector holds, for a hint.
ValueCell cellOf(const Variable& variable) noexcept {
    if (variable.type == Number || variable.type == Integer) return ValueCell::ofNumber(variable.number);
    ValueCell cell;
    cell.type = variable.type == Uninitialized ? VarRef : variable.type;
    return cell;
}

/// Only the number changes, never the type, whatever that is: an Integer may end up with a fraction, a
/// variable that was never assigned stays without a value. Meant.
void combineNumberOnly(EngineContext& ctx, int op, Variable& variable, const ValueCell& value) {
    double number = 0.0;
    if (!numberSlot(ctx, op, value, number) ||
        !combineNumbers(ctx, op, variable.number, number, variable.number))
        adviseOnOperands(ctx, op, cellOf(variable), value);
}

/// A vector stays one: "&=" and "^=" with another work on components, where `&` and `^` give the dot and the
/// cross product. Meant.
bool combineVector(EngineContext& ctx, int op, VectorValue& vec, const ValueCell& value) {
    if (value.type == Vector && (op == OP_BITAND || op == OP_XOR)) {
        const VectorValue& other = value.vec;
        return combineNumbers(ctx, op, vec.x, other.x, vec.x) &&
               combineNumbers(ctx, op, vec.y, other.y, vec.y) &&
               combineNumbers(ctx, op, vec.z, other.z, vec.z);
    }
    ValueCell result;
    if (!combine(ctx, op, ValueCell::ofVector(vec), value, result)) return false;
    vec = result.vec;
    return true;
}

void combineTextVariable(EngineContext& ctx, int op, Variable& variable, const ValueCell& value) {
    ValueCell result;
    const char* text = variable.text != nullptr ? variable.text : "";
    if (!combine(ctx, op, ValueCell::ofText(text), value, result)) return;
    setVariableText(ctx, variable, result.text);
    ctx.stack.release(result);
}

void combineTargetVariable(EngineContext& ctx, const CodeNode& node, Variable& variable,
                           const ValueCell& value) {
    if (variable.type != Array) {
        combineVariable(ctx, node.op, variable, value);
    } else if (const ArrayRecord* array = variable.heldArray(); array != nullptr) {
        ctx.report(MessageId::DimensionCount, 0, variable.name, array->dimCount);
    } else {
        ctx.reportAt({.line = node.line}, MessageId::UndeclaredArray, variable.name);
    }
}

/// The reference is off the stack already, its index list is on top.
void combineElement(EngineContext& ctx, const CodeNode& node, const CodeNode& indexNode,
                    const ValueCell& value) {
    const Variable& variable = targetVariable(indexNode);
    if (indexNode.queueVariable != 0) {
        combineSlotElement(ctx, indexNode, node.op, value);
        return;
    }
    ArrayRecord* array = variable.heldArray();
    if (array == nullptr) {
        ctx.reportAt({.line = node.line}, MessageId::UndeclaredArray, variable.name);
        return;
    }
    const std::int64_t index = elementIndex(ctx, *array, indexNode);
    if (index < 0) return;
    combineInto(ctx, node.op, array->elements[static_cast<std::size_t>(index)], value);
}

/// Drops what is left of an assignment block whose closing mark was taken off.
void dropBlock(EngineContext& ctx) {
    int i = ctx.stack.size() - 1;
    while (i >= ctx.base() && ctx.stack.at(i).type != BlockMark) --i;
    if (i >= ctx.base()) ctx.stack.dropTo(i);
}

void combineTarget(EngineContext& ctx, const CodeNode& node, const ValueCell& target,
                   const ValueCell& value) {
    switch (target.type) {
        case VarRef:
            combineTargetVariable(ctx, node, targetVariable(*target.node), value);
            return;
        case Array:
            combineElement(ctx, node, *target.node, value);
            return;
        case IpcSlotRef:
            combineSlot(ctx, *target.node, node.op, value);
            return;
        case MemberRef:
        case IndexedMemberRef:
            ctx.stack.push(target);
            writeMemberOnTop(ctx, value, node.op);
            return;
        case RecordMemberRef:
            writeField(ctx, *target.node, value, node.op);
            return;
        case BlockMark:
            dropBlock(ctx);
            break;
        default:
            ctx.stack.release(target);
            break;
    }
    ctx.report(MessageId::AssignmentType);
}

/// A number in an element or record member: a number keeps it one, a vector makes it one.
bool combineNumberInto(EngineContext& ctx, int op, ValueCell& slot, const ValueCell& value) {
    double& number = slot.number;
    if (value.isNumeric() || value.type == VarRef) {
        if (slot.type == Integer && value.type == Integer)
            return combineIntegers(ctx, op, number, value.number, number);
        if (!combineNumbers(ctx, op, number, value.firstDouble(), number)) return false;
        slot.type = Number;
        return true;
    }
    ValueCell result;
    if (!combine(ctx, op, slot, value, result)) return false;
    slot = result;
    return true;
}

}  // namespace

void combineVariable(EngineContext& ctx, int code, Variable& variable, const ValueCell& value) {
    const int op = plainOperator(code);
    switch (variable.type) {
        case Integer:
            if (value.type != Integer)
                combineNumberOnly(ctx, op, variable, value);
            else if (!combineIntegers(ctx, op, variable.number, value.number, variable.number))
                adviseOnOperands(ctx, op, cellOf(variable), value);
            return;
        case String:
        case TempString:
            combineTextVariable(ctx, op, variable, value);
            return;
        case Vector:
            static_cast<void>(combineVector(ctx, op, variable.vec, value));
            return;
        default:
            combineNumberOnly(ctx, op, variable, value);
            return;
    }
}

bool combineInto(EngineContext& ctx, int op, ValueCell& slot, const ValueCell& value) {
    const int plain = plainOperator(op);
    switch (slot.type) {
        case Number:
        case Integer:
            return combineNumberInto(ctx, plain, slot, value);
        case Vector:
            return combineVector(ctx, plain, slot.vec, value);
        case String:
        case TempString: {
            ValueCell result;
            if (!combine(ctx, plain, slot, value, result)) return false;
            storeValue(ctx, slot, result);
            ctx.stack.release(result);
            return true;
        }
        default:
            return true;
    }
}

void compoundAssign(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(2)) return;
    const ValueCell value = ctx.stack.take();
    const ValueCell target = ctx.stack.take();
    combineTarget(ctx, node, target, value);
    ctx.stack.release(value);
}

}  // namespace kestrel
