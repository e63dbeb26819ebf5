// Texts of messages with their arguments in place.
#pragma once

#include "engine/report/messages.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace kestrel {

/// One argument of a message format.
struct FormatArg {
    enum class Kind { Integer, Double, Text } kind;
    std::int64_t integer = 0;
    double number = 0.0;
    std::string_view text;

    template <std::integral T>
    FormatArg(T v)
        : kind(Kind::Integer), integer(static_cast<std::int64_t>(v)) {}  // NOLINT: implicit on purpose
    template <std::floating_point T>
    FormatArg(T v) : kind(Kind::Double), number(v) {}
    FormatArg(std::string_view v) : kind(Kind::Text), text(v) {}
    FormatArg(const std::string& v) : kind(Kind::Text), text(v) {}
    FormatArg(const char* v) : kind(Kind::Text), text(v != nullptr ? v : "") {}
};
using FormatArgs = std::initializer_list<FormatArg>;

/// Formats `format` with the reporter's own rules: '-' and digits after '%' are skipped, conversions are
/// c d u ld lu f g s and "%%"; any other letter (a '.' included) consumes nothing and prints nothing. A
/// conversion without an argument left prints nothing. The text is cut at the first newline and at 511
/// characters.
[[nodiscard]] std::string formatMessage(std::string_view format, FormatArgs args);

/// Formats a text behind what stands before it already; both together are cut as above.
[[nodiscard]] std::string formatMessage(std::string before, std::string_view format, FormatArgs args);

/// The texts by id, for the checks below only.
inline constexpr std::string_view kMessageTexts[] = {
#define KESTREL_MESSAGE(id, name, kind, effect, prefix, text, help) text,
#include "engine/report/messages.def"
#undef KESTREL_MESSAGE
};

/// Kinds of arguments, as the texts of messages ask for them: %d and %s.
struct NumberArg {};
struct TextArg {};

/// Does not compile when a text asks for arguments of other kinds than these.
template <class... Kinds>
consteval void checkArguments(std::string_view text) {
    constexpr char kGiven[] = {(std::is_same_v<Kinds, NumberArg> ? 'd' : 's')..., '\0'};
    std::string_view given = kGiven;
    while (text.find('%') != std::string_view::npos) {
        text.remove_prefix(text.find('%') + 1);
        if (!given.starts_with(text.front())) throw "the arguments do not fit the text";
        given.remove_prefix(1);
    }
    if (!given.empty()) throw "more arguments than the text has places";
}

/// What kind an argument of a call is.
template <class Arg>
using ArgKind = typename std::conditional<std::is_arithmetic_v<Arg>, NumberArg, TextArg>::type;

/// The id of a message that takes arguments of these kinds, in this order. An id whose text asks for others
/// does not compile.
template <class... Kinds>
class MessageTaking {
public:
    consteval MessageTaking(MessageId id)  // NOLINT: implicit on purpose
        : id_(id) {
        checkArguments<Kinds...>(kMessageTexts[static_cast<std::size_t>(id)]);
    }
    [[nodiscard]] constexpr MessageId id() const noexcept { return id_; }

private:
    MessageId id_;
};

/// The same for the arguments of a call, which say what the kinds are.
template <class... Args>
using MessageFor = MessageTaking<ArgKind<Args>...>;

}  // namespace kestrel
