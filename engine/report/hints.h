// Advice beyond the messages: the rows of hints.def, and where hints go.
#pragma once

#include "engine/report/message.h"
#include "engine/report/message_format.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kestrel {

enum class HintId : std::uint8_t {
#define KESTREL_HINT(id, rule, text, help) id,
#include "engine/report/hints.def"
#undef KESTREL_HINT
};

/// A row of the table.
struct HintRow {
    HintId id;
    std::string_view rule;  ///< "negative-number"
    std::string_view text;  ///< %d a number, %s a text
    std::string_view help;  ///< when it appears and why
};

/// All rows, by subject as they stand in the table.
[[nodiscard]] std::span<const HintRow> hintRows() noexcept;
[[nodiscard]] const HintRow& hintRow(HintId id) noexcept;

/// One hint, on its way to whoever shows it.
struct Hint {
    HintId id = HintId::NegativeNumber;
    std::string text;
    SourcePos where;
    const SourceFiles* files = nullptr;  ///< what `where` points into, while the hint is shown; may be null
};

/// Where hints go. Hosts have none.
class HintSink {
public:
    virtual ~HintSink() = default;
    virtual void advise(const Hint& hint) = 0;
};

/// The texts by id, for the check below only.
inline constexpr std::string_view kHintTexts[] = {
#define KESTREL_HINT(id, rule, text, help) text,
#include "engine/report/hints.def"
#undef KESTREL_HINT
};

/// The id of a hint that takes arguments of these kinds. An id whose text asks for others does not compile.
template <class... Kinds>
class HintTaking {
public:
    consteval HintTaking(HintId id)  // NOLINT: implicit on purpose
        : id_(id) {
        checkArguments<Kinds...>(kHintTexts[static_cast<std::size_t>(id)]);
    }
    [[nodiscard]] constexpr HintId id() const noexcept { return id_; }

private:
    HintId id_;
};
template <class... Args>
using HintFor = HintTaking<ArgKind<Args>...>;

}  // namespace kestrel
