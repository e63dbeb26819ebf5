#include "tests/host/fake_host.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <utility>

namespace kestrel::test {

namespace {

namespace fs = std::filesystem;

FakeHost* host = nullptr;  // services are plain functions

void record(const char* kind, const char* line1, const char* line2) {
    std::string text = std::string(kind) + ": " + line1;
    if (line2 != nullptr) text += std::string(" / ") + line2;
    host->messages.push_back(std::move(text));
    const char* name = host->module().messageName();
    host->names.emplace_back(name != nullptr ? name : "(none)");
    if (host->onMessage) host->onMessage();
}

std::int32_t fileRequest(const char* title, char* fileName, char* path, char* fullName, std::int32_t size) {
    host->dialogs.push_back(std::string(title) + " / " + fileName + " / " + path + " / " +
                            std::to_string(size));
    std::strcpy(fullName, host->chosenFile.c_str());
    std::strcpy(path, host->chosenDirectory.c_str());
    return host->dialogResult;
}

const char* directoryOfKind(const char* kind) {
    host->directoryRequests.push_back(kind);
    return kind == std::string_view("Temp") ? "/some/where" : nullptr;
}

void* lookUp(const char* name, std::int32_t use) {
    static InfoMessages messages{[](const char* a, const char* b) { record("info", a, b); },
                                 [](const char* a, const char* b) { record("error", a, b); },
                                 [](const char* a, const char* b) { record("warning", a, b); }};
    static FileRequestService requester{fileRequest};
    static DirectoryInfoService directories{directoryOfKind};
    host->lookups.push_back(std::string(name) + " " + std::to_string(use));
    const std::string_view service = name;
    if (service == HX_SERVICE_SYSTEM_INFO) return reinterpret_cast<void*>(host->systemInfo);
    if (host->missing.contains(name)) return nullptr;
    if (const auto own = host->services.find(service); own != host->services.end()) return own->second;
    if (service == HX_SERVICE_PANELS) return &host->panels.services;
    if (service == HX_SERVICE_MESSAGES) return &messages;
    if (service == HX_SERVICE_FILE_REQUEST) return &requester;
    if (service == HX_SERVICE_DIRECTORY_INFO) return &directories;
    return host->scene.service(service);
}

const ServerRecord& server(const KestrelModule& module, std::string_view className) {
    const ServerRecord* record = module.descriptor.servers;
    while (record->className != nullptr && record->className != className) ++record;
    return *record;
}

std::int32_t readState(void* handle, char* buffer, std::int32_t size) {
    auto& state = *static_cast<MemoryState*>(handle);
    const bool ofName = ++state.reads <= (state.mode == HX_STATE_TEXT ? 1 : 2);
    if (state.reads == state.endsBefore) return -1;
    const std::int32_t overstated = ofName ? 0 : state.overstated;
    if (state.mode == HX_STATE_TEXT) {
        if (state.lines.empty()) return -1;
        std::string& line = state.lines.front();
        const std::string part = line.substr(0, static_cast<std::size_t>(size) - 1);
        std::strcpy(buffer, part.c_str());
        line.erase(0, part.size());
        if (line.empty()) state.lines.pop_front();
        return static_cast<std::int32_t>(part.size()) + overstated;
    }
    const std::size_t count = std::min({static_cast<std::size_t>(size), state.atOnce, state.bytes.size()});
    state.bytes.copy(buffer, count);
    state.bytes.erase(0, count);
    return static_cast<std::int32_t>(count) + overstated;
}

void writeState(void* handle, const char* buffer, std::int32_t size) {
    static_cast<MemoryState*>(handle)->lines.emplace_back(buffer, static_cast<std::size_t>(size));
}

}  // namespace

FakeHost::FakeHost() {
    host = this;
    std::string pattern = (fs::temp_directory_path() / "kestrel_host_XXXXXX").string();
    native_ = mkdtemp(pattern.data());
    fs::current_path(native_);
    setenv("XDG_DATA_HOME", (native_ / "data").c_str(), 1);
    unsetenv("KSPATH");
    unsetenv("KSCFG");
    // Loading a copy by another name gives another module, whatever the loader still knows of earlier ones.
    const fs::path copy = native_ / "module.so";
    fs::copy_file(KESTREL_MODULE, copy);
    library_ = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    module_ = static_cast<const KestrelModule*>(dlsym(library_, HXM_DESCRIPTOR_SYMBOL));
    if (module_ == nullptr) throw std::runtime_error("the module has no descriptor");
}

FakeHost::~FakeHost() {
    while (!living_.empty()) destroy(*living_.begin());
    dlclose(library_);
    fs::current_path(fs::temp_directory_path());
    fs::remove_all(native_);
    host = nullptr;
}

std::int32_t FakeHost::activate(std::int32_t version) {
    return server(*module_, "ShaderHandler").activate(version, lookUp, &handler, nullptr);
}

std::int32_t FakeHost::edit(HxInstance instance, std::int32_t version) {
    return server(*module_, "ShaderInterface").activate(version, lookUp, instance, nullptr);
}

HxInstance FakeHost::create() {
    EXPECT_EQ(activate(), HXM_OK);
    const char* untouched = "untouched";
    const char* error = untouched;
    const HxInstance instance = handler.create(&error);
    EXPECT_EQ(error, untouched);
    living_.insert(instance);
    return instance;
}

void FakeHost::destroy(HxInstance instance) {
    living_.erase(instance);
    handler.destroy(instance);
}

HxInstance FakeHost::createWith(const std::string& script, const std::string& name) {
    const HxInstance instance = create();
    load(instance, write(name, script));
    return instance;
}

void FakeHost::load(HxInstance instance, const std::string& systemPath) {
    MemoryState state(HX_STATE_TEXT);
    state.lines = {"Script " + systemPath};
    load(instance, state);
}

void FakeHost::load(HxInstance instance, MemoryState& state) {
    const LoadState loading{state.mode, &state, readState};
    EXPECT_EQ(handler.load(instance, &loading), nullptr);
}

MemoryState FakeHost::save(HxInstance instance, std::int32_t mode) {
    MemoryState state(mode);
    const SaveState saving{mode, &state, writeState};
    EXPECT_EQ(handler.save(instance, &saving), nullptr);
    return state;
}

std::string FakeHost::write(const std::string& name, const std::string& script) {
    std::ofstream file(native_ / name, std::ios::binary);
    file << script << (script.find("process") == std::string::npos ? "\nprocess: sa { }\n" : "\n");
    return directory() + "\\" + name;
}

std::string FakeHost::directory() const {
    std::string text = native_.string();
    std::replace(text.begin(), text.end(), '/', '\\');
    return text;
}

std::vector<std::string> FakeHost::shown() {
    return std::exchange(messages, {});
}

std::vector<std::string> FakeHost::said() {
    std::vector<std::string> texts = shown();
    for (std::string& text : texts)
        if (const std::size_t at = text.find(" / "); at != std::string::npos) text.erase(0, at + 3);
    return texts;
}

std::string quoted(std::string script) {
    std::ranges::replace(script, '\'', '"');
    return script;
}

}  // namespace kestrel::test
