// The callbacks around rendering: each runs the script's function of the same purpose, if there is one.
#pragma once

#include "host/instance.h"

#include <cstdint>
#include <optional>

namespace kestrel {

void initInstance(const PluginState& state, ShaderInstance& instance);
void cleanupInstance(const PluginState& state, ShaderInstance& instance);
void newTimeInstance(const PluginState& state, ShaderInstance& instance, std::int32_t frame, double time);

/// Runs `process` on one sample. While the context's abort flag is set nothing happens: a script that failed
/// is not run again until another of its functions has run, which clears the flag.
/// @param tried  how the script's code, which was ready, has left the sample; nothing: it has not run
void evaluateInstance(const PluginState& state, ShaderInstance& instance, ShadingSample& sample,
                      std::optional<fast::Outcome> tried = std::nullopt);
/// True when the next sample may go straight to the script's code, `script()->fast.run()`: that calls nobody
/// and throws nothing, so it needs none of what a callback takes along.
[[nodiscard]] inline bool shadesFast(const ShaderInstance& instance) noexcept {
    const LoadedScript* script = instance.script();
    return script != nullptr && script->fast.ready() && !script->host.environment.requester.open();
}

/// Runs `flags` and reads what it returned.
/// @return the mask of the values that the script may change, 0 when the run was aborted
std::uint32_t flagsOfInstance(const PluginState& state, ShaderInstance& instance);

}  // namespace kestrel
