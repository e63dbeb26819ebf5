#include "host/loaded_script.h"

#include "engine/run/prepare.h"
#include "host/attach_debugger.h"
#include "platform/paths.h"
#include "script/loading.h"

#include <utility>

namespace kestrel {

namespace {

constexpr std::array<std::string_view, kHostFunctions> kFunctionNames = {
#define KESTREL_HOST_FUNCTION(id, name, form, description) name,
#include "host/called_functions.def"
};

}  // namespace

LoadedScript::LoadedScript(ScriptEnvironment& environment)
    : host(environment), engine(environment.services(host)) {
    engine.run.hook = environment.lineHook;
}

std::unique_ptr<LoadedScript> LoadedScript::load(ScriptEnvironment& environment, std::string_view systemPath,
                                                 int instanceNumber) {
    auto script = std::make_unique<LoadedScript>(environment);
    if (!script->open(systemPath, instanceNumber)) {
        script->unload();
        return nullptr;
    }
    return script;
}

bool LoadedScript::open(std::string_view systemPath, int instanceNumber) {
    // For this script, also when it does not compile.
    const std::string debugLink = std::exchange(host.environment.debugLink, {});
    // Libraries named in the stored setting "DefaultLib" would be entered in the library list here. The
    // compile empties that list first, so by design they never take effect, and the setting is not read.
    engine.instanceNumber = instanceNumber;
    if (!compileInto(engine, systemPath, {.native = &host.native}) || !prepare(engine, Demand::Process))
        return false;
    engine.reporter.hints = host.environment.advice;
    static_cast<void>(attachDebugger(engine, debugLink));  // the host can ask whether it has one
    start();
    for (std::size_t i = 0; i < kHostFunctions; ++i)
        functions_[i] = engine.program->findFunction(kFunctionNames[i]);
    if (host.description.empty())
        host.description = std::string(platform::baseName(path()).substr(0, kDescriptionLimit));
    return true;
}

bool LoadedScript::start() {
    return kestrel::start(engine, [this] { applyPresets(engine, host.environment.presets); });
}

void LoadedScript::call(HostFunction which, std::span<const ValueCell> args) {
    if (FunctionRecord* record = function(which)) callFunction(engine, *record, args);
}

void LoadedScript::unload() {
    functions_ = {};
    fast.reset();
    unloadScript(engine);
}

}  // namespace kestrel
