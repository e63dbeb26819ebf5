// What scripts can read of the items of the host's scene. Nothing can be written.
#pragma once

#include "engine/context/object_kind.h"

#include <span>

namespace kestrel {

// The order of the rows is that of the texts in which pieces of names are looked for.
[[nodiscard]] std::span<const MemberRow> meshMembers() noexcept;
[[nodiscard]] std::span<const MemberRow> lightMembers() noexcept;
[[nodiscard]] std::span<const MemberRow> cameraMembers() noexcept;
[[nodiscard]] std::span<const MemberRow> boneMembers() noexcept;
[[nodiscard]] std::span<const MemberRow> sceneMembers() noexcept;

}  // namespace kestrel
