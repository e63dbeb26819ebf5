#include "script/sample_kind.h"

#include "engine/operations/members.h"
#include "script/include/kestrel/script.h"
#include "script/sample_context.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace kestrel {

namespace {

template <class T>
T load(const EngineContext& ctx, std::int64_t offset) {
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(ctx.hostRecord) + offset, sizeof value);
    return value;
}

bool readReal(EngineContext& ctx, const MemberAccess& access, const MemberRow& row, ValueCell& out) {
    out.setScalar(Number, load<double>(ctx, row.placeOf(access.index)));
    return true;
}

bool readWhole(EngineContext& ctx, const MemberAccess&, const MemberRow& row, ValueCell& out) {
    out.setScalar(Integer, load<std::int32_t>(ctx, row.placeOf(1)));
    return true;
}

bool readItem(EngineContext& ctx, const MemberAccess&, const MemberRow& row, ValueCell& out) {
    const auto item = sampleContext(ctx).item;
    out = item != nullptr ? item(ctx, load<std::uint32_t>(ctx, row.placeOf(1))) : ValueCell::ofNil();
    return true;
}

bool readNothing(EngineContext&, const MemberAccess&, const MemberRow&, ValueCell&) {
    return false;
}

void noteBadWrite(EngineContext& ctx) {
    SampleContext& context = sampleContext(ctx);
    if (!context.badWrite.known() && ctx.run.node != nullptr) context.badWrite = ctx.run.node->pos;
}

bool writeReal(EngineContext& ctx, const MemberAccess& access, const MemberRow& row, const ValueCell& value,
               int op, ValueCell& out) {
    if (!value.isNumeric()) {
        ctx.report(MessageId::SampleMemberType, access.member);
        return false;
    }
    const std::int64_t place = row.placeOf(access.index);
    const MemberUpdate update = updateNumberMember(ctx, load<double>(ctx, place), value.number, op);
    if (!update.ok) return false;
    if (!std::isfinite(update.value)) [[unlikely]]
        noteBadWrite(ctx);
    std::memcpy(static_cast<unsigned char*>(ctx.hostRecord) + place, &update.value, sizeof(double));
    return update.leave(out);
}

enum class Form { Whole, Item, Real };
enum class Access { ReadOnly, Writable, Silent, ReadsOXfrm };

constexpr MemberRow memberRow(std::string_view name, Form form, int count, Access access, std::size_t offset,
                              std::string_view description) {
    MemberRow row{name,        MemberType::Number, count, readReal, nullptr, offset,
                  description, MemberLayout::Real};
    if (form == Form::Whole) {
        row.type = MemberType::Integer;
        row.read = readWhole;
        row.layout = MemberLayout::Whole;
    } else if (form == Form::Item) {
        row.type = MemberType::Object;
        row.read = readItem;
        row.layout = MemberLayout::None;
    }
    switch (access) {
        case Access::ReadOnly:
            break;
        case Access::Writable:
            row.write = writeReal;
            break;
        case Access::Silent:
            row.type = MemberType::Nothing;
            row.read = readNothing;
            row.layout = MemberLayout::None;
            row.elements = 1;  // its index is not looked at
            break;
        case Access::ReadsOXfrm:
            row.detail = offsetof(script::Sample, oXfrm);
            break;
    }
    return row;
}

constexpr MemberRow kMembers[] = {
#define KESTREL_SAMPLE_MEMBER(name, form, count, access, description) \
    memberRow(#name, Form::form, count, Access::access, offsetof(script::Sample, name), description),
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
};

constexpr KindWording kWording = {
    .unknownMethod = MessageId::UnknownSampleMethod,
    .argumentCount = {},
    .unknownMemberRead = MessageId::UnknownSampleMember,
    .unknownMemberWrite = MessageId::AssignedSampleMember,
    .pieceOfName = MessageId::PartOfSampleMember,
    .readOnly = MessageId::SampleReadOnly,
    .memberIndex = MessageId::SampleIndexRange,
};

}  // namespace

const MemberRow* findSampleMember(std::string_view name) noexcept {
    const auto* found = std::ranges::find(kMembers, name, &MemberRow::name);
    return found != std::end(kMembers) ? found : nullptr;
}

SampleKind::SampleKind(std::span<const MethodRow> methods)
    : ObjectKind(ObjectInterface("shading sample", kMembers, methods, kWording)) {}

std::string_view SampleKind::internalName(std::int32_t) const {
    return "ShaderObj";
}

std::optional<bool> SampleKind::beginRead(EngineContext& ctx, const MemberAccess&, ValueCell& out) {
    if (ctx.hostRecord != nullptr) return std::nullopt;
    out = ValueCell::ofNil();
    return true;
}

std::optional<bool> SampleKind::beginWrite(EngineContext& ctx, const MemberAccess&, const ValueCell&, int op,
                                           ValueCell& out) {
    if (ctx.hostRecord != nullptr) return std::nullopt;
    out = ValueCell::ofNil();
    return isIncrement(op);
}

}  // namespace kestrel
