// Values that the user gives to a script's globals from outside.
#pragma once

#include "engine/context/context.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrel {

/// A global and its value. It holds before the script's code outside functions runs and again after it, so
/// that it takes the place of what that code assigns as a default.
struct Preset {
    std::string name;
    std::variant<double, VectorValue, std::string> value;
};

/// Reads "NAME=VALUE". The value is a number, a Vector "<x,y,z>", or else a text; in double quotes it is a
/// text in any case.
/// @param problem  receives a plain sentence when it is none, or a number is not finite
[[nodiscard]] std::optional<Preset> parsePreset(std::string_view assignment, std::string& problem);

/// Sets the globals of a linked program; names that it does not have are passed over.
void applyPresets(EngineContext& ctx, std::span<const Preset> presets);

/// The names of a linked program that presets can be for, in the program's order.
[[nodiscard]] std::vector<std::string> presettableGlobals(const Program& program);

}  // namespace kestrel
