// Uses of the shader on surfaces, and the scripts that they share.
#pragma once

#include "host/host_interface.h"
#include "host/loaded_script.h"

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kestrel {

struct PluginState;
struct ShaderInstance;

/// What instances made by `copy` from one another share: loading a script into one of them shows in all.
class ScriptContext {
public:
    std::int16_t activationNumber = 0;     ///< of the activation in which the first of them was created
    std::unique_ptr<LoadedScript> script;  ///< null while no script is loaded; see take()
    Gate* gate = &none_;                   ///< the script's; one that is shut without a script
    bool busy = false;                     ///< a callback is at work with the script: see Working
    ShaderInstance* ending = nullptr;      ///< instances that were destroyed meanwhile

    ScriptContext() = default;
    ScriptContext(const ScriptContext&) = delete;
    ScriptContext& operator=(const ScriptContext&) = delete;
    /// @param taken  null: from now on no script is loaded
    void take(std::unique_ptr<LoadedScript> taken) noexcept {
        gate = taken != nullptr ? &taken->engine.gate : &none_;
        if (rest_ != nullptr) gate->leaveTo(this, rest_);
        script = std::move(taken);
    }
    /// From now on the gate leaves it to `rest`, with this context, what is left to do about samples.
    void leaveTo(Gate::Otherwise rest) noexcept {
        rest_ = rest;
        gate->leaveTo(this, rest);
    }

private:
    Gate none_;
    Gate::Otherwise rest_ = nullptr;
};

struct ShaderInstance {
    std::shared_ptr<ScriptContext> context;
    std::list<ShaderInstance>::iterator place;  ///< in PluginState::instances
    bool destroyed = false;                     ///< the host has let go of it
    ShaderInstance* nextEnding = nullptr;       ///< in ScriptContext::ending

    [[nodiscard]] LoadedScript* script() const noexcept { return context->script.get(); }
};

/// A callback at work with an instance. The host may call back from its operations, and what reaches the same
/// script then must find it busy: its variables, stack and sample belong to the call in progress. Instances
/// that the host destroys meanwhile end with this scope.
class Working {
public:
    /// @param context  the instance's, not busy
    Working(PluginState& state, ScriptContext& context) noexcept;
    ~Working();
    Working(const Working&) = delete;
    Working& operator=(const Working&) = delete;

private:
    PluginState& state_;
    ScriptContext& context_;
};

/// A new instance without a script.
ShaderInstance* createInstance(PluginState& state);

/// Ends an instance, at once or as soon as its script is no longer busy. The last one of those that share a
/// script runs the script's `destroy` and unloads it; the last instance of all releases the host's services.
void destroyInstance(PluginState& state, ShaderInstance& instance);

/// From now on both instances run the source's script with one state. The destination lets go of its own.
void copyInstance(const ShaderInstance& source, ShaderInstance& destination);

/// Loads a script into an instance and runs the script's `create`. An instance whose script does not load
/// stays as it is.
/// @param name  file to load; nothing: the user is asked
/// @return false when nothing was loaded
bool attachScript(PluginState& state, ShaderInstance& instance, const std::optional<std::string>& name);

/// The line that the host shows for an instance, in the module's static buffer.
const char* describeInstance(PluginState& state, const ShaderInstance& instance);

/// The options entry: lets the user choose a script, or runs the script's `options`.
/// @return an HxActivation
std::int32_t editInstance(PluginState& state, ShaderInstance& instance);

}  // namespace kestrel
