// Loading instances from the host's scenes and saving them there.
#pragma once

#include "host/instance.h"

namespace kestrel {

/// Reads the script's name from the host's state, loads the script and lets its `load` read the rest. A state
/// that names no script loads nothing, silently.
void loadInstance(PluginState& state, ShaderInstance& instance, const LoadState& from);

/// The part of a save that runs nothing of the script: its name. Nothing without a script.
void saveScriptName(const ShaderInstance& instance, const SaveState& to);

/// Writes the script's name and lets the script's `save` write the rest. Without a script nothing is written.
void saveInstance(ShaderInstance& instance, const SaveState& to);

}  // namespace kestrel
