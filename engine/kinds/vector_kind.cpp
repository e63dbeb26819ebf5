#include "engine/kinds/vector_kind.h"

#include "engine/context/context.h"
#include "engine/operations/members.h"

namespace kestrel {

namespace {

template <double VectorValue::*kComponent>
void read(EngineContext& ctx, const MemberAccess& access, const MemberRow&) {
    ctx.stack.push(ValueCell::ofNumber(access.object->vec.*kComponent));
}

template <double VectorValue::*kComponent>
void write(EngineContext& ctx, const MemberAccess& access, const MemberRow&, const ValueCell& value, int op) {
    double& component = access.object->vec.*kComponent;
    const MemberUpdate update = updateNumberMember(ctx, component, value.firstDouble(), op);
    if (!update.ok) return;
    component = update.value;
    if (update.pushes) ctx.stack.push(ValueCell::ofNumber(update.pushed));
}

constexpr MemberRow kMembers[] = {
    {"x", MemberType::Number, 1, read<&VectorValue::x>, write<&VectorValue::x>, 0, "The first component."},
    {"y", MemberType::Number, 1, read<&VectorValue::y>, write<&VectorValue::y>, 0, "The second component."},
    {"z", MemberType::Number, 1, read<&VectorValue::z>, write<&VectorValue::z>, 0, "The third component."},
};

constexpr KindWording kWording = {
    .argumentCount = kValueWording.argumentCount,
    .unknownMemberRead = MessageId::UnknownVectorMember,
    .unknownMemberWrite = MessageId::AssignedVectorMember,
};

}  // namespace

VectorKind::VectorKind() : ValueKind("Vector", kMembers, kWording) {}

bool VectorKind::beginWrite(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int) {
    if (value.isNumeric() || value.type == VarRef) return true;
    ctx.report(MessageId::VectorMemberType, access.owner(), access.object->name, access.member);
    return false;
}

}  // namespace kestrel
