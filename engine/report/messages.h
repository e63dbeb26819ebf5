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

/// True when the words of an enumerator, in lower case and joined by "-", are the name.
constexpr bool isNameOf(std::string_view enumerator, std::string_view name) {
    for (std::size_t i = 0; i < enumerator.size(); ++i) {
        const bool capital = enumerator[i] >= 'A' && enumerator[i] <= 'Z';
        if (capital && i > 0) {
            if (!name.starts_with('-')) return false;
            name.remove_prefix(1);
        }
        const char letter = capital ? static_cast<char>(enumerator[i] - 'A' + 'a') : enumerator[i];
        if (!name.starts_with(letter)) return false;
        name.remove_prefix(1);
    }
    return name.empty();
}

}  // namespace kestrel
