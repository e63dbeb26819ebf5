#include "engine/operations/unary.h"

#include "engine/operations/slots.h"

namespace kestrel {

namespace {

VectorValue opposite(const VectorValue& v) noexcept {
    return {-v.x, -v.y, -v.z};
}

/// An Integer counts truncated.
bool isNought(const ValueCell& number) noexcept {
    return number.type == Integer ? truncate(number.number) == 0 : isZero(number.number);
}

}  // namespace

void negate(EngineContext& ctx, ValueCell& cell) {
    switch (cell.type) {
        case Vector:
            cell.vec = opposite(cell.vec);
            return;
        case Integer:
            cell.number = -cell.number;
            return;
        default: {
            const double value = cell.firstDouble();
            freeOwned(ctx.pool, cell);
            cell = ValueCell::ofNumber(-value);
            return;
        }
    }
}

void invert(EngineContext& ctx, ValueCell& cell) {
    if (cell.type == VarRef) cell = plainValue(cell);
    if (cell.isNumeric()) {
        cell.number = isNought(cell) ? 1.0 : 0.0;
    } else {
        const bool nil = cell.type == Nil;
        freeOwned(ctx.pool, cell);
        cell = ValueCell::ofBool(nil);
    }
}

void negateVariable(EngineContext& ctx, Variable& variable) {
    const FreshVariable fresh(ctx, variable);
    if (variable.isText()) {
        ctx.report(MessageId::TextNegated, variable.name);
        return;
    }
    variable.number = -variable.number;
    variable.vec = opposite(variable.vec);
}

void invertVariable(EngineContext& ctx, Variable& variable) {
    const FreshVariable fresh(ctx, variable);
    if (variable.isNumeric())
        variable.number = isNought(variable) ? 1.0 : 0.0;
    else
        ctx.report(MessageId::NoNumberInverted, variable.name);
}

}  // namespace kestrel
