// The preview's handle of one shader instance, which lives in the module.
#pragma once

#include "preview/services/instance_state.h"
#include "preview/services/module_host.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel::preview {

class ShaderHandle {
public:
    /// @param host  outlives the instance
    /// @return null when the module makes none
    [[nodiscard]] static std::unique_ptr<ShaderHandle> create(const ModuleHost& host);
    ~ShaderHandle();
    ShaderHandle(const ShaderHandle&) = delete;
    ShaderHandle& operator=(const ShaderHandle&) = delete;

    /// Attaches a script the way the load of a scene with a text state does.
    /// @param nativePath  the script's file
    /// @return false when the script did not load (its messages have gone to the host's message service)
    [[nodiscard]] bool loadScript(const std::string& nativePath);
    /// The same with the settings that the script stored earlier.
    /// @param settings  the script that they name does not matter
    [[nodiscard]] bool loadScript(const std::string& nativePath, const InstanceState& settings);
    /// What was wrong with the settings of the latest load, such as that they end too soon; empty: nothing.
    [[nodiscard]] const std::string& settingsProblem() const noexcept { return settingsProblem_; }
    /// What the host would store in its scene. Runs the script's `save`.
    /// @param mode  HxStateMode
    /// @return nothing when the script wrote without end
    [[nodiscard]] std::optional<InstanceState> save(std::int32_t mode) const;
    /// Lets the user edit the settings: runs the script's `options`.
    void edit() { host_.edit(instance_); }

    void init() { host_.shader().init(instance_); }
    void newTime(std::int32_t frame, double time) { host_.shader().newTime(instance_, frame, time); }
    void evaluate(ShadingSample& sample) { evaluate_(instance_, &sample); }
    /// The same for those who count nanoseconds: what a host has at hand in a loop over samples.
    struct Callback {
        void (*evaluate)(HxInstance, ShadingSample*);
        HxInstance instance;
        void operator()(ShadingSample& sample) const { evaluate(instance, &sample); }
    };
    [[nodiscard]] Callback callback() const noexcept { return {evaluate_, instance_}; }
    /// Samples in order: see ModuleHost::evaluate().
    void evaluate(std::span<ShadingSample> samples) { host_.evaluate(instance_, samples); }
    [[nodiscard]] std::uint32_t flags() { return host_.shader().flags(instance_); }
    void cleanup() { host_.shader().cleanup(instance_); }
    [[nodiscard]] std::string describe() const;
    /// The items that affect the surface. See ShaderHandlerRecord.usedItems: it may not come back.
    [[nodiscard]] std::vector<HostItemID> usedItems() const;
    [[nodiscard]] HxInstance instance() const noexcept { return instance_; }
    /// See ModuleHost::aborted().
    [[nodiscard]] bool aborted() const { return host_.aborted(instance_); }
    /// See ModuleHost::debugged().
    [[nodiscard]] bool debugged() const { return host_.debugged(instance_); }

private:
    ShaderHandle(const ModuleHost& host, HxInstance instance);
    [[nodiscard]] bool hasScript() const;

    const ModuleHost& host_;
    HxInstance instance_;
    std::string settingsProblem_;
    void (*evaluate_)(HxInstance, ShadingSample*);
};

}  // namespace kestrel::preview
