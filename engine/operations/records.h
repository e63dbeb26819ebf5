// Instances of user records.
#pragma once

#include "engine/context/context.h"
#include "engine/values/record_instance.h"

namespace kestrel {

/// A new instance with the declared members and their initial values. Nobody holds it yet.
RecordInstance* makeRecord(EngineContext& ctx, const RecordTemplate& declaration);
/// A new instance with the same members: texts copied, objects and nested records shared.
RecordInstance* copyRecord(EngineContext& ctx, const RecordInstance& source);
/// A holder takes / lets go of an instance; null is allowed.
void holdRecord(EngineContext& ctx, RecordInstance* record) noexcept;
void dropRecord(EngineContext& ctx, RecordInstance* record) noexcept;
/// Releases the instances that nobody holds and no cell on the stack refers to.
void sweepRecords(EngineContext& ctx);

/// Reads `record->member` and pushes the value; reports an unknown member and pushes nothing.
void readRecordMember(EngineContext& ctx, const CodeNode& memberNode, const CodeNode& recordNode);
/// Applies an assignment operator to `record->member` (operators as ObjectKind::writeMember). Pushes nothing
/// but the old or new value of an increment.
void writeRecordMember(EngineContext& ctx, const CodeNode& memberNode, const CodeNode& recordNode,
                       const ValueCell& value, int op);

}  // namespace kestrel
