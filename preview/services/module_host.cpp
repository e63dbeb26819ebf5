#include "preview/services/module_host.h"

#include "platform/environment.h"
#include "platform/executable.h"
#include "preview/services/services.h"

#include <filesystem>
#include <string_view>

namespace kestrel::preview {

namespace {

/// Our own module has more behind its descriptor. Other modules' memory must not be read past the descriptor,
/// so the extension is looked for only in a module that says our server's name.
const KestrelModule* findExtension(const ModuleDescriptor& descriptor) {
    const ServerRecord& first = descriptor.servers[0];
    if (first.serverName == nullptr || std::string_view(first.serverName) != "Kestrel/PT") return nullptr;
    const auto* module = reinterpret_cast<const KestrelModule*>(&descriptor);
    return module->magic == KESTREL_EXTENSION_MAGIC ? module : nullptr;
}

std::string activationProblem(std::int32_t result) {
    switch (result) {
        case HXM_BAD_VERSION:
            return "it wants another version of the host interface";
        case HXM_MISSING_SERVICE:
            return "it misses a service of the host";
        default:
            return "its activation returned " + std::to_string(result);
    }
}

}  // namespace

std::string defaultModulePath() {
    if (auto chosen = platform::environment("KESTREL_MODULE"); chosen && !chosen->empty()) return *chosen;
    const std::string directory = platform::executableDirectory() + "/";
    const std::string beside = directory + "kestrel-pt.so";
    const std::string installed = directory + KESTREL_INSTALLED_MODULE;
    std::error_code error;
    return !std::filesystem::exists(beside, error) && std::filesystem::exists(installed, error) ? installed
                                                                                                : beside;
}

std::unique_ptr<ModuleHost> ModuleHost::open(const std::string& modulePath, const PreviewServices& services,
                                             std::string& error) {
    std::unique_ptr<ModuleHost> host(new ModuleHost);
    std::string problem;
    host->global_ = services.global();
    host->library_ = platform::DynamicLibrary::open(modulePath, problem);
    if (host->library_ != nullptr && host->checkAndStart(problem) && host->activateShader(problem))
        return host;
    error = "cannot use the module " + modulePath + ": " + problem;
    return nullptr;
}

ModuleHost::~ModuleHost() {
    if (started_) descriptor_->shutdown();
}

bool ModuleHost::checkAndStart(std::string& error) {
    descriptor_ = static_cast<const ModuleDescriptor*>(library_->symbol(HXM_DESCRIPTOR_SYMBOL));
    if (descriptor_ == nullptr || descriptor_->sync != HXM_SYNC_WORD) {
        error = "it is not a plug-in module";
    } else if (descriptor_->version != HXM_MODULE_VERSION || descriptor_->machine != HXM_MACHINE_TYPE) {
        error = "it was made for another version of the host or another machine";
    } else if (descriptor_->startup == nullptr || descriptor_->shutdown == nullptr ||
               descriptor_->servers == nullptr) {
        error = "its descriptor is incomplete";
    } else if (descriptor_->startup() != HXM_STARTUP_OK) {
        error = "it did not start";
    } else {
        started_ = true;
        extension_ = findExtension(*descriptor_);
    }
    return started_;
}

const ServerRecord* ModuleHost::server(const char* className) const {
    for (const ServerRecord* record = descriptor_->servers; record->className != nullptr; ++record) {
        if (std::string_view(record->className) == className && record->activate != nullptr) return record;
    }
    return nullptr;
}

bool ModuleHost::activateShader(std::string& error) {
    const ServerRecord* handler = server("ShaderHandler");
    if (handler == nullptr) {
        error = "it has no shader";
        return false;
    }
    const std::int32_t result = handler->activate(HXM_INTERFACE_VERSION, global_, &shader_, nullptr);
    if (result != HXM_OK) error = activationProblem(result);
    return result == HXM_OK;
}

void ModuleHost::edit(HxInstance instance) const {
    if (const ServerRecord* editor = server("ShaderInterface"))
        editor->activate(HXM_INTERFACE_VERSION, global_, instance, nullptr);
}

KestrelRunWatch* ModuleHost::watch() const noexcept {
    return extension_ == nullptr ? nullptr : extension_->watch;
}

void ModuleHost::evaluate(HxInstance instance, std::span<ShadingSample> samples) const {
    if (extension_ != nullptr && extension_->evaluateMany != nullptr) {
        // Those that are not shaded stay as they are, as with single calls.
        static_cast<void>(
            extension_->evaluateMany(instance, samples.data(), sizeof(ShadingSample), samples.size()));
    } else {
        for (ShadingSample& sample : samples) shader_.evaluate(instance, &sample);
    }
}

std::vector<std::string> ModuleHost::effectedBy(HxInstance instance) const {
    std::vector<std::string> names;
    const char* const* name = extension_ != nullptr && extension_->effectedBy != nullptr
                                  ? extension_->effectedBy(instance)
                                  : nullptr;
    for (; name != nullptr && *name != nullptr; ++name) names.emplace_back(*name);
    return names;
}

std::optional<KestrelPlace> ModuleHost::badWrite(HxInstance instance) const {
    KestrelPlace place{};
    if (extension_ == nullptr || extension_->badWrite == nullptr ||
        extension_->badWrite(instance, &place) == 0)
        return std::nullopt;
    return place;
}

std::optional<KestrelShading> ModuleHost::shading(HxInstance instance) const {
    KestrelShading shading{};
    if (extension_ == nullptr || extension_->shading == nullptr ||
        extension_->shading(instance, &shading) == 0)
        return std::nullopt;
    return shading;
}

std::vector<KestrelPlace> ModuleHost::placeOfMessage() const {
    constexpr std::int32_t kMostLevels = 40;  // inserts nest thirty deep
    std::vector<KestrelPlace> places;
    if (extension_ == nullptr || extension_->place == nullptr) return places;
    KestrelPlace place{};
    for (std::int32_t level = 0; level < kMostLevels && extension_->place(level, &place) != 0; ++level)
        places.push_back(place);
    return places;
}

void ModuleHost::setAdvice(void (*take)(void* user, const char* rule, const char* text), void* user) const {
    if (extension_ != nullptr && extension_->setAdvice != nullptr) extension_->setAdvice(take, user);
}

std::string ModuleHost::nameOfMessage() const {
    if (extension_ == nullptr || extension_->messageName == nullptr) return {};
    const char* name = extension_->messageName();
    return name != nullptr ? name : "";
}

bool ModuleHost::setDebugLink(const std::string& name) const {
    if (extension_ == nullptr || extension_->setDebugLink == nullptr) return false;
    extension_->setDebugLink(name.c_str());
    return true;
}

bool ModuleHost::preset(const std::string& assignment) const {
    return extension_ != nullptr && extension_->preset != nullptr &&
           extension_->preset(assignment.c_str()) != 0;
}

bool ModuleHost::debugged(HxInstance instance) const {
    return extension_ != nullptr && extension_->debugged != nullptr && extension_->debugged(instance) != 0;
}

bool ModuleHost::aborted(HxInstance instance) const {
    return extension_ != nullptr && extension_->aborted != nullptr && extension_->aborted(instance) != 0;
}

}  // namespace kestrel::preview
