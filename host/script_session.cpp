#include "host/script_session.h"

#include "engine/run/interpreter.h"
#include "engine/run/prepare.h"
#include "host/attach_debugger.h"
#include "host/loaded_script.h"
#include "host/script_environment.h"
#include "platform/paths.h"

#include <utility>

namespace kestrel {

struct ScriptSession::Parts {
    Parts(MessageSink& messages, RunWatch* watch) : environment(&messages, watch, Settings::ReadOnly) {}

    ScriptEnvironment environment;
    ShaderContext host{environment};
    EngineContext engine{environment.services(host)};
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
    EngineContext& engine = parts_->engine;
    const std::string path = platform::systemPath(nativePath);
    engine.reset();
    engine.reporter.state.scriptPath = platform::upperCase(path);
    engine.scriptFile = path;
    CompileOptions all = options;
    all.native = &parts_->host.native;
    return compileScript(engine, path, all) == 0;
}

bool ScriptSession::check() {
    return checkProgram(parts_->engine);
}

bool ScriptSession::openDebugLink(std::string_view debugLink) {
    return attachDebugger(parts_->engine, debugLink);
}

bool ScriptSession::prepare() {
    linkProgram(parts_->engine);
    const CallScope scope(parts_->engine);
    runTopLevel(parts_->engine);
    return parts_->engine.run.abort;
}

bool ScriptSession::runMain() {
    const CallScope scope(parts_->engine);
    return kestrel::runMain(parts_->engine);
}

void ScriptSession::unload() {
    unloadScript(parts_->engine);
}

}  // namespace kestrel
