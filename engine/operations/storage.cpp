#include "engine/operations/storage.h"

#include "engine/context/kind_table.h"

#include <cassert>

namespace kestrel {

ValueCell load(Variable& variable) noexcept {
    switch (variable.type) {
        case Number:
        case Integer: {
            ValueCell cell;
            cell.setScalar(variable.type, variable.number);
            return cell;
        }
        case Vector:
            return ValueCell::ofVector(variable.vec);
        case Array:
            return ValueCell::ofArray(variable.array, &variable);
        case Nil:
            return ValueCell::ofNil();
        default:
            return load(static_cast<const ValueCell&>(variable));
    }
}

void store(EngineContext& ctx, ValueCell& stored, const ValueCell& value) {
    if (areInline(stored, value)) return setInline(stored, value);
    if (value.isText()) {
        storeText(ctx, stored, value.text != nullptr ? value.text : "");
        return;
    }
    // First the new one: only the old object may hold it.
    if (isObjectKind(value.type)) ctx.kinds().of(value.type).hold(ctx, value.object);
    letGo(ctx, stored);
    stored = value;
    if (value.type == VarRef) stored = ValueCell::ofNumber(0.0);
}

void store(EngineContext& ctx, Variable& stored, const ValueCell& value) {
    assert(isStorable(value.type) || value.type == VarRef);
    const double number = stored.number;
    const VectorValue vec = stored.vec;
    store(ctx, static_cast<ValueCell&>(stored), value);
    if (!stored.isNumeric()) stored.number = number;
    if (stored.type != Vector) stored.vec = vec;
    if (isInlineKind(stored.type)) stored.object = nullptr;
}

bool storeText(EngineContext& ctx, ValueCell& stored, std::string_view text) {
    char* const copy = ctx.pool.keep(text);  // first: `text` may be the stored one
    if (copy == nullptr) return false;
    letGo(ctx, stored);
    stored.type = String;
    stored.text = copy;
    return true;
}

void letGo(EngineContext& ctx, ValueCell& stored) {
    if (stored.isText())
        ctx.pool.release(stored.text);
    else if (isObjectKind(stored.type))
        ctx.kinds().of(stored.type).drop(ctx, stored.object);
    else
        return;
    stored.object = nullptr;
}

void clear(EngineContext& ctx, ValueCell& stored) {
    letGo(ctx, stored);
    stored = ValueCell::ofNil();
}

}  // namespace kestrel
