#include "engine/operations/members.h"

#include "engine/context/kind_table.h"
#include "engine/operations/increment.h"
#include "engine/operations/operators.h"
#include "engine/operations/slots.h"

namespace kestrel {

namespace {

/// @return nothing after reporting an index that is none
std::optional<MemberAccess> accessOf(EngineContext& ctx, const Place& place) {
    MemberAccess access{place.variable, place.member, place.name, -1};
    if (place.kind != Place::Kind::IndexedMember) return access;
    const std::optional<std::int64_t> index = memberIndex(ctx, place.indexes);
    if (!index) return std::nullopt;
    access.index = *index;
    return access;
}

}  // namespace

bool readMember(EngineContext& ctx, const MemberAccess& access, ValueCell& out) {
    const FreshVariable fresh(ctx, *access.object);
    return ctx.kinds().of(access.object->type).readMember(ctx, access, out);
}

bool writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                 ValueCell& out) {
    const FreshVariable fresh(ctx, *access.object);
    return ctx.kinds().of(access.object->type).writeMember(ctx, access, value, op, out);
}

bool readMember(EngineContext& ctx, const Place& place, ValueCell& out) {
    const std::optional<MemberAccess> access = accessOf(ctx, place);
    if (!access) return false;
    if (place.kind == Place::Kind::Field)
        return ctx.kinds().of(place.variable->type).readField(ctx, *access, out);
    return readMember(ctx, *access, out);
}

bool writeMember(EngineContext& ctx, const Place& place, const ValueCell& value, int op, ValueCell& out) {
    const std::optional<MemberAccess> access = accessOf(ctx, place);
    if (!access) return false;
    if (place.kind == Place::Kind::Field)
        return ctx.kinds().of(place.variable->type).writeField(ctx, *access, value, op, out);
    return writeMember(ctx, *access, value, op, out);
}

void callMethod(EngineContext& ctx, const CodeNode& call, Variable& object) {
    const FreshVariable fresh(ctx, object);
    ctx.kinds().of(object.type).callMethod(ctx, object, call);
}

MemberUpdate updateNumberMember(EngineContext& ctx, double current, double value, int op) {
    if (op == OP_ASSIGN) return {.ok = true, .value = value};
    if (isIncrement(op)) {
        ValueCell number = ValueCell::ofNumber(current);
        ValueCell left;
        incrementStored(op, number, left);
        return {.ok = true, .value = number.number, .leaves = true, .left = left.number};
    }
    MemberUpdate update;
    update.ok = combineNumbers(ctx, plainOperator(op), current, value, update.value);
    return update;
}

}  // namespace kestrel
