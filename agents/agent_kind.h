// Objects of native classes as values.
#pragma once

#include "engine/context/object_kind.h"

#include <cstdint>
#include <string_view>

namespace kestrel::agents {

/// Values of type ObjectAgent. What can be named on them is what their classes say. Variables that are
/// assigned an object share it.
class AgentKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {ObjectAgent};

    AgentKind();

    [[nodiscard]] bool text(TextUse use, const void* object, ObjectText& out) const override;
    /// Objects compare by their names, as texts do.
    [[nodiscard]] bool compare(int op, const ValueCell& left, const ValueCell& right) const override;
    [[nodiscard]] bool refusedInLists(const void* object, const Variable& target, std::string_view& label,
                                      std::string_view& name) const override;

    [[nodiscard]] void* assigned(EngineContext& ctx, void* object) override;
    void named(void* object, const Variable& variable) override;
    void hold(EngineContext& ctx, void* object) override;
    void drop(EngineContext& ctx, void* object) override;
    void sweep(EngineContext& ctx) override;

protected:
    [[nodiscard]] std::optional<bool> beginRead(EngineContext& ctx, const MemberAccess& access,
                                                ValueCell& out) override;
    [[nodiscard]] std::optional<bool> beginWrite(EngineContext& ctx, const MemberAccess& access,
                                                 const ValueCell& value, int op, ValueCell& out) override;
    /// No method has a row, so all calls arrive here.
    void unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) override;
};

}  // namespace kestrel::agents
