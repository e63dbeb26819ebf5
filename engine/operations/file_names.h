// File names as scripts write them.
#pragma once

#include "engine/context/context.h"

#include <string>
#include <string_view>

namespace kestrel {

/// What every file name that a script gives goes through before it is used: each "/" before the first blank
/// becomes a "\", unless the script switched that off (pragma "literalpaths"). From the first blank on the
/// text stays, so that of a command line only the program's path changes.
[[nodiscard]] std::string convertSeparators(const EngineContext& ctx, std::string_view name);

}  // namespace kestrel
