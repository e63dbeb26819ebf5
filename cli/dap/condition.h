// When a breakpoint counts: a comparison of two values, and how often its line has been reached.
#pragma once

#include "ipc/debug_client.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::cli::dap {

/// `VALUE`, or `VALUE OPERATOR VALUE` with ==, !=, <, <=, >, >=. A value is a name or what parseValue()
/// reads.
struct Condition {
    std::string left;
    std::string comparison;  ///< empty: whether the left one is neither 0, nil nor an empty text
    std::string right;

    /// @return nothing when it has another form
    [[nodiscard]] static std::optional<Condition> parse(std::string_view text);
    /// @param function  whose variables names mean first
    /// Errors: throws Refused or NotYet
    [[nodiscard]] bool holds(debug::DebugClient& client, const std::string& function) const;
};

/// `N` or `== N`: the N-th time; `> N`, `>= N`, `< N`, `<= N`; `% N`: each N-th time.
struct HitCondition {
    std::string comparison = "==";
    std::int64_t number = 1;

    [[nodiscard]] static std::optional<HitCondition> parse(std::string_view text);
    [[nodiscard]] bool holds(std::int64_t times) const;
};

}  // namespace kestrel::cli::dap
