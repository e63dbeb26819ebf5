#include "frontend/foreign_names.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kestrel {

namespace {

struct ForeignName {
    ForeignKind kind;
    std::string_view name;
    std::string_view instead;
    [[nodiscard]] constexpr std::pair<ForeignKind, std::string_view> key() const { return {kind, name}; }
};

/// By kind and name.
constexpr auto kNames = [] {
    auto rows = std::to_array<ForeignName>({
#define KESTREL_FOREIGN(kind, name, instead) {ForeignKind::kind, name, instead},
#include "frontend/foreign_names.def"
#undef KESTREL_FOREIGN
    });
    std::ranges::sort(rows, {}, &ForeignName::key);
    return rows;
}();
static_assert(std::ranges::adjacent_find(kNames, {}, &ForeignName::key) == kNames.end(),
              "each name stands once in its kind");

}  // namespace

std::string_view insteadOfForeign(ForeignKind kind, std::string_view name) noexcept {
    const std::pair key{kind, name};
    const auto* found = std::ranges::lower_bound(kNames, key, {}, &ForeignName::key);
    return found != kNames.end() && found->key() == key ? found->instead : std::string_view();
}

}  // namespace kestrel
