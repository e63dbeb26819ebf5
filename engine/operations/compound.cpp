#include "engine/operations/compound.h"

#include "engine/operations/arrays.h"
#include "engine/operations/members.h"
#include "engine/operations/operand_advice.h"
#include "engine/operations/operators.h"
#include "engine/operations/slots.h"
#include "engine/operations/storage.h"

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
ValueCell cellOf(const ValueCell& stored) noexcept {
    if (stored.isNumeric()) return ValueCell::ofNumber(stored.number);
    ValueCell cell;
    cell.type = stored.type == Uninitialized ? VarRef : stored.type;
    return cell;
}

/// Only the number changes, never the type, whatever that is: an Integer may end up with a fraction, a
/// variable that was never assigned stays without a value. Meant.
bool combineNumberOnly(EngineContext& ctx, int op, ValueCell& stored, const ValueCell& value) {
    double number = 0.0;
    if (numberSlot(ctx, op, value, number) && combineNumbers(ctx, op, stored.number, number, stored.number))
        return true;
    adviseOnOperands(ctx, op, cellOf(stored), value);
    return false;
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

/// Two Integers, in a place that may hold any kind: the result is one as well.
bool combineWhole(EngineContext& ctx, int op, ValueCell& stored, const ValueCell& value, Keeps keeps) {
    if (combineIntegers(ctx, op, stored.number, value.number, stored.number)) return true;
    if (keeps == Keeps::Kind) adviseOnOperands(ctx, op, cellOf(stored), value);
    return false;
}

/// A number in an element or record member: a number keeps it one, a vector makes it one.
bool combineNumberInto(EngineContext& ctx, int op, ValueCell& stored, const ValueCell& value) {
    if (value.isNumeric() || value.type == VarRef) {
        if (!combineNumbers(ctx, op, stored.number, value.firstDouble(), stored.number)) return false;
        stored.type = Number;
        return true;
    }
    ValueCell result;
    if (!combine(ctx, op, stored, value, result)) return false;
    stored = result;
    return true;
}

bool combineText(EngineContext& ctx, int op, ValueCell& stored, const ValueCell& value) {
    ValueCell result;
    if (!combine(ctx, op, load(stored), value, result)) return false;
    store(ctx, stored, result);
    freeOwned(ctx.pool, result);
    return true;
}

void combineVariable(EngineContext& ctx, int code, Variable& variable, const ValueCell& value) {
    if (variable.type != Array) {
        combineStored(ctx, code, variable, value, Keeps::Kind);
    } else if (const ArrayRecord* array = variable.heldArray(); array != nullptr) {
        ctx.report(MessageId::DimensionCount, 0, variable.name, array->dimCount);
    } else {
        ctx.report(MessageId::UndeclaredArray, variable.name);
    }
}

void combineElement(EngineContext& ctx, int code, const Place& place, const ValueCell& value) {
    ArrayRecord* array = place.variable->heldArray();
    if (array == nullptr) {
        ctx.report(MessageId::UndeclaredArray, place.variable->name);
        return;
    }
    const std::int64_t index = elementIndex(ctx, *array, *place.variable, place.indexes);
    if (index >= 0)
        combineStored(ctx, code, array->elements[static_cast<std::size_t>(index)], value, Keeps::Nothing);
}

}  // namespace

bool combineStored(EngineContext& ctx, int code, ValueCell& stored, const ValueCell& value, Keeps keeps) {
    const int op = plainOperator(code);
    switch (stored.type) {
        case Vector:
            return combineVector(ctx, op, stored.vec, value);
        case String:
        case TempString:
            return combineText(ctx, op, stored, value);
        case Integer:
            if (value.type == Integer) return combineWhole(ctx, op, stored, value, keeps);
            [[fallthrough]];
        case Number:
            return keeps == Keeps::Kind ? combineNumberOnly(ctx, op, stored, value)
                                        : combineNumberInto(ctx, op, stored, value);
        default:
            return keeps == Keeps::Nothing || combineNumberOnly(ctx, op, stored, value);
    }
}

void combinePlace(EngineContext& ctx, const Place& place, int code, const ValueCell& value) {
    ValueCell nothing;  // compound assignments leave no value
    switch (place.kind) {
        case Place::Kind::Variable:
            return combineVariable(ctx, code, *place.variable, value);
        case Place::Kind::Element:
            return combineElement(ctx, code, place, value);
        case Place::Kind::Slot:
        case Place::Kind::SlotElement:
            return combineSlot(ctx, place, code, value);
        case Place::Kind::Member:
        case Place::Kind::IndexedMember:
        case Place::Kind::Field:
            writeMember(ctx, place, value, code, nothing);
            return;
    }
}

}  // namespace kestrel
