// Loads the plug-in module and talks to its two servers.
#pragma once

#include "host/module_extension.h"
#include "platform/dynamic_library.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel::preview {

class PreviewServices;

/// The module, loaded and with its shader server activated.
class ModuleHost {
public:
    /// Loads the module, checks its descriptor, starts it and activates the shader server.
    /// @param modulePath  native path
    /// @param services    what the module may ask for; outlives it
    /// @param error       receives a plain sentence when it fails
    /// @return null on failure
    [[nodiscard]] static std::unique_ptr<ModuleHost> open(const std::string& modulePath,
                                                          const PreviewServices& services,
                                                          std::string& error);
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    [[nodiscard]] const ShaderHandlerRecord& shader() const noexcept { return shader_; }

    /// Activates the server by which a user edits an instance.
    void edit(HxInstance instance) const;

    /// The means to end a running script; null when the module is not ours.
    [[nodiscard]] KestrelRunWatch* watch() const noexcept;
    /// True when the last run of script code in the instance ended with a fatal error; for null, the same of
    /// the instance that was destroyed last. False when that cannot be told.
    [[nodiscard]] bool aborted(HxInstance instance) const;

    /// Gives the script that is loaded next a debugger link. @return false when the module cannot
    [[nodiscard]] bool setDebugLink(const std::string& name) const;
    /// Gives a global of all scripts that are loaded from now on a value: "NAME=VALUE".
    /// @return false when the module cannot, or the text is none
    [[nodiscard]] bool preset(const std::string& assignment) const;
    /// True while a debugger can reach the instance's script.
    [[nodiscard]] bool debugged(HxInstance instance) const;

    /// Where the instance's script has first written a number that is not finite into a sample since this was
    /// asked last. Nothing when it has not, or that cannot be told.
    [[nodiscard]] std::optional<KestrelPlace> badWrite(HxInstance instance) const;

    /// How the samples of the instance's script have been shaded since it was loaded; what it points to lasts
    /// until this is asked again. Nothing where that cannot be told.
    [[nodiscard]] std::optional<KestrelShading> shading(HxInstance instance) const;

    /// Shades samples in order, several at a time where that makes no difference (see
    /// KestrelModule::evaluateMany).
    void evaluate(HxInstance instance, std::span<ShadingSample> samples) const;

    /// The names that the instance's script gave to effectedby(). Empty when it gave none, or that cannot be
    /// told.
    [[nodiscard]] std::vector<std::string> effectedBy(HxInstance instance) const;

    /// From now on scripts that are loaded have their advice taken (see KestrelModule::setAdvice); a module
    /// that cannot gives none.
    void setAdvice(void (*take)(void* user, const char* rule, const char* text), void* user) const;

    /// While a message of the module is shown, or its advice taken: its place, then the lines that brought in
    /// that file, innermost first. Empty when that cannot be told.
    [[nodiscard]] std::vector<KestrelPlace> placeOfMessage() const;
    /// While a message of the module is shown: its name, such as "division-by-zero". Empty when that cannot
    /// be told.
    [[nodiscard]] std::string nameOfMessage() const;

private:
    ModuleHost() = default;
    [[nodiscard]] const ServerRecord* server(const char* className) const;
    [[nodiscard]] bool checkAndStart(std::string& error);
    [[nodiscard]] bool activateShader(std::string& error);

    std::unique_ptr<platform::DynamicLibrary> library_;
    const ModuleDescriptor* descriptor_ = nullptr;
    const KestrelModule* extension_ = nullptr;
    HostGlobal global_ = nullptr;
    bool started_ = false;
    ShaderHandlerRecord shader_{};
};

/// The module to load: what the environment variable KESTREL_MODULE names, else kestrel-pt.so beside the
/// running program, or where both are installed.
[[nodiscard]] std::string defaultModulePath();

}  // namespace kestrel::preview
