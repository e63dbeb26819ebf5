// Loading a script: asking for its file, and everything up to the point where its functions can be called.
#pragma once

#include "host/loaded_script.h"
#include "host/script_environment.h"

#include <memory>
#include <optional>
#include <string>

namespace kestrel {

/// @param name            file to load; nothing: the user is asked
/// @param instanceNumber  what the script's INSTANCE says
/// @return null when the user cancelled or the script does not load
[[nodiscard]] std::unique_ptr<LoadedScript> loadScript(ScriptEnvironment& environment,
                                                       const std::optional<std::string>& name,
                                                       int instanceNumber);

}  // namespace kestrel
