// The catalogue as texts for a terminal.
#pragma once

#include "reference/search.h"

#include <span>
#include <string>

namespace kestrel::reference {

/// Everything that is known of one entry.
[[nodiscard]] std::string describe(const Match& match);
/// The names of a topic, one a line, with what each means.
[[nodiscard]] std::string describe(const Topic& topic);
/// What there is to ask for, and how.
[[nodiscard]] std::string overview(std::span<const Section> catalog);

}  // namespace kestrel::reference
