// What people who come from other languages write, and what to write here.
#pragma once

#include <cstdint>
#include <string_view>

namespace kestrel {

enum class ForeignKind : std::uint8_t { Function, Word, Type, Value, Sample, Member, Method, Directive };

/// @return what to write in place of a name of another language; empty for other names
[[nodiscard]] std::string_view insteadOfForeign(ForeignKind kind, std::string_view name) noexcept;

}  // namespace kestrel
