// The values of controls: as scripts have them, and as the host has them.
#pragma once

#include "engine/context/builtin.h"
#include "host/requester.h"
#include "host/text_argument.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

namespace kestrel {

/// A number for the host, which has 32 bits; what is beyond becomes the nearest.
[[nodiscard]] constexpr std::int32_t saturated(std::int64_t value) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

/// A number of a script as a whole number for the host.
[[nodiscard]] inline std::int32_t wholeNumber(const ValueCell& numeric) noexcept {
    return saturated(truncate(numeric.number));
}

/// A value for the host, with the text that it refers to, so it stays where it is.
struct GivenValue {
    GivenValue() = default;
    GivenValue(const GivenValue&) = delete;
    GivenValue& operator=(const GivenValue&) = delete;

    HxControlValue value{};
    std::string text;
};

/// What a script gives for a control of this form. Not for items.
/// @return false for a value of another kind
[[nodiscard]] bool givenValue(const EngineContext& ctx, const ValueCell& cell, ValueForm form,
                              GivenValue& out);

/// An item that a script gives for a list: by its value or its name.
enum class ItemFound {
    Yes,
    NoSuchName,
    WrongType,
    RunEnds  ///< whoever watches the run wants it to end, so nobody has looked to the end
};
[[nodiscard]] ItemFound givenItem(const EngineContext& ctx, const ValueCell& cell, std::int32_t itemType,
                                  GivenValue& out);

/// Ends a call with the value that a control has; what the host has no value for is Nil.
void resultValue(BuiltinCall& call, const PanelControl& control, const HxControlValue& value);

}  // namespace kestrel
