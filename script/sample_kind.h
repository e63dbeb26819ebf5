// The shading object that `process` is handed: members of the sample.
#pragma once

#include "engine/context/object_kind.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel {

/// @return the member of a sample, null when there is none of that name; its detail is its offset
[[nodiscard]] const MemberRow* findSampleMember(std::string_view name) noexcept;

/// Values of type ShaderObj. They carry nothing: the object always means the sample that is being evaluated.
class SampleKind : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {ShaderObj};

    /// @param methods  what a host can do at a sample; they outlive the kind
    explicit SampleKind(std::span<const MethodRow> methods = {});

    [[nodiscard]] std::string_view internalName(std::int32_t tag) const override;

protected:
    /// Outside `process` every member is Nil, and assignments change nothing.
    [[nodiscard]] std::optional<bool> beginRead(EngineContext& ctx, const MemberAccess& access,
                                                ValueCell& out) override;
    [[nodiscard]] std::optional<bool> beginWrite(EngineContext& ctx, const MemberAccess& access,
                                                 const ValueCell& value, int op, ValueCell& out) override;
};

}  // namespace kestrel
