#include "engine/operations/storage.h"

#include "engine/context/kind_table.h"

namespace kestrel {

ValueCell load(Variable& variable) noexcept {
    if (variable.type == Array) return ValueCell::ofArray(variable.array, &variable);
    return load(static_cast<const ValueCell&>(variable));
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
    stored.object = nullptr;
    if (value.type == VarRef) {
        stored.setScalar(Number, 0.0);
    } else if (isObjectKind(value.type)) {
        stored.type = value.type;
        stored.object = value.object;
    } else {
        setInline(stored, value);
    }
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
