// One script that was loaded for the host: its engine, its host side, and the functions that the host calls.
#pragma once

#include "engine/context/context.h"
#include "engine/fast/fast_process.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace kestrel {

/// The functions that a script may define for the host, matched by their exact names.
enum class HostFunction : std::size_t {
#define KESTREL_HOST_FUNCTION(id, name, form, description) id,
#include "host/called_functions.def"
};
inline constexpr std::size_t kHostFunctions = 0
#define KESTREL_HOST_FUNCTION(id, name, form, description) +1
#include "host/called_functions.def"
    ;

class LoadedScript {
public:
    /// Compiles a script and runs its code outside functions. Messages have been shown.
    /// @param systemPath      absolute, "\"-separated, letter case kept
    /// @param instanceNumber  what the script's INSTANCE says
    /// @return null when the script does not compile or lacks something
    [[nodiscard]] static std::unique_ptr<LoadedScript> load(ScriptEnvironment& environment,
                                                            std::string_view systemPath, int instanceNumber);

    explicit LoadedScript(ScriptEnvironment& environment);
    LoadedScript(const LoadedScript&) = delete;
    LoadedScript& operator=(const LoadedScript&) = delete;

    /// For who has made it ready himself: runs the code outside functions, with the presets.
    /// @return the abort flag (false = success)
    bool start();
    /// @return null when the script does not define the function
    [[nodiscard]] FunctionRecord* function(HostFunction which) const noexcept {
        return functions_[static_cast<std::size_t>(which)];
    }
    /// Runs one of the script's functions, if it has it, and forgets its results.
    void call(HostFunction which, std::span<const ValueCell> args = {});
    /// The full path in upper case.
    [[nodiscard]] const std::string& path() const noexcept { return engine.reporter.state.scriptPath; }
    /// Unloads the script: the report of unused variables, if wanted, and everything that it made.
    void unload();

    ShaderContext host;
    EngineContext engine;  ///< after `host`: it goes first
    fast::FastProcess fast{engine};

private:
    bool open(std::string_view systemPath, int instanceNumber);

    std::array<FunctionRecord*, kHostFunctions> functions_{};
};

}  // namespace kestrel
