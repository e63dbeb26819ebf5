// Text forms of values.
#pragma once

#include "engine/context/object_kind.h"
#include "engine/values/value.h"

#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

/// The text form that string concatenation and most built-ins use: Number "%g", Integer "%d" of the truncated
/// value, Vector "%g %g %g", texts as they are, Nil the empty text, objects what their kind says.
/// @return nothing for what has no text form (arrays, most objects)
[[nodiscard]] std::optional<std::string> valueText(const EngineContext& ctx, const ValueCell& cell);
/// `prefix` followed by the text form, as a new pool text; null where there is no text form or no memory.
[[nodiscard]] const char* valueText(EngineContext& ctx, std::string_view prefix, const ValueCell& cell);

/// The text of an object for one use; nothing where it has none.
[[nodiscard]] std::optional<std::string> objectText(const EngineContext& ctx, TextUse use,
                                                    const ValueCell& object);

}  // namespace kestrel
