// How the samples of a script are shaded: for people who want it faster.
#pragma once

#include "host/loaded_script.h"

#include <string>

namespace kestrel {

/// Runs init, newtime and a sample, as a host would, and tells what can be shaded without the interpreter and
/// where not, and the code that is made; by lines.
/// @param script  whose code outside functions has run
[[nodiscard]] std::string shadingReport(LoadedScript& script);

}  // namespace kestrel
