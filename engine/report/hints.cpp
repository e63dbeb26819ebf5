#include "engine/report/hints.h"

namespace kestrel {

namespace {

constexpr HintRow kHintRows[] = {
#define KESTREL_HINT(id, rule, text, help) {HintId::id, rule, text, help},
#include "engine/report/hints.def"
#undef KESTREL_HINT
};

#define KESTREL_HINT(id, rule, text, help) static_assert(isNameOf(#id, rule));
#include "engine/report/hints.def"
#undef KESTREL_HINT

}  // namespace

std::span<const HintRow> hintRows() noexcept {
    return kHintRows;
}

const HintRow& hintRow(HintId id) noexcept {
    return kHintRows[static_cast<std::size_t>(id)];
}

}  // namespace kestrel
