// Messages on their way from a worker to the process that shows them.
#pragma once

#include "cli/message_printer.h"

#include <optional>
#include <string>
#include <string_view>

namespace kestrel::cli {

/// A message as one line of text, every byte kept.
[[nodiscard]] std::string packMessage(const ShownMessage& message);
/// @return nothing for a line that packMessage() does not write
[[nodiscard]] std::optional<ShownMessage> unpackMessage(std::string_view line);

}  // namespace kestrel::cli
