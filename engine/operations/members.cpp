#include "engine/operations/members.h"

#include "engine/context/object_kind.h"
#include "engine/operations/operators.h"

#include <optional>

namespace kestrel {

namespace {

/// Drops what is left of an index list, its DimMark included.
void dropIndexList(EngineContext& ctx) {
    int i = ctx.stack.size() - 1;
    while (i >= ctx.base() && ctx.stack.at(i).type != DimMark) --i;
    if (i >= ctx.base()) ctx.stack.dropTo(i);
}

/// Takes the index list of a member off the stack: exactly one number above the opening marks.
/// @return nothing after reporting
std::optional<std::int64_t> takeMemberIndex(EngineContext& ctx) {
    const auto topIs = [&ctx](std::int32_t tag) {
        return ctx.stack.size() > ctx.base() && ctx.stack.top().type == tag;
    };
    if (topIs(SepMark) || topIs(DimMark)) {
        dropIndexList(ctx);
        ctx.reporter.report("#ELine %d, illegal index value", ctx.run.currentLine);
        return std::nullopt;
    }
    if (!ctx.need(1)) return std::nullopt;
    const ValueCell index = ctx.stack.take();
    if (!index.isNumeric() && index.type != VarRef) {
        ctx.stack.release(index);
        dropIndexList(ctx);
        ctx.reporter.report("#ELine %d, illegal index value", ctx.run.currentLine);
        return std::nullopt;
    }
    if (topIs(SepMark)) ctx.stack.drop(1);
    if (!topIs(DimMark)) {
        dropIndexList(ctx);
        ctx.reporter.report("#ELine %d, illegal dimension count", ctx.run.currentLine);
        return std::nullopt;
    }
    ctx.stack.drop(1);
    return truncate(index.firstDouble());
}

/// Takes the member reference on top, with its index list, off the stack.
/// @return nothing after reporting
std::optional<MemberAccess> takeAccess(EngineContext& ctx) {
    if (!ctx.need(1)) return std::nullopt;
    const ValueCell ref = ctx.stack.take();
    const CodeNode& memberNode = *ref.payload.node;
    std::int64_t index = -1;
    if (ref.type == IndexedMemberRef) {
        const std::optional<std::int64_t> taken = takeMemberIndex(ctx);
        if (!taken) return std::nullopt;
        index = *taken;
    }
    return MemberAccess{&targetVariable(objectNode(memberNode)), memberNode.operand.variable->name, index,
                        memberNode.memberSlot};
}

/// The kind that owns the data members of a variable's value; null where it has none.
ObjectKind* memberKind(const EngineContext& ctx, std::int32_t type) noexcept {
    switch (type) {
        case HxObject:
        case BoneObj:
        case LightObj:
        case CameraObj:
        case SceneObj:
        case ImageListObj:
            return ctx.services.hxObjectKind;
        case ShaderObj:
            return ctx.services.shaderKind;
        case ObjectAgent:
            return ctx.services.agentKind;
        default:
            return nullptr;
    }
}

/// The kind that owns the methods of a variable's value. Files have methods but no data members.
ObjectKind* methodKind(const EngineContext& ctx, std::int32_t type) noexcept {
    switch (type) {
        case FileObj:
            return ctx.services.fileKind;
        case HxioObj:
            return ctx.services.hxioKind;
        default:
            return memberKind(ctx, type);
    }
}

void reportUnknownObject(EngineContext& ctx, const Variable& object) {
    ctx.reporter.report("#ELine %d, unknown object reference: %s::%s", ctx.run.currentLine,
                        object.ownerName(), object.name);
}

/// @return the component of that name, or null
double* vectorComponent(Vec3& v, std::string_view member) noexcept {
    if (member == "x") return &v.x;
    if (member == "y") return &v.y;
    if (member == "z") return &v.z;
    return nullptr;
}

}  // namespace

void readMemberOnTop(EngineContext& ctx) {
    const std::optional<MemberAccess> access = takeAccess(ctx);
    if (!access) return;
    Variable& object = *access->object;
    if (object.type == Vector) return readVectorMember(ctx, object, access->member);
    ObjectKind* kind = memberKind(ctx, object.type);
    if (kind == nullptr) return reportUnknownObject(ctx, object);
    kind->readMember(ctx, *access);
}

void assignMemberOnTop(EngineContext& ctx, int op) {
    if (!ctx.need(2)) return;
    const ValueCell value = ctx.stack.take();
    writeMemberOnTop(ctx, value, op);
    ctx.stack.release(value);
}

void writeMemberOnTop(EngineContext& ctx, const ValueCell& value, int op) {
    const std::optional<MemberAccess> access = takeAccess(ctx);
    if (!access) return;
    Variable& object = *access->object;
    if (object.type == Vector) return writeVectorMember(ctx, object, access->member, value, op);
    ObjectKind* kind = memberKind(ctx, object.type);
    if (kind == nullptr) return reportUnknownObject(ctx, object);
    kind->writeMember(ctx, *access, value, op);
}

void callMethod(EngineContext& ctx, const CodeNode& call, Variable& object) {
    ObjectKind* kind = methodKind(ctx, object.type);
    if (kind == nullptr) return callValueMethod(ctx, call, object);
    if (ctx.need(call.argc)) kind->callMethod(ctx, object, call);
}

void readVectorMember(EngineContext& ctx, Variable& object, const char* member) {
    const double* component = vectorComponent(object.vec, member);
    if (component == nullptr) {
        ctx.reporter.report("#ELine %d, unknown object data member: %s::%s.%s", ctx.run.currentLine,
                            object.ownerName(), object.name, member);
        return;
    }
    ctx.stack.push(ValueCell::ofNumber(*component));
}

void writeVectorMember(EngineContext& ctx, Variable& object, const char* member, const ValueCell& value,
                       int op) {
    if (!value.isNumeric() && value.type != VarRef) {
        ctx.reporter.report("#ELine %d, illegal assignment value to object variable %s::%s.%s",
                            ctx.run.currentLine, object.ownerName(), object.name, member);
        return;
    }
    double* component = vectorComponent(object.vec, member);
    if (component == nullptr) {
        ctx.reporter.report("#ELine %d, unknown VectorObj data member: %s::%s.%s", ctx.run.currentLine,
                            object.ownerName(), object.name, member);
        return;
    }
    const MemberUpdate update = updateNumberMember(ctx, *component, value.firstDouble(), op);
    if (!update.ok) return;
    *component = update.value;
    if (update.pushes) ctx.stack.push(ValueCell::ofNumber(update.pushed));
}

MemberUpdate updateNumberMember(EngineContext& ctx, double current, double value, int op) {
    switch (op) {
        case OP_ASSIGN:
            return {.ok = true, .value = value};
        case OP_POSTINC:
            return {.ok = true, .value = current + 1.0, .pushes = true, .pushed = current};
        case OP_POSTDEC:
            return {.ok = true, .value = current - 1.0, .pushes = true, .pushed = current};
        case OP_PREINC:
            return {.ok = true, .value = current + 1.0, .pushes = true, .pushed = current + 1.0};
        case OP_PREDEC:
            return {.ok = true, .value = current - 1.0, .pushes = true, .pushed = current - 1.0};
        default:
            break;
    }
    MemberUpdate update;
    update.ok = combineNumbers(ctx, plainOperator(op), current, value, update.value);
    return update;
}

}  // namespace kestrel
