// Texts made of all arguments of a call.
#pragma once

#include "engine/context/builtin.h"
#include "engine/context/object_kind.h"

#include <optional>
#include <string>
#include <string_view>

namespace kestrel::builtins {

/// The text of one value; nothing for a kind that has none.
/// @param use  how objects read: Value or Name
[[nodiscard]] std::optional<std::string> pieceText(const EngineContext& ctx, const ValueCell& cell,
                                                   TextUse use = TextUse::Value);

/// The text forms of all arguments, joined with no separator. An argument that has none repeats the text of
/// the argument before it: silently where it is Nil, with a warning otherwise. A text that grows too long
/// ends with the last argument that fits, after reporting memory exhaustion.
/// @param function  as the warning names it
[[nodiscard]] std::string joinArguments(BuiltinCall& call, std::string_view function,
                                        TextUse use = TextUse::Value);

}  // namespace kestrel::builtins
