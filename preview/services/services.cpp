#include "preview/services/services.h"

#include "platform/environment.h"
#include "preview/services/current_services.h"
#include "preview/services/file_dialog.h"
#include "preview/services/panel_services.h"
#include "preview/services/scene_services.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace kestrel::preview {

namespace {

// The module's side of the interface is plain functions without a handle (see the class comment): this
// pointer is how they find the services. Set by the constructor, cleared by the destructor.
PreviewServices* current = nullptr;

// ---- messages, files, directories ----

void showInfo(const char* line1, const char* line2) {
    current->message(HostMessageKind::Info, line1, line2);
}
void showError(const char* line1, const char* line2) {
    current->message(HostMessageKind::Error, line1, line2);
}
void showWarning(const char* line1, const char* line2) {
    current->message(HostMessageKind::Warning, line1, line2);
}
InfoMessages messageService{showInfo, showError, showWarning};

std::int32_t requestFile(const char* title, char* fileName, char* path, char* fullName, std::int32_t size) {
    return current->dialog().request(title, fileName, path, fullName, size);
}
FileRequestService fileRequestService{requestFile};

const char* directoryOfKind(const char* kind) {
    return kind == nullptr ? nullptr : current->directory(kind);
}
DirectoryInfoService directoryService{directoryOfKind};

// ---- lookup ----

/// The system-information word is 0 (the animation program), which as a pointer is null; so it has no row.
void* service(const char* name, std::int32_t) {
    if (current == nullptr || name == nullptr) return nullptr;
    const std::array<std::pair<std::string_view, void*>, 5> services{{
        {HX_SERVICE_MESSAGES, &messageService},
        {HX_SERVICE_FILE_REQUEST, &fileRequestService},
        {HX_SERVICE_DIRECTORY_INFO, &directoryService},
        {HX_SERVICE_SCENE_INFO, &current->sceneInfo()},
        {HX_SERVICE_PANELS, panelServices(current->panels())},
    }};
    for (const auto& [offered, record] : services) {
        if (offered == name) return record;
    }
    return sceneService(name);
}

std::int32_t illuminateThunk(HostItemID light, const double point[3], double vector[3], double color[3]) {
    Vec3 direction = toVec(std::span<const double, 3>(vector, 3));
    Vec3 arriving;
    ShadingOperations* operations = current == nullptr ? nullptr : current->operations();
    if (operations != nullptr) {
        operations->illuminate(light, toVec(std::span<const double, 3>(point, 3)), direction, arriving);
    }
    store(direction, std::span<double, 3>(vector, 3));
    store(arriving, std::span<double, 3>(color, 3));
    return operations != nullptr ? 1 : 0;
}

double rayTraceThunk(const double point[3], const double direction[3], double color[3]) {
    Vec3 seen;
    ShadingOperations* operations = current == nullptr ? nullptr : current->operations();
    const double distance = operations == nullptr
                                ? -1.0
                                : operations->traceRay(toVec(std::span<const double, 3>(point, 3)),
                                                       toVec(std::span<const double, 3>(direction, 3)), seen);
    store(seen, std::span<double, 3>(color, 3));
    return distance;
}

}  // namespace

PreviewServices::PreviewServices(const SceneIndex& index, FileDialog& dialog, MessageReceiver messages)
    : index_(index), dialog_(dialog), messages_(std::move(messages)) {
    if (current != nullptr) throw std::logic_error("only one set of host services can exist at a time");
    current = this;
    sceneInfo_ = sceneInfoOf(index_.scene());
}

PreviewServices* currentServices() noexcept {
    return current;
}

PreviewServices::~PreviewServices() {
    current = nullptr;
}

HostGlobal PreviewServices::global() const noexcept {
    return service;
}
IlluminateOperation PreviewServices::illuminateOperation() noexcept {
    return illuminateThunk;
}
RayTraceOperation PreviewServices::rayTraceOperation() noexcept {
    return rayTraceThunk;
}

void PreviewServices::message(HostMessageKind kind, const char* line1, const char* line2) const {
    if (messages_) messages_(kind, line1 == nullptr ? "" : line1, line2);
}

const char* PreviewServices::directory(const std::string& kind) {
    constexpr std::array<std::string_view, 16> kKinds{
        "Install", "Objects",  "Images", "Motions",     "Temp",       "Plugins",   "Settings", "Content",
        "Scenes",  "Surfaces", "Output", "Hierarchies", "Animations", "Envelopes", "Previews", "Command"};
    if (std::find(kKinds.begin(), kKinds.end(), kind) == kKinds.end()) return nullptr;
    std::string& text = directories_[kind];
    text = kind == "Temp" ? platform::temporaryDirectory() : platform::currentDirectory();
    return text.c_str();
}

}  // namespace kestrel::preview
