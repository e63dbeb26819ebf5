// What the host side keeps per loaded script; built-ins and objects find it again through the engine's
// context.
#pragma once

#include "agents/native_code.h"
#include "engine/context/context.h"
#include "host/effected_by.h"
#include "host/host_answers.h"
#include "host/host_interface.h"
#include "host/scene_item_pool.h"
#include "host/state_object.h"
#include "script/sample_context.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrel {

class ScriptEnvironment;

inline constexpr std::size_t kDescriptionLimit = 79;
inline constexpr std::size_t kFlagCount = 11;

struct ShaderContext : SampleContext {
    explicit ShaderContext(ScriptEnvironment& scriptEnvironment);
    /// Closes the panel that the script has left open.
    ~ShaderContext();
    ShaderContext(const ShaderContext&) = delete;
    ShaderContext& operator=(const ShaderContext&) = delete;

    ScriptEnvironment& environment;
    std::string description;                                ///< at most kDescriptionLimit characters
    bool customDescription = false;                         ///< the script chose the description itself
    std::array<std::uint8_t, kFlagCount> requestedFlags{};  ///< what flags() asked for, by flag number
    const LoadState* loadState = nullptr;                   ///< set while the script's `load` runs
    const SaveState* saveState = nullptr;                   ///< set while the script's `save` runs
    // Scripts may keep the object that they were handed, so it lives as long as they do.
    StateObject loadObject{true, false};
    StateObject saveObject{false, false};
    agents::NativeCode native;          ///< classes and compiled libraries of the script
    SceneItemPool items;                ///< behind the script's values of type HxObject
    EffectedBy effectedBy;              ///< what the surface depends on, as the script says
    HostAnswers answers;                ///< to the script's code
    std::vector<HostItemID> usedItems;  ///< what the latest `usedItems` gave out
};

[[nodiscard]] inline ShaderContext& shaderContext(const EngineContext& ctx) noexcept {
    return static_cast<ShaderContext&>(sampleContext(ctx));
}

/// Null but while `process` runs.
[[nodiscard]] inline ShadingSample* shadingSample(const EngineContext& ctx) noexcept {
    return static_cast<ShadingSample*>(ctx.hostRecord);
}

}  // namespace kestrel
