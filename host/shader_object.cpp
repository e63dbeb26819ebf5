#include "host/shader_object.h"

#include "engine/context/builtin.h"
#include "engine/operations/members.h"
#include "host/host_builtins.h"
#include "host/shader_context.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

namespace kestrel {

namespace {

/// How a member lies in the sample and what it reads as.
enum class MemberForm {
    WholeNumber,  // i32, an Integer
    Scalar,       // double; an index is ignored
    Elements,     // doubles, read one at a time by index
    Item,         // item number, an HxObject
    Silent,       // recognised, but a read yields nothing
};

struct SampleMember {
    std::string_view name;
    std::size_t offset;
    MemberForm form;
    int count;
    bool writable;
};

using enum MemberForm;

constexpr SampleMember kMembers[] = {
    {"sx", offsetof(ShadingSample, sx), WholeNumber, 1, false},
    {"sy", offsetof(ShadingSample, sy), WholeNumber, 1, false},
    {"oPos", offsetof(ShadingSample, oPos), Elements, 3, false},
    {"wPos", offsetof(ShadingSample, wPos), Elements, 3, false},
    {"gNorm", offsetof(ShadingSample, gNorm), Elements, 3, false},
    {"spotSize", offsetof(ShadingSample, spotSize), Scalar, 1, false},
    // Meant: the ray's source is a known name without a value.
    {"raySource", offsetof(ShadingSample, raySource), Silent, 3, false},
    {"rayLength", offsetof(ShadingSample, rayLength), Scalar, 1, false},
    {"cosine", offsetof(ShadingSample, cosine), Scalar, 1, false},
    {"oXfrm", offsetof(ShadingSample, oXfrm), Elements, 9, false},
    // Meant: both transforms read the same nine numbers.
    {"wXfrm", offsetof(ShadingSample, oXfrm), Elements, 9, false},
    {"objID", offsetof(ShadingSample, objID), Item, 1, false},
    {"polNum", offsetof(ShadingSample, polNum), WholeNumber, 1, false},
    {"wNorm", offsetof(ShadingSample, wNorm), Elements, 3, true},
    {"color", offsetof(ShadingSample, color), Elements, 3, true},
    {"luminous", offsetof(ShadingSample, luminous), Scalar, 1, true},
    {"diffuse", offsetof(ShadingSample, diffuse), Scalar, 1, true},
    {"specular", offsetof(ShadingSample, specular), Scalar, 1, true},
    {"mirror", offsetof(ShadingSample, mirror), Scalar, 1, true},
    {"transparency", offsetof(ShadingSample, transparency), Scalar, 1, true},
    {"eta", offsetof(ShadingSample, eta), Scalar, 1, true},
    {"roughness", offsetof(ShadingSample, roughness), Scalar, 1, true},
};

/// Meant: a name is first looked for anywhere in this text, so a piece of it ("os") counts as known and only
/// fails the exact comparison afterwards, with another message.
constexpr char kKnownNames[] =
    "sx|sy|oPos|wPos|gNorm|spotSize|raySource|rayLength|cosine|oXfrm|wXfrm|objID|polNum|wNorm|color|luminous|"
    "diffuse|"
    "specular|mirror|transparency|eta|roughness";

constexpr bool namesMatchTable() {
    std::string_view rest = kKnownNames;
    for (const SampleMember& member : kMembers) {
        if (!rest.starts_with(member.name)) return false;
        rest.remove_prefix(member.name.size());
        if (!rest.empty()) rest.remove_prefix(1);
    }
    return rest.empty();
}
static_assert(namesMatchTable());

/// Slots of names that are no members; others are positions in kMembers.
enum NameSlot { kUnknownName = -1, kPieceOfName = -2 };

/// The built-ins that are methods too, by method slot.
constexpr std::pair<std::string_view, BuiltinHandler> kMethods[] = {{"illuminate", illuminateBuiltin},
                                                                    {"raytrace", raytraceBuiltin}};

void reportPieceOfName(EngineContext& ctx, const char* name) {
    ctx.reporter.report("#ELine %d, unknown Shader data member specified: %s", ctx.run.currentLine, name);
}

/// @return false after reporting an index outside 1 to the number of elements
bool checkIndex(EngineContext& ctx, const SampleMember& member, std::int64_t index) {
    if (index >= 1 && index <= member.count) return true;
    ctx.reporter.report("#ELine %d, illegal index value: %s[%d]", ctx.run.currentLine, member.name, index);
    return false;
}

template <class T>
T load(const ShadingSample& sample, std::size_t offset) {
    T value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(&sample) + offset, sizeof value);
    return value;
}

std::size_t elementOffset(const SampleMember& member, std::int64_t index) {
    if (member.form != Elements) return member.offset;
    return member.offset + static_cast<std::size_t>(index - 1) * sizeof(double);
}

bool isIncrement(int op) {
    return op == OP_PREINC || op == OP_PREDEC || op == OP_POSTINC || op == OP_POSTDEC;
}

}  // namespace

int ShaderObjectKind::memberSlot(std::string_view name) const noexcept {
    const auto found = std::find_if(std::begin(kMembers), std::end(kMembers),
                                    [name](const SampleMember& member) { return member.name == name; });
    if (found != std::end(kMembers)) return static_cast<int>(found - std::begin(kMembers));
    return std::string_view(kKnownNames).find(name) != std::string_view::npos ? kPieceOfName : kUnknownName;
}

int ShaderObjectKind::methodSlot(std::string_view name) const noexcept {
    for (std::size_t i = 0; i < std::size(kMethods); ++i)
        if (kMethods[i].first == name) return static_cast<int>(i);
    return -1;
}

void ShaderObjectKind::readMember(EngineContext& ctx, const MemberAccess& access) {
    ShaderContext& context = shaderContext(ctx);
    if (context.sample == nullptr) {
        ctx.stack.push(ValueCell::ofNil());
        return;
    }
    if (access.slot == kUnknownName) {
        ctx.reporter.report("#ELine %d, unknown ShaderObj data member: %s::%s.%s", ctx.run.currentLine,
                            access.owner(), access.object->name, access.member);
        return;
    }
    if (access.slot == kPieceOfName) {
        reportPieceOfName(ctx, access.member);
        ctx.stack.push(ValueCell::ofNil());
        return;
    }
    const SampleMember& member = kMembers[access.slot];
    const ShadingSample& sample = *context.sample;
    switch (member.form) {
        case WholeNumber:
            ctx.stack.push(ValueCell::ofInteger(load<std::int32_t>(sample, member.offset)));
            break;
        case Item:
            ctx.stack.push(ValueCell::ofObject(
                HxObject, &context.sceneItem(HX_MESH, load<HostItemID>(sample, member.offset))));
            break;
        case Elements:
            if (!checkIndex(ctx, member, access.index)) {
                ctx.stack.push(ValueCell::ofNil());
                break;
            }
            [[fallthrough]];
        case Scalar:
            ctx.stack.push(ValueCell::ofNumber(load<double>(sample, elementOffset(member, access.index))));
            break;
        case Silent:
            break;
    }
}

void ShaderObjectKind::writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value,
                                   int op) {
    ShadingSample* sample = shaderContext(ctx).sample;
    if (sample == nullptr) {
        if (isIncrement(op)) ctx.stack.push(ValueCell::ofNil());
        return;
    }
    if (access.slot == kUnknownName) {
        ctx.reporter.report("#ELine %d, unknown ShaderObject data member: %s::%s.%s", ctx.run.currentLine,
                            access.owner(), access.object->name, access.member);
        return;
    }
    if (access.slot == kPieceOfName) return reportPieceOfName(ctx, access.member);
    const SampleMember& member = kMembers[access.slot];
    if (!member.writable) {
        ctx.reporter.report("#ELine %d, illegal assignment to read-only Shader data member: %s",
                            ctx.run.currentLine, access.member);
        return;
    }
    if (member.form == Elements && !checkIndex(ctx, member, access.index)) return;
    if (!value.isNumeric()) {
        ctx.reporter.report("#ELine %d, illegal value in assignment to Shader data member: %s",
                            ctx.run.currentLine, access.member);
        return;
    }
    const std::size_t offset = elementOffset(member, access.index);
    const MemberUpdate update =
        updateNumberMember(ctx, load<double>(*sample, offset), value.payload.number, op);
    if (!update.ok) return;
    std::memcpy(reinterpret_cast<unsigned char*>(sample) + offset, &update.value, sizeof update.value);
    if (update.pushes) ctx.stack.push(ValueCell::ofNumber(update.pushed));
}

void ShaderObjectKind::callMethod(EngineContext& ctx, Variable& object, const CodeNode& call) {
    if (!ctx.need(call.argc)) return;
    const char* name = call.operand.variable->name;
    BuiltinCall method(ctx, call, 0, name);
    if (call.memberSlot >= 0) return kMethods[call.memberSlot].second(method);
    ctx.reporter.report("#ELine %d, unknown object method: (ShaderObj)%s::%s.%s()", ctx.run.currentLine,
                        object.ownerName(), object.name, name);
    method.none();
}

}  // namespace kestrel
