// The module's one export, its two servers and their activation. No exception leaves a function of this file
// that the host calls.
#include "host/evaluate.h"
#include "host/host_interface.h"
#include "host/module_extension.h"
#include "host/plugin_state.h"
#include "host/state_io.h"
#include "host/used_items.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrel {

namespace {

static_assert(sizeof(KestrelRunWatch) == sizeof(RunWatch) &&
              offsetof(KestrelRunWatch, requested) == offsetof(RunWatch, requested) &&
              offsetof(KestrelRunWatch, line) == offsetof(RunWatch, line));

void showFailure(const char* what) noexcept {
    pluginState().messages.showFailure(kServerName, what);
}

/// Runs the body of a callback. What it throws is shown to the user once; the host gets `fallback`.
template <class Result, class Body>
Result guarded(Result fallback, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        showFailure("memory exhausted");
    } catch (const std::exception& failure) {
        showFailure(failure.what());
    } catch (...) {
        showFailure("unknown failure");
    }
    return fallback;
}

ShaderInstance& instanceOf(HxInstance handle) noexcept {
    return *static_cast<ShaderInstance*>(handle);
}

/// The same for callbacks that work with a script. One that is at work already is left alone: the host calls
/// back from inside it.
template <class Body>
void withContext(ScriptContext& context, Body&& body) noexcept {
    if (context.busy) return;
    guarded(0, [&] {
        const Working working(pluginState(), context);
        body();
        return 0;
    });
}
/// A null instance is ignored.
template <class Body>
void withInstance(HxInstance handle, Body&& body) noexcept {
    if (handle != nullptr) withContext(*instanceOf(handle).context, [&] { body(instanceOf(handle)); });
}

/// What is to be done about a sample that has not passed the gate of its script.
std::int32_t evaluateSlowly(Gate& gate, std::int32_t ending) noexcept {
    auto& context = *static_cast<ScriptContext*>(gate.owner());
    auto& sample = *static_cast<ShadingSample*>(gate.record());
    withContext(context, [&] { evaluateSample(pluginState(), context, sample, {ending}); });
    return 0;
}

// ---- the twelve callbacks of a shader handler ----

HxInstance createCallback(const char** /* error: never written */) {
    return guarded<HxInstance>(nullptr, [] {
        ShaderInstance* const instance = createInstance(pluginState());
        instance->context->leaveTo(evaluateSlowly);
        return instance;
    });
}

void destroyCallback(HxInstance handle) {
    if (handle == nullptr) return;
    guarded(0, [&] {
        destroyInstance(pluginState(), instanceOf(handle));
        return 0;
    });
}

const char* copyCallback(HxInstance source, HxInstance destination) {
    if (source == nullptr || destination == nullptr || instanceOf(destination).context->busy) return nullptr;
    copyInstance(instanceOf(source), instanceOf(destination));
    return nullptr;
}

const char* loadCallback(HxInstance handle, const LoadState* from) {
    if (from == nullptr || from->read == nullptr) return nullptr;
    withInstance(handle, [&](ShaderInstance& instance) { loadInstance(pluginState(), instance, *from); });
    return nullptr;
}

const char* saveCallback(HxInstance handle, const SaveState* to) {
    if (to == nullptr || to->write == nullptr) return nullptr;
    if (handle != nullptr && instanceOf(handle).context->busy) {
        // A host may store its scene while a panel waits: the surface must not lose its script.
        guarded(0, [&] {
            saveScriptName(instanceOf(handle), *to);
            return 0;
        });
        return nullptr;
    }
    withInstance(handle, [&](ShaderInstance& instance) { saveInstance(instance, *to); });
    return nullptr;
}

const char* initCallback(HxInstance handle) {
    withInstance(handle, [](ShaderInstance& instance) { initInstance(pluginState(), instance); });
    return nullptr;
}

void cleanupCallback(HxInstance handle) {
    withInstance(handle, [](ShaderInstance& instance) { cleanupInstance(pluginState(), instance); });
}

const char* newTimeCallback(HxInstance handle, std::int32_t frame, double time) {
    withInstance(handle,
                 [&](ShaderInstance& instance) { newTimeInstance(pluginState(), instance, frame, time); });
    return nullptr;
}

/// In one line of the processor's cache: where the jump lay in the next one, a sample took a tenth longer.
[[gnu::aligned(64)]] void evaluateCallback(HxInstance handle, ShadingSample* sample) {
    if (sample == nullptr || handle == nullptr) return;
    instanceOf(handle).context->gate->jump(sample);
}

std::size_t evaluateMany(void* handle, ShadingSample* first, std::size_t stride, std::size_t count) {
    if (first == nullptr || stride < sizeof(ShadingSample) || stride % alignof(ShadingSample) != 0) return 0;
    std::size_t done = 0;
    withInstance(handle, [&](ShaderInstance& instance) {
        const auto single = [&](ShadingSample& sample) {
            guarded(0, [&] {
                evaluateSample(pluginState(), *instance.context, sample,
                               {instance.context->gate->pass(&sample)});
                return 0;
            });
        };
        const fast::Records records{reinterpret_cast<std::byte*>(first), stride, count};
        done = evaluateRecords(pluginState(), instance, records, single);
    });
    return done;
}

std::uint32_t flagsCallback(HxInstance handle) {
    std::uint32_t mask = 0;
    withInstance(handle, [&](ShaderInstance& instance) { mask = flagsOfInstance(pluginState(), instance); });
    return mask;
}

const char* describeCallback(HxInstance handle) {
    if (handle == nullptr) return kServerName;
    return guarded<const char*>(kServerName,
                                [&] { return describeInstance(pluginState(), instanceOf(handle)); });
}

const HostItemID* usedItemsCallback(HxInstance handle) {
    if (handle == nullptr) return nullptr;
    // A host that destroys the instance from inside one of its operations takes the items with it.
    const std::weak_ptr<ScriptContext> context = instanceOf(handle).context;
    const HostItemID* items = nullptr;
    withInstance(handle, [&](ShaderInstance& instance) {
        if (LoadedScript* script = instance.script()) items = findUsedItems(script->engine, script->host);
    });
    return context.expired() ? nullptr : items;
}

// ---- what tools may ask ----

std::int32_t lastRunAborted(void* handle) {
    if (handle == nullptr) return pluginState().endedAborted ? 1 : 0;
    const LoadedScript* script = static_cast<const ShaderInstance*>(handle)->script();
    return script != nullptr && script->engine.run.abort ? 1 : 0;
}

const char* const* effectedByNames(void* handle) {
    if (handle == nullptr) return nullptr;
    const LoadedScript* script = instanceOf(handle).script();
    return script != nullptr ? script->host.effectedBy.list() : nullptr;
}

/// @return 0 where the position is unknown
std::int32_t tellPlace(const SourcePos& pos, const SourceFiles& files, KestrelPlace* out) {
    if (!pos.known() || static_cast<std::size_t>(pos.file) >= files.size()) return 0;
    *out = {files[static_cast<std::size_t>(pos.file)].path.c_str(), pos.line, pos.column, pos.endColumn};
    return 1;
}

std::int32_t badWriteOf(void* handle, KestrelPlace* out) {
    LoadedScript* script = handle != nullptr ? instanceOf(handle).script() : nullptr;
    if (script == nullptr) return 0;
    const SourcePos pos = std::exchange(script->host.badWrite, SourcePos{});
    return tellPlace(pos, script->engine.program->files, out);
}

std::int32_t shadingOf(void* handle, KestrelShading* out) {
    const LoadedScript* script = handle != nullptr ? instanceOf(handle).script() : nullptr;
    if (script == nullptr || out == nullptr) return 0;
    return guarded<std::int32_t>(0, [&] {
        *out = pluginState().shading.tell(script->fast);
        return 1;
    });
}

void setDebugLink(const char* name) {
    guarded(0, [&] {
        pluginState().environment.debugLink = name != nullptr ? name : "";
        return 0;
    });
}

std::int32_t preset(const char* assignment) {
    return guarded<std::int32_t>(0, [&] {
        std::vector<Preset>& presets = pluginState().environment.presets;
        if (assignment == nullptr) presets.clear();
        std::string problem;
        std::optional<Preset> parsed =
            assignment != nullptr ? parsePreset(assignment, problem) : std::nullopt;
        if (parsed) {
            std::erase_if(presets, [&](const Preset& old) { return old.name == parsed->name; });
            presets.push_back(*std::move(parsed));
        }
        return assignment == nullptr || parsed ? 1 : 0;
    });
}

void setAdvice(HostMessages::TakeAdvice take, void* user) {
    PluginState& state = pluginState();
    state.messages.setAdvice(take, user);
    state.environment.advice = take != nullptr ? &state.messages : nullptr;
}

std::int32_t debugged(void* handle) {
    const LoadedScript* script = handle != nullptr ? instanceOf(handle).script() : nullptr;
    return script != nullptr && script->engine.run.hook != nullptr ? 1 : 0;
}

// ---- activation ----

template <class Service>
bool lookUp(HostGlobal global, const char* name, HxServiceUse use, const Service*& service) {
    service = static_cast<const Service*>(global(name, use));
    return service != nullptr;
}

/// The services are looked up by the first activation in the process only.
bool acquireServices(PluginState& state, HostGlobal global) {
    HostServices& services = state.services;
    const bool hasRequester = lookUp(global, HX_SERVICE_FILE_REQUEST, HX_USE_ONCE, services.fileRequest);
    const bool hasMessages = lookUp(global, HX_SERVICE_MESSAGES, HX_USE_KEEP, services.messages);
    lookUp(global, HX_SERVICE_DIRECTORY_INFO, HX_USE_ONCE, services.directoryInfo);
    // This service is no record: its address is the word itself.
    state.environment.systemInfo = static_cast<std::uint32_t>(
        reinterpret_cast<std::uintptr_t>(global(HX_SERVICE_SYSTEM_INFO, HX_USE_ONCE)));
    if (!hasMessages) return false;
    if (!hasRequester && (state.environment.systemInfo & HX_SYSTEM_RENDER_NODE) == 0) {
        state.messages.showOwn(*services.messages, MessageId::ServiceMissing);
        return false;
    }
    if (!lookUpSceneServices(global, state.environment.scene)) {
        state.messages.showOwn(*services.messages, MessageId::SceneServiceMissing);
        return false;
    }
    return true;
}

std::int32_t activateHandler(std::int32_t version, HostGlobal global, void* local, void* /* server data */) {
    if (version != HXM_INTERFACE_VERSION) return HXM_BAD_VERSION;
    if (global == nullptr) return HXM_MISSING_SERVICE;
    return guarded<std::int32_t>(HXM_MISSING_SERVICE, [&]() -> std::int32_t {
        PluginState& state = pluginState();
        state.hostGlobal = global;
        if (state.activationCount == 0) {
            if (!acquireServices(state, global)) return HXM_MISSING_SERVICE;
            state.holdsServices = true;
        }
        ++state.activationCount;
        state.activationNumber = static_cast<std::int16_t>(state.activationCount);
        if (local != nullptr) {
            *static_cast<ShaderHandlerRecord*>(local) = {
                createCallback,   destroyCallback, copyCallback,     loadCallback,
                saveCallback,     initCallback,    cleanupCallback,  newTimeCallback,
                evaluateCallback, flagsCallback,   describeCallback, usedItemsCallback};
        }
        return HXM_OK;
    });
}

std::int32_t activateInterface(std::int32_t version, HostGlobal global, void* local,
                               void* /* server data */) {
    if (version != HXM_INTERFACE_VERSION) return HXM_BAD_VERSION;
    if (local == nullptr) return HXM_OK;
    return guarded<std::int32_t>(HXM_OK, [&] {
        PluginState& state = pluginState();
        if (global != nullptr) state.hostGlobal = global;
        if (instanceOf(local).context->busy) return static_cast<std::int32_t>(HXM_OK);
        const Working working(state, *instanceOf(local).context);
        return editInstance(state, instanceOf(local));
    });
}

std::int32_t startup() {
    return HXM_STARTUP_OK;
}
void shutdown() {}

std::int32_t placeOfMessage(std::int32_t level, KestrelPlace* out) {
    const Message* message = pluginState().messages.shown();
    if (message == nullptr || message->files == nullptr || level < 0) return 0;
    SourcePos pos = message->where;
    const auto inFiles = [&] {
        return pos.known() && static_cast<std::size_t>(pos.file) < message->files->size();
    };
    for (; level > 0 && inFiles(); --level)
        pos = (*message->files)[static_cast<std::size_t>(pos.file)].broughtInBy;
    return tellPlace(pos, *message->files, out);
}

constexpr ServerRecord kServers[] = {
    {"ShaderHandler", kServerName, activateHandler},
    {"ShaderInterface", kServerName, activateInterface},
    {nullptr, nullptr, nullptr},
};

const char* nameOfMessage() {
    return pluginState().messages.shownName();
}

}  // namespace

}  // namespace kestrel

extern "C" {
extern __attribute__((visibility("default"))) KestrelModule _mod_descrip;

KestrelModule _mod_descrip = {
    {HXM_SYNC_WORD, HXM_MODULE_VERSION, HXM_MACHINE_TYPE, kestrel::startup, kestrel::shutdown,
     kestrel::kServers},
    KESTREL_EXTENSION_MAGIC,
    reinterpret_cast<KestrelRunWatch*>(&kestrel::pluginState().watch),
    kestrel::lastRunAborted,
    kestrel::placeOfMessage,
    kestrel::nameOfMessage,
    kestrel::effectedByNames,
    kestrel::badWriteOf,
    kestrel::setDebugLink,
    kestrel::debugged,
    kestrel::preset,
    kestrel::setAdvice,
    kestrel::shadingOf,
    kestrel::evaluateMany,
};
}
