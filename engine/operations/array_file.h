// Arrays made of text files.
#pragma once

#include "engine/operations/arrays.h"

#include <string_view>

namespace kestrel {

/// Fills a one-dimensional array with the lines of a file: Numbers and Integers where a line looks like one,
/// else texts. Of a line longer than 1022 characters each 1023 become an element, and what is left another.
/// @param name  as the script wrote it
/// Errors: reports a file that is not there or does not open (devices and pipes, which may never end, do
/// not), and exhausted memory, and sets the abort flag.
void loadArrayFile(EngineContext& ctx, ArrayRecord& array, std::string_view name);

}  // namespace kestrel
