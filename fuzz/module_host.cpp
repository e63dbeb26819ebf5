#include "fuzz/module_host.h"

#include "fuzz/confined_script.h"
#include "fuzz/module_script.h"
#include "fuzz/sandbox.h"
#include "host/plugin_state.h"
#include "tests/host/fake_scene.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>

extern "C" KestrelModule _mod_descrip;  // linked into this program instead of loaded

namespace kestrel::fuzz {

namespace {

constexpr int kMostCalls = 300;
constexpr int kDeepest = 4;
constexpr std::size_t kMostInstances = 5;
constexpr int kMilliseconds = 400;
constexpr const char* kKeptFile = "kept.txt";  ///< what the scripts write

FuzzedHost* host = nullptr;  // services are plain functions

/// The first activation of the process keeps its services for good.
test::FakeScene& scene() {
    static test::FakeScene scene;
    return scene;
}

void box(const char* line1, const char* line2) {
    require(line1 != nullptr, "a message box has a first line");
    static_cast<void>(std::strlen(line1) + (line2 != nullptr ? std::strlen(line2) : 0));
    host->comeBack();
}

constexpr InfoMessages kMessages{box, box, box};

const FileRequestService kRequester{[](const char*, char*, char* path, char* fullName, std::int32_t size) {
    std::memset(path, 0, static_cast<std::size_t>(size));
    host->comeBack();
    return host->answerFileRequest(fullName, size);
}};

const DirectoryInfoService kDirectories{[](const char*) -> const char* {
    host->comeBack();
    return host->data.rarely(2) ? "/some/where" : nullptr;
}};

FuzzedHost::Panel& panelOf(HxPanel panel) {
    return *static_cast<FuzzedHost::Panel*>(panel);
}

const PanelServices kPanels{
    .createPanel = [](const char*) -> HxPanel { return host->createPanel(); },
    .destroyPanel = [](HxPanel panel) { host->destroyPanel(&panelOf(panel)); },
    .openPanel = [](HxPanel panel, std::int32_t) { return host->openPanel(panelOf(panel)); },
    .getPanel =
        [](HxPanel, std::int32_t) {
            host->comeBack();
            return std::int32_t{200};
        },
    .setPanel = [](HxPanel, std::int32_t, std::int32_t) { host->comeBack(); },
    .setPanelDraw =
        [](HxPanel panel, HxPanelDraw draw, void* user) {
            panelOf(panel).draw = draw;
            panelOf(panel).user = user;
        },
    .screenSize =
        [](std::int32_t* width, std::int32_t* height) {
            *width = 1000;
            *height = 800;
        },
    .addControl = [](HxPanel panel, const char*, const HxControlDescriptor*, const char*) -> HxControl {
        host->comeBack();
        return panelOf(panel).controls.emplace_back(std::make_unique<HxControlValue>()).get();
    },
    .getControl = [](HxControl, std::int32_t) { return std::int32_t{10}; },
    .setControl = [](HxControl, std::int32_t, std::int32_t) { host->comeBack(); },
    .redrawControl = [](HxControl) { host->comeBack(); },
    .setValue =
        [](HxControl control, const HxControlValue* value) {
            *static_cast<HxControlValue*>(control) = *value;
            static_cast<HxControlValue*>(control)->text = nullptr;
            host->comeBack();
        },
    .getValue =
        [](HxControl control, HxControlValue* value) {
            *value = *static_cast<HxControlValue*>(control);
            if (host->data.rarely(3)) value->type = static_cast<std::int32_t>(host->data.byte()) - 2;
            if (value->type == HXCV_ITEM) value->item = HostItemID{10} + host->data.byte() % 32;
            host->comeBack();
        },
    .drawLine = [](HxPanel, std::int32_t, std::int32_t, std::int32_t) {},
};

void* lookUp(const char* name, std::int32_t) {
    return host->service(name);
}

std::int32_t illuminate(HostItemID, const double*, double vector[3], double color[3]) {
    std::fill_n(vector, 3, host->data.number());
    std::fill_n(color, 3, 0.5);
    host->comeBack();
    return 0;
}

double rayTrace(const double*, const double*, double color[3]) {
    std::fill_n(color, 3, 0.25);
    host->comeBack();
    return host->data.number();
}

std::int32_t readFromHost(void* handle, char* buffer, std::int32_t size) {
    return host->readState(*static_cast<FuzzedHost::State*>(handle), buffer, size);
}

void writeToHost(void*, const char* buffer, std::int32_t size) {
    require(size >= 0, "a write has a size");
    static_cast<void>(std::count(buffer, buffer + size, 'x'));  // all of it can be read
    host->comeBack();
}

}  // namespace

FuzzedHost::FuzzedHost(Bytes bytes) : data(bytes) {
    host = this;
    scene().furnish();
    scene().recording = false;
    scene().onQuestion = [this] { comeBack(); };
    require(_mod_descrip.descriptor.servers[0].activate(HXM_INTERFACE_VERSION, lookUp, &handler_, nullptr) ==
                HXM_OK,
            "the module can be activated");
}

FuzzedHost::~FuzzedHost() {
    while (!living_.empty()) {
        const HxInstance last = living_.back();
        living_.pop_back();
        handler_.destroy(last);
    }
    require(pluginState().instances.empty(), "destroyed instances are gone");
    require(panels_.empty(), "panels end with their scripts");
    host = nullptr;
}

void FuzzedHost::play() {
    for (std::size_t left = 1 + data.below(3); left > 0; --left)
        scripts_.push_back(Sandbox::get().write("s" + std::to_string(left) + ".ks", makeScript(data)));
    while (!data.empty()) call();
}

void FuzzedHost::comeBack() {
    if (depth_ < kDeepest && data.rarely(4)) call();
}

HxInstance FuzzedHost::any() {
    return living_.empty() ? nullptr : living_[data.below(living_.size())];
}

void FuzzedHost::call() {
    if (++calls_ > kMostCalls) {
        static_cast<void>(data.all());
        return;
    }
    ++depth_;
    const HxInstance instance = any();
    const auto make = [&] {
        if (living_.size() >= kMostInstances) return;
        const char* error = nullptr;
        living_.push_back(handler_.create(&error));
        load(living_.back());
    };
    const auto destroy = [&] {
        std::erase(living_, instance);
        handler_.destroy(instance);
    };
    const std::function<void()> calls[] = {make,
                                           make,
                                           destroy,
                                           [&] { handler_.copy(instance, any()); },
                                           [&] { load(instance); },
                                           [&] { save(instance); },
                                           [&] { handler_.init(instance); },
                                           [&] { handler_.cleanup(instance); },
                                           [&] { handler_.newTime(instance, data.byte(), data.number()); },
                                           [&] { handler_.flags(instance); },
                                           [&] { look(instance); },
                                           [&] { edit(instance); }};
    const std::size_t which = data.below(16);
    which < std::size(calls) ? calls[which]() : evaluate(instance);
    --depth_;
}

void FuzzedHost::load(HxInstance instance) {
    if (scripts_.empty()) return;
    const std::string& path = scripts_[data.below(scripts_.size())];
    State lines{data.below(2) == 0 ? HX_STATE_TEXT : HX_STATE_BINARY, "Script " + path};
    if (lines.mode == HX_STATE_BINARY) {
        const auto length = static_cast<std::int32_t>(path.size() + 1);
        lines.name.assign(reinterpret_cast<const char*>(&length), sizeof length);
        lines.name.append(path.c_str(), path.size() + 1);
    }
    const LoadState state{lines.mode, &lines, readFromHost};
    handler_.load(instance, &state);
}

void FuzzedHost::save(HxInstance instance) {
    const SaveState state{static_cast<std::int32_t>(data.below(2)), nullptr, writeToHost};
    handler_.save(instance, &state);
}

void FuzzedHost::evaluate(HxInstance instance) {
    ShadingSample sample{};
    sample.sx = data.byte();
    sample.objID = 10 + data.byte() % 32;
    for (double* vector : {sample.oPos, sample.wPos, sample.gNorm, sample.wNorm, sample.color})
        std::fill_n(vector, 3, data.number());
    sample.illuminate = data.rarely(8) ? nullptr : illuminate;
    sample.rayTrace = data.rarely(8) ? nullptr : rayTrace;
    if (!data.rarely(4)) return handler_.evaluate(instance, &sample);
    std::array<ShadingSample, 3> samples{sample, sample, sample};
    const std::size_t done =
        _mod_descrip.evaluateMany(instance, samples.data(), sizeof sample, samples.size());
    require(done <= samples.size(), "no more samples are shaded than there are");
}

void FuzzedHost::look(HxInstance instance) {
    require(std::strlen(handler_.describe(instance)) < 80, "a description is a short line");
    static_cast<void>(_mod_descrip.aborted(instance));
    KestrelPlace place{};
    if (_mod_descrip.badWrite(instance, &place) != 0) static_cast<void>(std::strlen(place.file));
    if (_mod_descrip.place(0, &place) != 0) static_cast<void>(std::strlen(place.file));
    static_cast<void>(_mod_descrip.messageName());
    bool ends = false;  // of an object that is not named all bones must be
    const char* const* names = _mod_descrip.effectedBy(instance);
    for (; names != nullptr && *names != nullptr; ++names) ends = ends || std::strcmp(*names, "Body") == 0;
    if (!ends) return;
    for (const HostItemID* item = handler_.usedItems(instance); item != nullptr && *item != 0; ++item)
        require(*item < 100, "items are the host's");
}

void FuzzedHost::edit(HxInstance instance) {
    if (instance != nullptr)
        static_cast<void>(
            _mod_descrip.descriptor.servers[1].activate(HXM_INTERFACE_VERSION, lookUp, instance, nullptr));
}

std::int32_t FuzzedHost::answerFileRequest(char* fullName, std::int32_t size) {
    if (scripts_.empty() || data.below(2) == 0) return 0;
    const std::string& path = scripts_[data.below(scripts_.size())];
    fullName[path.copy(fullName, static_cast<std::size_t>(size))] = '\0';
    return 1;
}

FuzzedHost::Panel* FuzzedHost::createPanel() {
    comeBack();
    return data.rarely(8) ? nullptr : panels_.emplace_back(std::make_unique<Panel>()).get();
}

void FuzzedHost::destroyPanel(Panel* panel) {
    require(!panel->open, "a panel is not destroyed while it is shown");
    require(panel->draw == nullptr, "what a panel draws is taken away before it ends");
    require(std::erase_if(panels_, [panel](const auto& known) { return known.get() == panel; }) == 1,
            "a panel ends once");
    comeBack();
}

std::int32_t FuzzedHost::openPanel(Panel& panel) {
    require(!panel.open, "a panel is not shown twice");
    panel.open = true;
    for (std::size_t left = data.below(4); left > 0 && depth_ < kDeepest; --left) call();
    if (panel.draw != nullptr) panel.draw(&panel, panel.user);
    panel.open = false;
    return static_cast<std::int32_t>(data.below(2));
}

std::int32_t FuzzedHost::readState(State& state, char* buffer, std::int32_t size) {
    require(size > 0, "a read has room");
    const bool lines = state.mode == HX_STATE_TEXT;
    const std::size_t room = static_cast<std::size_t>(size) - (lines ? 1 : 0);
    if (state.name.empty()) {
        comeBack();
        state.name = data.text();
        if (state.name.empty()) return lines ? -1 : 0;
    }
    const std::size_t count = state.name.copy(buffer, room);
    if (lines) buffer[count] = '\0';
    state.name.erase(0, count);
    return static_cast<std::int32_t>(count);
}

void* FuzzedHost::service(std::string_view name) {
    const auto lent = [](const auto& record) {
        return const_cast<void*>(static_cast<const void*>(&record));  // NOLINT: as the lookup wants it
    };
    if (name == HX_SERVICE_MESSAGES) return lent(kMessages);
    if (name == HX_SERVICE_FILE_REQUEST) return lent(kRequester);
    if (name == HX_SERVICE_DIRECTORY_INFO) return lent(kDirectories);
    if (name == HX_SERVICE_PANELS) return data.rarely(8) ? nullptr : lent(kPanels);
    if (name == HX_SERVICE_SYSTEM_INFO) return nullptr;
    return scene().service(name);
}

static bool storeIsOurs() {
    return pluginState().environment.store.write(kGlobalScope, "fuzzed", "yes") &&
           std::filesystem::exists(Sandbox::get().directory() / "kestrel" / "registry.db");
}

/// A statement that is none would make every script that has it useless.
static bool statementsCompile() {
    for (const std::string& text : scriptsOfOneStatement()) {
        ConfinedScript script;
        require(script.compile(text), text);
        script.unload();
    }
    return true;
}

void callModule(Bytes bytes) {
    static const bool sound = statementsCompile() && storeIsOurs();
    require(sound, "the statements compile, and the store is not the user's");
    // Not the whole directory: the module keeps the user's store open as long as the process lives.
    std::filesystem::remove(Sandbox::get().directory() / kKeptFile);
    pluginState().watch.requested = 0;
    const TimeBudget budget(pluginState().watch, kMilliseconds);
    FuzzedHost(bytes).play();
}

}  // namespace kestrel::fuzz
