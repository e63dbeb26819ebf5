// User records: what a script declares and builds itself.
#pragma once

#include "engine/context/context.h"
#include "engine/kinds/value_kind.h"
#include "engine/values/record_instance.h"

#include <cstdint>
#include <span>

namespace kestrel {

/// Values of type UserRecord. Their members are reached with "->"; by "." they have what every value has.
class RecordKind final : public ValueKind {
public:
    static constexpr std::int32_t kTags[] = {UserRecord};

    RecordKind();

    bool readField(EngineContext& ctx, const MemberAccess& access, ValueCell& out) override;
    bool writeField(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                    ValueCell& out) override;
    [[nodiscard]] bool compare(int op, const ValueCell& left, const ValueCell& right) const override;
    [[nodiscard]] bool refusedInLists(const void* object, const Variable& target, std::string_view& label,
                                      std::string_view& name) const override;
    [[nodiscard]] std::optional<std::span<RecordMember>> parts(void* object) const override;
    [[nodiscard]] StoredAs storedAs() const override;
    /// A fresh instance is taken as it is; one that somebody holds is copied.
    [[nodiscard]] void* assigned(EngineContext& ctx, void* object) override;
    void hold(EngineContext& ctx, void* object) override;
    void drop(EngineContext& ctx, void* object) override;
    void sweep(EngineContext& ctx) override;
};

/// A new instance with the declared members and their initial values. Nobody holds it yet.
RecordInstance* makeRecord(EngineContext& ctx, const RecordTemplate& declaration);
/// The same, with the first members replaced by these values; there are no more values than members.
RecordInstance* constructRecord(EngineContext& ctx, const RecordTemplate& declaration,
                                std::span<const ValueCell> values);
/// A new instance with the same members: texts copied, objects and nested records shared.
RecordInstance* copyRecord(EngineContext& ctx, const RecordInstance& source);
/// A holder takes / lets go of an instance; null is allowed.
void holdRecord(EngineContext& ctx, RecordInstance* record) noexcept;
void dropRecord(EngineContext& ctx, RecordInstance* record) noexcept;

}  // namespace kestrel
