// What is said about the script around an expression, in terms of the expression.
#pragma once

#include "cli/message_printer.h"

#include <optional>

namespace kestrel::cli {

class TextScript;

/// The message as whoever wrote the expression is to see it; nothing for one that only tells of the lines
/// around.
/// @param message     about a place in `script`
/// @param errorShown  an error about the expression has been shown
[[nodiscard]] std::optional<ShownMessage> aboutExpression(ShownMessage message, const TextScript& script,
                                                          bool errorShown);

}  // namespace kestrel::cli
