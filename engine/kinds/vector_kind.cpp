#include "engine/kinds/vector_kind.h"

#include "engine/context/context.h"
#include "engine/operations/members.h"

namespace kestrel {

namespace {

template <double VectorValue::*kComponent>
bool read(EngineContext&, const MemberAccess& access, const MemberRow&, ValueCell& out) {
    out = ValueCell::ofNumber(access.object->vec.*kComponent);
    return true;
}

template <double VectorValue::*kComponent>
bool write(EngineContext& ctx, const MemberAccess& access, const MemberRow&, const ValueCell& value, int op,
           ValueCell& out) {
    double& component = access.object->vec.*kComponent;
    const MemberUpdate update = updateNumberMember(ctx, component, value.firstDouble(), op);
    if (update.ok) component = update.value;
    return update.leave(out);
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

std::optional<bool> VectorKind::beginWrite(EngineContext& ctx, const MemberAccess& access,
                                           const ValueCell& value, int, ValueCell&) {
    if (value.isNumeric() || value.type == VarRef) return std::nullopt;
    ctx.report(MessageId::VectorMemberType, access.owner(), access.object->name, access.member);
    return false;
}

}  // namespace kestrel
