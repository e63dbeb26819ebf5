// The callbacks around rendering: each runs the script's function of the same purpose, if there is one.
#pragma once

#include "host/instance.h"

#include <cstdint>

namespace kestrel {

void initInstance(const PluginState& state, ShaderInstance& instance);
void cleanupInstance(const PluginState& state, ShaderInstance& instance);
void newTimeInstance(const PluginState& state, ShaderInstance& instance, std::int32_t frame, double time);

/// Runs `process` on one sample. While the context's abort flag is set nothing happens: a script that failed
/// is not run again until another of its functions has run, which clears the flag.
/// @param passed  what the gate of the instance's script has said of the sample
void evaluateInstance(const PluginState& state, ShaderInstance& instance, ShadingSample& sample,
                      fast::Ending passed);

/// Runs `flags` and reads what it returned.
/// @return the mask of the values that the script may change, 0 when the run was aborted
std::uint32_t flagsOfInstance(const PluginState& state, ShaderInstance& instance);

}  // namespace kestrel
