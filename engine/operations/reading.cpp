#include "engine/operations/reading.h"

#include "engine/operations/members.h"
#include "engine/operations/slots.h"
#include "engine/operations/storage.h"

namespace kestrel {

Reading readVariable(EngineContext& ctx, Variable& variable, ValueCell& out) {
    if (isStorable(variable.type) || variable.heldArray() != nullptr) {
        out = load(variable);
        return Reading::Value;
    }
    if (ctx.options.strict) {
        ctx.report(MessageId::ValueNeverSet, variable.name);
        return Reading::Failed;
    }
    variable.type = Nil;
    out = ValueCell::ofNil();
    return Reading::Value;
}

Reading readPlace(EngineContext& ctx, const Place& place, ValueCell& out) {
    switch (place.kind) {
        case Place::Kind::Variable:
            return readVariable(ctx, *place.variable, out);
        case Place::Kind::Element: {
            const FreshVariable fresh(ctx, *place.variable);
            return readElement(ctx, *place.variable, place.indexes, out);
        }
        case Place::Kind::Slot:
        case Place::Kind::SlotElement:
            return readSlot(ctx, place, out);
        case Place::Kind::Member:
        case Place::Kind::IndexedMember:
        case Place::Kind::Field:
            return readMember(ctx, place, out) ? Reading::Value : Reading::Nothing;
    }
    return Reading::Failed;
}

}  // namespace kestrel
