// The messages of the system: the rows of messages.def.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel {

enum class MessageKind { Info, Warning, Error };

/// What becomes of the run after a message.
enum class MessageEffect { Continue, Abort };

/// What the reporter puts before the text; messages.def explains each.
enum class MessagePrefix { None, Line, File, Source };

enum class MessageId : std::uint16_t {
#define KESTREL_MESSAGE(id, name, kind, effect, prefix, text, help) id,
#include "engine/report/messages.def"
#undef KESTREL_MESSAGE
};

/// A row of the table. All texts are literals, so they end with a NUL.
struct MessageRow {
    MessageId id;
    std::string_view name;  ///< "illegal-index"
    MessageKind kind;
    MessageEffect effect;
    MessagePrefix prefix;
    std::string_view text;  ///< without its prefix; %d a number, %s a text, "<br>" the second line
    std::string_view help;  ///< cause and cure, one to three sentences
};

/// All rows, by subject as they stand in the table.
[[nodiscard]] std::span<const MessageRow> messageRows() noexcept;

[[nodiscard]] const MessageRow& messageRow(MessageId id) noexcept;

/// @param name  "illegal-index"
/// @return null for a name that no message has
[[nodiscard]] const MessageRow* findMessage(std::string_view name) noexcept;

}  // namespace kestrel
