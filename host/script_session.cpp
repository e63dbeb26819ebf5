#include "host/script_session.h"

#include "engine/run/entry.h"
#include "engine/run/prepare.h"
#include "host/attach_debugger.h"
#include "host/loaded_script.h"
#include "host/script_environment.h"
#include "host/shading_report.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "script/loading.h"

#include <filesystem>
#include <sstream>
#include <utility>

namespace kestrel {

void searchFirst(std::span<const std::string> nativeDirectories) {
    std::string list;
    for (const std::string& directory : nativeDirectories)
        list += std::filesystem::absolute(directory).string() + platform::kListSeparator;
    list += platform::environment(kSearchPathVariable).value_or("");
    platform::setEnvironment(kSearchPathVariable, list);
}

std::vector<std::string> searchedFirst() {
    std::vector<std::string> directories;
    std::istringstream list(platform::environment(kSearchPathVariable).value_or(""));
    for (std::string directory; std::getline(list, directory, platform::kListSeparator);)
        if (!directory.empty()) directories.push_back(directory);
    return directories;
}

struct ScriptSession::Parts {
    Parts(MessageSink& messages, RunWatch* watch) : environment(&messages, watch, Settings::ReadOnly) {}

    ScriptEnvironment environment;
    LoadedScript script{environment};
    EngineContext& engine = script.engine;
};

ScriptSession::ScriptSession(MessageSink& messages, RunWatch* watch, FileRequester requester,
                             HostGlobal services)
    : parts_(std::make_unique<Parts>(messages, watch)) {
    parts_->environment.requestFile = std::move(requester);
    parts_->environment.libraryPath.load();
    if (services == nullptr) return;
    lookUpSceneServices(services, parts_->environment.scene);
    parts_->environment.findPanels = [services](HxServiceUse use) {
        return static_cast<const PanelServices*>(services(HX_SERVICE_PANELS, use));
    };
}

ScriptSession::~ScriptSession() = default;

EngineContext& ScriptSession::context() noexcept {
    return parts_->engine;
}

bool ScriptSession::compile(const std::string& nativePath, const CompileOptions& options) {
    CompileOptions all = options;
    all.native = &parts_->script.host.native;
    return compileInto(parts_->engine, platform::systemPath(nativePath), all);
}

bool ScriptSession::check() {
    return checkProgram(parts_->engine);
}

std::vector<std::string> ScriptSession::globals() {
    static_cast<void>(kestrel::prepare(parts_->engine, Demand::Nothing));
    return presettableGlobals(*parts_->engine.program);
}

void ScriptSession::setPresets(std::vector<Preset> presets) {
    parts_->environment.presets = std::move(presets);
}

bool ScriptSession::openDebugLink(std::string_view debugLink) {
    return attachDebugger(parts_->engine, debugLink);
}

bool ScriptSession::prepare() {
    static_cast<void>(kestrel::prepare(parts_->engine, Demand::Nothing));
    return parts_->script.start();
}

std::string ScriptSession::shadingReport() {
    return kestrel::shadingReport(parts_->script);
}

bool ScriptSession::runMain() {
    return kestrel::runMain(parts_->engine);
}

void ScriptSession::unload() {
    parts_->script.unload();
}

}  // namespace kestrel
