#include "engine/context/object_kind.h"

#include "engine/context/context.h"

#include <cassert>
#include <utility>

namespace kestrel {

namespace {

/// @return false after reporting an index outside 1 to the number of elements
bool checkIndex(EngineContext& ctx, const KindWording& wording, const MemberRow& row, std::int64_t index) {
    if (row.elements <= 1 || (index >= 1 && index <= row.elements)) return true;
    ctx.report(wording.memberIndex.message(), row.name, index);
    return false;
}

/// @return false: there is no value
bool reportUnknownObject(EngineContext& ctx, const MemberAccess& access) {
    ctx.report(MessageId::UnknownObject, access.owner(), access.object->name);
    return false;
}

/// Objects that could have members but have none say so in words of their own.
bool knowsMembers(const ObjectInterface& interface) noexcept {
    return !interface.members().empty() || interface.wording().unknownMemberRead.given();
}

bool reportUnknownField(EngineContext& ctx, const MemberAccess& access) {
    ctx.report(MessageId::UnknownRecordMember, access.owner(), access.object->name, access.member);
    return false;
}

/// True when there is a wording for every wrong use that the rows make possible.
[[maybe_unused]] bool saysAll(std::span<const MemberRow> members, std::span<const MethodRow> methods,
                              const KindWording& wording) {
    for (const MemberRow& row : members) {
        if (!wording.unknownMemberRead.given() || !wording.unknownMemberWrite.given()) return false;
        if (row.write == nullptr && !wording.readOnly.given()) return false;
        if (row.elements > 1 && !wording.memberIndex.given()) return false;
    }
    for (const MethodRow& row : methods)
        for (int n = 0; n <= ArgumentCounts::kAny; ++n)
            if (!row.counts.accepts(n) && !wording.argumentCount.given()) return false;
    return true;
}

}  // namespace

ObjectInterface::ObjectInterface(std::string_view label, std::span<const MemberRow> members,
                                 std::span<const MethodRow> methods, const KindWording& wording)
    : label_(label), members_(members), methods_(methods), wording_(wording) {
    assert(saysAll(members, methods, wording));
    if (!wording.pieceOfName.given()) return;
    for (const MemberRow& row : members) knownNames_.append(knownNames_.empty() ? "" : "|").append(row.name);
}

void ObjectInterface::enter(NameTable& names) {
    memberIndex_.enter(members_, names);
    methodIndex_.enter(methods_, names);
}

bool ObjectInterface::isPieceOfName(std::string_view name) const noexcept {
    return !knownNames_.empty() && knownNames_.find(name) != std::string::npos;
}

ObjectKind::ObjectKind(ObjectInterface interface, KindTraits traits)
    : interface_(std::move(interface)), traits_(traits) {}

bool ObjectKind::readMember(EngineContext& ctx, const MemberAccess& access, ValueCell& out) {
    const ObjectInterface& interface = interfaceOf(*access.object);
    if (!knowsMembers(interface)) return reportUnknownObject(ctx, access);
    if (const std::optional<bool> ended = beginRead(ctx, access, out)) return *ended;
    const MemberRow* row = interface.member(access.name);
    if (row == nullptr) {
        out = ValueCell::ofNil();
        return unknownMember(ctx, interface, access, true);
    }
    if (!checkIndex(ctx, interface.wording(), *row, access.index)) {
        out = ValueCell::ofNil();
        return true;
    }
    return row->read(ctx, access, *row, out);
}

bool ObjectKind::writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                             ValueCell& out) {
    const ObjectInterface& interface = interfaceOf(*access.object);
    if (!knowsMembers(interface)) return reportUnknownObject(ctx, access);
    if (const std::optional<bool> ended = beginWrite(ctx, access, value, op, out)) return *ended;
    const MemberRow* row = interface.member(access.name);
    if (row == nullptr) return unknownMember(ctx, interface, access, false);
    if (row->write == nullptr) {
        ctx.report(interface.wording().readOnly.message(), access.member);
        return false;
    }
    return checkIndex(ctx, interface.wording(), *row, access.index) &&
           row->write(ctx, access, *row, value, op, out);
}

/// @return true where the member reads as Nil all the same
bool ObjectKind::unknownMember(EngineContext& ctx, const ObjectInterface& interface,
                               const MemberAccess& access, bool reading) {
    const KindWording& wording = interface.wording();
    if (interface.isPieceOfName(access.member)) {
        ctx.report(wording.pieceOfName.message(), access.member);
        return reading;
    }
    const auto& unknown = reading ? wording.unknownMemberRead : wording.unknownMemberWrite;
    ctx.report(unknown.message(), access.owner(), access.object->name, access.member);
    return false;
}

void ObjectKind::callMethod(EngineContext& ctx, Variable& object, const CodeNode& call) {
    const ObjectInterface& interface = interfaceOf(object);
    const MethodRow* row = interface.method(call.name);
    if (row == nullptr) return unknownMethod(ctx, object, call);
    if (!ctx.need(call.argc)) return;
    runMethod(ctx, call, object, *row);
}

void ObjectKind::runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row) {
    MethodCall method(ctx, call, object, row);
    finish(method);
}

void ObjectKind::finish(MethodCall& call) const {
    if (!call.row.counts.accepts(call.argc))
        return call.failNamed(interfaceOf(call.object).wording().argumentCount.message());
    call.row.run(call);
}

void ObjectKind::unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) {
    if (!ctx.need(call.argc)) return;
    ctx.report(interfaceOf(object).wording().unknownMethod.message(), object.ownerName(), object.name,
               call.operand.variable->name);
    ctx.stack.drop(call.argc);
}

bool ObjectKind::readField(EngineContext& ctx, const MemberAccess& access, ValueCell&) {
    return reportUnknownField(ctx, access);
}

bool ObjectKind::writeField(EngineContext& ctx, const MemberAccess& access, const ValueCell&, int,
                            ValueCell&) {
    return reportUnknownField(ctx, access);
}

bool ObjectKind::text(TextUse, const void*, ObjectText&) const {
    return false;
}

bool ObjectKind::compare(int, const ValueCell&, const ValueCell&) const {
    return false;
}

std::string_view ObjectKind::internalName(std::int32_t) const {
    return {};
}

bool ObjectKind::refusedInLists(const void*, const Variable&, std::string_view&, std::string_view&) const {
    return false;
}

std::optional<std::span<RecordMember>> ObjectKind::parts(void*) const {
    return std::nullopt;
}

StoredAs ObjectKind::storedAs() const {
    return {};
}

void* ObjectKind::assigned(EngineContext&, void* object) {
    return object;
}

void ObjectKind::named(void*, const Variable&) {}

void ObjectKind::hold(EngineContext&, void*) {}

void ObjectKind::drop(EngineContext&, void*) {}

void ObjectKind::sweep(EngineContext&) {}

const ObjectInterface& ObjectKind::interfaceOf(const Variable&) const {
    return interface_;
}

std::optional<bool> ObjectKind::beginRead(EngineContext&, const MemberAccess&, ValueCell&) {
    return std::nullopt;
}

std::optional<bool> ObjectKind::beginWrite(EngineContext&, const MemberAccess&, const ValueCell&, int,
                                           ValueCell&) {
    return std::nullopt;
}

}  // namespace kestrel
