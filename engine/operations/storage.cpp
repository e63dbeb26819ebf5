#include "engine/operations/storage.h"

#include "engine/context/kind_table.h"

#include <cassert>
#include <utility>

namespace kestrel {

namespace {

/// Lets go of what was stored. It takes the cell by value, and comes last wherever it is called: an object
/// that ends can run code, which finds the new value and may move the place that holds it.
void release(EngineContext& ctx, const ValueCell old) {
    if (old.isText())
        ctx.pool.release(old.text);
    else if (isObjectKind(old.type))
        ctx.kinds().of(old.type).drop(ctx, old.object);
}

/// What is stored of a value that is no text; an object is held.
ValueCell heldCopy(EngineContext& ctx, const ValueCell& value) {
    if (isObjectKind(value.type)) ctx.kinds().of(value.type).hold(ctx, value.object);
    return plainValue(value);
}

}  // namespace

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
    release(ctx, std::exchange(stored, heldCopy(ctx, value)));
}

void store(EngineContext& ctx, Variable& stored, const ValueCell& value) {
    assert(isStorable(value.type) || value.type == VarRef);
    if (areInline(stored, value)) return setInline(stored, value);
    if (value.isText()) return store(ctx, static_cast<ValueCell&>(stored), value);
    ValueCell fresh = heldCopy(ctx, value);
    if (!fresh.isNumeric()) fresh.number = stored.number;
    if (fresh.type != Vector) fresh.vec = stored.vec;
    if (isInlineKind(fresh.type)) fresh.object = nullptr;
    release(ctx, std::exchange(static_cast<ValueCell&>(stored), fresh));
}

bool storeText(EngineContext& ctx, ValueCell& stored, std::string_view text) {
    char* const copy = ctx.pool.keep(text);  // first: `text` may be the stored one
    if (copy == nullptr) return false;
    const ValueCell old = stored;
    stored.type = String;  // the other slots of a variable stay
    stored.text = copy;
    release(ctx, old);
    return true;
}

void holdObject(EngineContext& ctx, Variable& variable, std::int32_t type, void* object) {
    const ValueCell old = variable;
    variable.type = type;
    variable.object = object;
    release(ctx, old);
}

void holdArray(EngineContext& ctx, Variable& variable, ArrayRecord* array) {
    const ValueCell old = variable;
    variable.type = Array;
    variable.array = array;
    release(ctx, old);
}

void letGo(EngineContext& ctx, ValueCell& stored) {
    if (!stored.isText() && !isObjectKind(stored.type)) return;
    const ValueCell old = stored;
    stored.object = nullptr;
    release(ctx, old);
}

void clear(EngineContext& ctx, ValueCell& stored) {
    release(ctx, std::exchange(stored, ValueCell::ofNil()));
}

}  // namespace kestrel
