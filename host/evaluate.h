// The callbacks around rendering: each runs the script's function of the same purpose, if there is one.
#pragma once

#include "engine/fast/batch_run.h"
#include "host/instance.h"

#include <cstdint>

namespace kestrel {

void initInstance(const PluginState& state, ShaderInstance& instance);
void cleanupInstance(const PluginState& state, ShaderInstance& instance);
void newTimeInstance(const PluginState& state, ShaderInstance& instance, std::int32_t frame, double time);

/// Runs `process` on one sample. While the context's abort flag is set nothing happens: a script that failed
/// is not run again until another of its functions has run, which clears the flag.
/// @param passed  what the gate of the script has said of the sample
void evaluateSample(const PluginState& state, const ScriptContext& context, ShadingSample& sample,
                    fast::Ending passed);

/// Whether evaluateSample() would still run something: not while a panel is open, nor after an abort.
[[nodiscard]] bool shades(const PluginState& state, const ShaderInstance& instance) noexcept;

/// Runs `process` on samples in order, in groups where nothing can tell the difference.
/// @param records  ShadingSamples
/// @param single   runs evaluateSample() on one
/// @return how many were shaded; the others would be left as they are
template <class Single>
std::size_t evaluateRecords(const PluginState& state, ShaderInstance& instance, const fast::Records& records,
                            const Single& single) {
    if (!shades(state, instance)) return 0;
    const auto next = [&](std::size_t i) {
        single(*reinterpret_cast<ShadingSample*>(records.at(i)));
        return shades(state, instance);
    };
    return fast::shadeBatch(instance.script()->fast, records, next);
}

/// Runs `flags` and reads what it returned.
/// @return the mask of the values that the script may change, 0 when the run was aborted
std::uint32_t flagsOfInstance(const PluginState& state, ShaderInstance& instance);

}  // namespace kestrel
