#include "engine/operations/records.h"

#include "engine/operations/arrays.h"
#include "engine/operations/increment.h"
#include "engine/operations/members.h"
#include "engine/operations/operators.h"

#include <algorithm>
#include <unordered_set>

namespace kestrel {

namespace {

RecordInstance* registerRecord(EngineContext& ctx, std::unique_ptr<RecordInstance> record) {
    record->index = ctx.records.size();
    ++ctx.looseRecords;
    ctx.records.push_back(std::move(record));
    return ctx.records.back().get();
}

void destroyRecord(EngineContext& ctx, std::size_t index) {
    const std::unique_ptr<RecordInstance> gone = std::move(ctx.records[index]);
    ctx.records[index] = std::move(ctx.records.back());
    ctx.records.pop_back();
    if (index < ctx.records.size()) ctx.records[index]->index = index;
    for (RecordMember& member : gone->members) clearElement(ctx, member.value);
}

/// What `record->member` refers to; null after reporting when there is no such member.
RecordMember* findMember(EngineContext& ctx, const CodeNode& memberNode, const CodeNode& recordNode) {
    Variable& variable = *recordNode.operand.variable;
    const char* name = memberNode.operand.variable->name;
    RecordInstance* record = variable.record();
    RecordMember* member = record != nullptr ? record->find(name) : nullptr;
    if (member == nullptr) {
        ctx.reporter.report("#ELine %d, unknown Record data member: %s::%s.%s", ctx.run.currentLine,
                            variable.ownerName(), variable.name, name);
    }
    return member;
}

}  // namespace

RecordInstance* makeRecord(EngineContext& ctx, const RecordTemplate& declaration) {
    auto record = std::make_unique<RecordInstance>();
    record->declaration = &declaration;
    record->members.reserve(static_cast<std::size_t>(declaration.fieldCount));
    for (const RecordField* field = declaration.fields.head; field != nullptr; field = field->next) {
        record->members.push_back({field->name->name, ValueCell::ofNil()});
        storeValue(ctx, record->members.back().value, field->initial);
    }
    return registerRecord(ctx, std::move(record));
}

RecordInstance* copyRecord(EngineContext& ctx, const RecordInstance& source) {
    auto record = std::make_unique<RecordInstance>();
    record->declaration = source.declaration;
    record->members.reserve(source.members.size());
    for (const RecordMember& member : source.members) {
        record->members.push_back({member.name, ValueCell::ofNil()});
        storeValue(ctx, record->members.back().value, member.value);
    }
    return registerRecord(ctx, std::move(record));
}

// Counted at the ends: looseRecords says how many nobody holds.
void holdRecord(EngineContext& ctx, RecordInstance* record) noexcept {
    if (record != nullptr && record->holders++ == 0) --ctx.looseRecords;
}

void dropRecord(EngineContext& ctx, RecordInstance* record) noexcept {
    if (record != nullptr && --record->holders == 0) ++ctx.looseRecords;
}

void sweepRecords(EngineContext& ctx) {
    std::unordered_set<const RecordInstance*> onStack;
    for (int i = 0; i < ctx.stack.size(); ++i)
        if (ctx.stack.at(i).type == UserRecord) onStack.insert(ctx.stack.at(i).payload.record);
    for (std::size_t i = ctx.records.size(); i > 0; --i) {
        const RecordInstance& record = *ctx.records[i - 1];
        if (record.holders != 0 || onStack.contains(&record)) continue;
        --ctx.looseRecords;
        destroyRecord(ctx, i - 1);
    }
}

void readRecordMember(EngineContext& ctx, const CodeNode& memberNode, const CodeNode& recordNode) {
    if (const RecordMember* member = findMember(ctx, memberNode, recordNode))
        ctx.stack.push(borrowValue(member->value));
}

void writeRecordMember(EngineContext& ctx, const CodeNode& memberNode, const CodeNode& recordNode,
                       const ValueCell& value, int op) {
    RecordMember* member = findMember(ctx, memberNode, recordNode);
    if (member == nullptr) return;
    switch (op) {
        case OP_ASSIGN:
            if (!isStorable(value.type)) {
                ctx.abortWith("#ELine %d, illegal assignment type to record member", ctx.run.currentLine);
                return;
            }
            storeValue(ctx, member->value, value);
            return;
        case OP_POSTINC:
        case OP_POSTDEC:
        case OP_PREINC:
        case OP_PREDEC:
            if (!incrementStored(ctx, op, member->value))
                ctx.abortWith("#ELine %d, illegal operation on variable %s", ctx.run.currentLine,
                              member->name);
            return;
        default:
            combineInto(ctx, plainOperator(op), member->value, value);
            return;
    }
}

}  // namespace kestrel
