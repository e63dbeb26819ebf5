#include "host/instance.h"

#include "host/load_script.h"
#include "host/plugin_state.h"

#include <exception>
#include <new>
#include <utility>

namespace kestrel {

namespace {

/// Once: they are not looked up again, though they stay in use, and none that was not looked up is released.
void releaseServices(PluginState& state) {
    if (!std::exchange(state.holdsServices, false)) return;
    for (const char* name : {HX_SERVICE_FILE_REQUEST, HX_SERVICE_MESSAGES, HX_SERVICE_ITEM_INFO,
                             HX_SERVICE_OBJECT_INFO, HX_SERVICE_BONE_INFO, HX_SERVICE_LIGHT_INFO,
                             HX_SERVICE_CAMERA_INFO, HX_SERVICE_SCENE_INFO, HX_SERVICE_IMAGE_LIST})
        state.hostGlobal(name, HX_USE_RELEASE);
}

/// Takes an instance off the list when the scope is left, whatever its script did.
class Unlinking {
public:
    Unlinking(PluginState& state, ShaderInstance& instance) : state_(state), place_(instance.place) {}
    ~Unlinking() {
        state_.instances.erase(place_);
        if (state_.instances.empty()) releaseServices(state_);
    }
    Unlinking(const Unlinking&) = delete;
    Unlinking& operator=(const Unlinking&) = delete;

private:
    PluginState& state_;
    std::list<ShaderInstance>::iterator place_;
};

std::int32_t showNoOptions(PluginState& state) {
    const auto* messages =
        state.hostGlobal != nullptr
            ? static_cast<const InfoMessages*>(state.hostGlobal(HX_SERVICE_MESSAGES, HX_USE_ONCE))
            : nullptr;
    if (messages == nullptr) return HXM_MISSING_SERVICE;
    state.messages.showOwn(*messages, MessageId::NoOptions);
    return HXM_OK;
}

void endInstance(PluginState& state, ShaderInstance& instance) {
    const Unlinking unlinking(state, instance);
    state.endedAborted = false;
    LoadedScript* script = instance.script();
    if (script == nullptr || instance.context.use_count() > 1) return;
    const Working working(state, *instance.context);
    script->call(HostFunction::Destroy);
    state.endedAborted = script->engine.run.abort;
    script->unload();
    instance.context->take(nullptr);  // the host may have made another copy meanwhile
}

}  // namespace

Working::Working(PluginState& state, ScriptContext& context) noexcept : state_(state), context_(context) {
    context_.busy = true;
    context_.gate->close();  // to whoever the host calls back from here
}

Working::~Working() {
    context_.busy = false;
    // With the last of its instances the context goes as well, so it is not looked at again.
    for (ShaderInstance* instance = std::exchange(context_.ending, nullptr); instance != nullptr;) {
        ShaderInstance* const following = instance->nextEnding;
        try {
            endInstance(state_, *instance);
        } catch (const std::bad_alloc&) {
            state_.messages.showFailure(kServerName, "memory exhausted");
        } catch (const std::exception& failure) {
            state_.messages.showFailure(kServerName, failure.what());
        } catch (...) {
            state_.messages.showFailure(kServerName, "unknown failure");
        }
        instance = following;
    }
}

ShaderInstance* createInstance(PluginState& state) {
    auto context = std::make_shared<ScriptContext>();
    context->activationNumber = state.activationNumber;
    const auto place = state.instances.insert(state.instances.end(), ShaderInstance{std::move(context), {}});
    place->place = place;
    return &*place;
}

void destroyInstance(PluginState& state, ShaderInstance& instance) {
    if (std::exchange(instance.destroyed, true)) return;  // it waits for its end already
    if (instance.context->busy) {
        instance.nextEnding = std::exchange(instance.context->ending, &instance);
        return;
    }
    endInstance(state, instance);
}

void copyInstance(const ShaderInstance& source, ShaderInstance& destination) {
    // The host may call back, and copy once more, while what the destination had is taken down.
    std::shared_ptr<ScriptContext> context = source.context;
    destination.context.swap(context);
}

bool attachScript(PluginState& state, ShaderInstance& instance, const std::optional<std::string>& name) {
    ScriptContext& context = *instance.context;
    std::unique_ptr<LoadedScript> script = loadScript(state.environment, name, context.activationNumber);
    if (script == nullptr) return false;
    context.take(std::move(script));
    context.script->call(HostFunction::Create);
    return true;
}

const char* describeInstance(PluginState& state, const ShaderInstance& instance) {
    std::string text = kServerName;
    if (const LoadedScript* script = instance.script()) {
        text = script->host.customDescription ? script->host.description
                                              : text + " - " + script->host.description;
    }
    const std::size_t used = text.copy(state.description.data(), kDescribeSize - 1);
    state.description[used] = '\0';
    return state.description.data();
}

std::int32_t editInstance(PluginState& state, ShaderInstance& instance) {
    LoadedScript* script = instance.script();
    if (script == nullptr) {
        attachScript(state, instance, std::nullopt);
        return HXM_OK;
    }
    if (script->function(HostFunction::Options) == nullptr) return showNoOptions(state);
    script->call(HostFunction::Options);
    return HXM_OK;
}

}  // namespace kestrel
