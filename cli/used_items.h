// The items of a scene that a script says it depends on.
#pragma once

#include "cli/module_session.h"

#include <nlohmann/json_fwd.hpp>

namespace kestrel::cli {

/// Asks the module for the items that affect the script's surface, as a host does before it renders a part of
/// a scene again. A script that named some, in a scene with an object and a bone of it that are not among
/// them, would never come back from that: it is not asked then, and the user is told why.
/// @param names  receives the items' names, null for a script that named none
/// @return false after telling why it was not asked
[[nodiscard]] bool usedItems(ModuleSession& session, nlohmann::ordered_json& names);

}  // namespace kestrel::cli
