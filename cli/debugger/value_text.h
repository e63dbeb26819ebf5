// Values of a debugged script: read as a user writes them, shown, and looked up by name.
#pragma once

#include "ipc/debug_client.h"

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel::cli {

struct ShownPart;

/// A value with its first elements or fields.
struct ShownValue {
    debug::DebugValue value;
    std::vector<ShownPart> parts;
};

struct ShownPart {
    std::string name;  ///< what is appended to the reference
    ShownValue value;
};

/// `3`, `2.5`, `"text"` (with \n, \t, \", \\), `<1, 2, 3>`, `nil`.
/// @return nothing when it is none of these
[[nodiscard]] std::optional<debug::DebugValue> parseValue(std::string_view text);

/// As parseValue() reads it; arrays and records with the parts that are there.
[[nodiscard]] std::string valueText(const ShownValue& value);
/// {"type": ..., "value": ...}; with "size" and "parts" for arrays and records.
[[nodiscard]] nlohmann::ordered_json valueJson(const ShownValue& value);

/// Asks for a value with its parts, some levels deep, and the whole of its texts up to a limit.
[[nodiscard]] debug::Answer fetchValue(debug::DebugClient& client, const std::string& reference,
                                       ShownValue& value);
/// Completes one that was listed.
void fetchRest(debug::DebugClient& client, const std::string& reference, ShownValue& value);

}  // namespace kestrel::cli
