#include "engine/kinds/record_kind.h"

#include "engine/operations/compound.h"
#include "engine/operations/increment.h"
#include "engine/operations/operators.h"
#include "engine/operations/storage.h"

#include <algorithm>

namespace kestrel {

namespace {

RecordInstance* registerRecord(EngineContext& ctx, std::unique_ptr<RecordInstance> record) {
    // One too many is no matter: the run ends with it.
    if (!record->memory.resize(sizeof(RecordInstance) + record->members.size() * sizeof(RecordMember)))
        ctx.pool.exhausted();
    record->index = ctx.records.size();
    ++ctx.looseObjects;
    ctx.records.push_back(std::move(record));
    return ctx.records.back().get();
}

void destroyRecord(EngineContext& ctx, std::size_t index) {
    const std::unique_ptr<RecordInstance> gone = std::move(ctx.records[index]);
    ctx.records[index] = std::move(ctx.records.back());
    ctx.records.pop_back();
    if (index < ctx.records.size()) ctx.records[index]->index = index;
    for (RecordMember& member : gone->members) clear(ctx, member.value);
}

/// The member that an access names; null when there is none.
RecordMember* findMember(const MemberAccess& access) noexcept {
    RecordInstance* record = access.object->heldRecord();
    if (record == nullptr) return nullptr;
    const std::int32_t position = record->declaration->positionOf(access.name);
    return position < 0 ? nullptr : &record->members[static_cast<std::size_t>(position)];
}

/// Records are equal when they come from one declaration and their first members hold values of one type. The
/// values are not looked at. Meant.
bool sameKindOfRecord(const RecordInstance* a, const RecordInstance* b) noexcept {
    if (a == b) return true;
    if (a == nullptr || b == nullptr || a->declaration != b->declaration) return false;
    if (a->members.empty() || b->members.empty()) return a->members.empty() == b->members.empty();
    const ValueCell& first = a->members.front().value;
    const ValueCell& other = b->members.front().value;
    return first.type == other.type || (first.isText() && other.isText());
}

RecordInstance* instance(void* object) noexcept {
    return static_cast<RecordInstance*>(object);
}

}  // namespace

RecordInstance* makeRecord(EngineContext& ctx, const RecordTemplate& declaration) {
    auto record = std::make_unique<RecordInstance>(ctx.pool);
    record->declaration = &declaration;
    record->members.reserve(static_cast<std::size_t>(declaration.fieldCount));
    for (const RecordField* field = declaration.fields.head; field != nullptr; field = field->next) {
        record->members.push_back({field->name->name, ValueCell::ofNil()});
        store(ctx, record->members.back().value, field->initial);
    }
    return registerRecord(ctx, std::move(record));
}

RecordInstance* constructRecord(EngineContext& ctx, const RecordTemplate& declaration,
                                std::span<const ValueCell> values) {
    RecordInstance* const record = makeRecord(ctx, declaration);
    for (std::size_t i = 0; i < values.size(); ++i) store(ctx, record->members[i].value, values[i]);
    return record;
}

RecordInstance* copyRecord(EngineContext& ctx, const RecordInstance& source) {
    auto record = std::make_unique<RecordInstance>(ctx.pool);
    record->declaration = source.declaration;
    record->members.reserve(source.members.size());
    for (const RecordMember& member : source.members) {
        record->members.push_back({member.name, ValueCell::ofNil()});
        store(ctx, record->members.back().value, member.value);
    }
    return registerRecord(ctx, std::move(record));
}

// Counted at the ends: looseObjects says how many nobody holds.
void holdRecord(EngineContext& ctx, RecordInstance* record) noexcept {
    if (record != nullptr && record->holders++ == 0) --ctx.looseObjects;
}

void dropRecord(EngineContext& ctx, RecordInstance* record) noexcept {
    if (record != nullptr && --record->holders == 0) ++ctx.looseObjects;
}

RecordKind::RecordKind() : ValueKind("record", {}, kValueWording, {.counted = true, .endsWithCall = true}) {}

bool RecordKind::readField(EngineContext& ctx, const MemberAccess& access, ValueCell& out) {
    const RecordMember* member = findMember(access);
    if (member == nullptr) return ValueKind::readField(ctx, access, out);
    out = load(member->value);
    return true;
}

bool RecordKind::writeField(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                            ValueCell& out) {
    RecordMember* member = findMember(access);
    if (member == nullptr) return ValueKind::writeField(ctx, access, value, op, out);
    if (isIncrement(op)) {
        if (incrementStored(op, member->value, out)) return true;
        ctx.report(MessageId::CannotCount, member->name);
    } else if (op != OP_ASSIGN) {
        combineStored(ctx, op, member->value, value, Keeps::Nothing);
    } else if (isStorable(value.type)) {
        store(ctx, member->value, value);
    } else {
        ctx.report(MessageId::RecordMemberType);
    }
    return false;
}

bool RecordKind::compare(int op, const ValueCell& left, const ValueCell& right) const {
    const bool equal = right.type == UserRecord && sameKindOfRecord(left.record, right.record);
    return equality(op, equal);
}

bool RecordKind::refusedInLists(const void* object, const Variable&, std::string_view& label,
                                std::string_view& name) const {
    label = "UserRecord";
    name = static_cast<const RecordInstance*>(object)->declaration->name->name;
    return true;
}

std::optional<std::span<RecordMember>> RecordKind::parts(void* object) const {
    if (object == nullptr) return std::nullopt;
    return std::span(instance(object)->members);
}

StoredAs RecordKind::storedAs() const {
    return {.type = "rec", .refusedGlobal = true};
}

void* RecordKind::assigned(EngineContext& ctx, void* object) {
    RecordInstance* record = instance(object);
    if (record->holders != 0) record = copyRecord(ctx, *record);
    holdRecord(ctx, record);
    return record;
}

void RecordKind::hold(EngineContext& ctx, void* object) {
    holdRecord(ctx, instance(object));
}

void RecordKind::drop(EngineContext& ctx, void* object) {
    dropRecord(ctx, instance(object));
}

void RecordKind::sweep(EngineContext& ctx) {
    const auto mark = [&ctx](bool value) {
        for (int i = 0; i < ctx.stack.size(); ++i) {
            const ValueCell& cell = ctx.stack.at(i);
            if (cell.type == UserRecord && cell.record != nullptr) cell.record->onStack = value;
        }
    };
    mark(true);
    for (std::size_t i = ctx.records.size(); i > 0; --i) {
        if (i > ctx.records.size()) continue;  // what ended with a record took others along
        const RecordInstance& record = *ctx.records[i - 1];
        if (record.holders != 0 || record.onStack) continue;
        --ctx.looseObjects;
        destroyRecord(ctx, i - 1);
    }
    mark(false);
}

}  // namespace kestrel
