// Arrays made of text files.
#pragma once

#include "engine/arrays.h"

#include <string_view>

namespace kestrel {

/// Fills a one-dimensional array with the lines of a file: Numbers and Integers where a line looks like one, else texts.
/// A line longer than 1023 characters becomes several elements.
/// @param name  as the script wrote it
/// Errors: reports a file that is not there or does not open, and exhausted memory, and sets the abort flag.
void loadArrayFile(EngineContext& ctx, ArrayRecord& array, std::string_view name);

}  // namespace kestrel
