#include "engine/report/messages.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace kestrel {

namespace {

constexpr MessageRow kRows[] = {
#define KESTREL_MESSAGE(id, name, kind, effect, prefix, text, help) \
    {MessageId::id, name, MessageKind::kind, MessageEffect::effect, MessagePrefix::prefix, text, help},
#include "engine/report/messages.def"
#undef KESTREL_MESSAGE
};

constexpr std::string_view nameOf(MessageId id) noexcept {
    return kRows[static_cast<std::size_t>(id)].name;
}

/// All ids in the order of their names.
constexpr auto kByName = [] {
    std::array<MessageId, std::size(kRows)> ids{};
    std::transform(std::begin(kRows), std::end(kRows), ids.begin(),
                   [](const MessageRow& row) { return row.id; });
    std::sort(ids.begin(), ids.end(), [](MessageId a, MessageId b) { return nameOf(a) < nameOf(b); });
    return ids;
}();
static_assert(std::adjacent_find(kByName.begin(), kByName.end(),
                                 [](MessageId a, MessageId b) { return nameOf(a) == nameOf(b); }) ==
                  kByName.end(),
              "no name stands for two messages");

#define KESTREL_MESSAGE(id, name, kind, effect, prefix, text, help) static_assert(isNameOf(#id, name));
#include "engine/report/messages.def"
#undef KESTREL_MESSAGE

}  // namespace

std::span<const MessageRow> messageRows() noexcept {
    return kRows;
}

const MessageRow& messageRow(MessageId id) noexcept {
    return kRows[static_cast<std::size_t>(id)];
}

const MessageRow* findMessage(std::string_view name) noexcept {
    const auto found = std::lower_bound(kByName.begin(), kByName.end(), name,
                                        [](MessageId id, std::string_view n) { return nameOf(id) < n; });
    return found != kByName.end() && nameOf(*found) == name ? &messageRow(*found) : nullptr;
}

}  // namespace kestrel
