// What can be seen of a script between two calls, as lines of text. The only place of this folder that knows
// how the engine stores values.
#pragma once

#include "host/loaded_script.h"

#include <string>
#include <vector>

namespace kestrel::equal {

using Lines = std::vector<std::string>;

/// A double to the bit; all NaNs are one.
[[nodiscard]] std::string bitsOf(double number);

/// Appends the state of a script: flags, counters, the random state, and every slot of every variable. Texts,
/// arrays, records and items are followed; a second mention of one says only which it is, so that sharing
/// shows.
/// @param predefined  the predefined names as well
/// @param carryover   only the locals that count for it; null: all
void describe(const LoadedScript& script, bool predefined, fast::Carryover* carryover, Lines& lines);

}  // namespace kestrel::equal
