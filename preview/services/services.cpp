#include "preview/services/services.h"

#include "platform/environment.h"
#include "preview/services/file_dialog.h"

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

const Scene& scene() {
    return current->scene();
}

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

// ---- items ----

HostItemID firstItem(std::int32_t type, HostItemID) {
    const PlacedItem* found = scene().itemAt(type, 0);
    return found == nullptr ? 0 : found->id;
}

HostItemID nextItem(HostItemID id) {
    const PlacedItem* item = scene().item(id);
    if (item == nullptr) return 0;
    for (std::size_t i = 0; const PlacedItem* candidate = scene().itemAt(item->type, i); ++i) {
        if (candidate->id != id) continue;
        const PlacedItem* following = scene().itemAt(item->type, i + 1);
        return following == nullptr ? 0 : following->id;
    }
    return 0;
}

// The scene is flat: no item has children, a parent or a goal.
HostItemID firstChildOf(HostItemID) {
    return 0;
}
HostItemID nextChildOf(HostItemID, HostItemID) {
    return 0;
}
HostItemID parentOf(HostItemID) {
    return 0;
}
HostItemID goalOf(HostItemID) {
    return 0;
}

HostItemID targetOf(HostItemID id) {
    const PlacedItem* item = scene().item(id);
    return item == nullptr ? 0 : item->target;
}

std::int32_t typeOf(HostItemID id) {
    const PlacedItem* item = scene().item(id);
    return item == nullptr ? HX_SCENE : item->type;
}

const char* nameOf(HostItemID id) {
    const PlacedItem* item = scene().item(id);
    return item == nullptr ? nullptr : item->name.c_str();
}

/// Heading, pitch and bank in radians.
Vec3 rotationOf(const Axes& axes) {
    return {std::atan2(axes.forward.x, axes.forward.z), -std::asin(std::clamp(axes.forward.y, -1.0, 1.0)),
            std::atan2(axes.right.y, axes.up.y)};
}

Vec3 parameter(const PlacedItem& item, std::int32_t code) {
    switch (code) {
        case HXIP_POSITION:
        case HXIP_W_POSITION:
            return item.position;
        case HXIP_RIGHT:
        case HXIP_W_RIGHT:
            return item.axes.right;
        case HXIP_UP:
        case HXIP_W_UP:
            return item.axes.up;
        case HXIP_FORWARD:
        case HXIP_W_FORWARD:
            return item.axes.forward;
        case HXIP_ROTATION:
            return rotationOf(item.axes);
        case HXIP_SCALING:
            return {1.0, 1.0, 1.0};
        default:
            return {};  // the pivot is the item's own origin
    }
}

void itemParam(HostItemID id, std::int32_t code, double, double out[3]) {
    const PlacedItem* item = scene().item(id);
    store(item == nullptr ? Vec3{} : parameter(*item, code), std::span<double, 3>(out, 3));
}

std::uint32_t itemLimits(HostItemID, std::int32_t, double min[3], double max[3]) {
    std::fill_n(min, 3, 0.0);
    std::fill_n(max, 3, 0.0);
    return 7;  // nothing in this scene is limited
}

ItemInfo itemService{firstItem, nextItem, firstChildOf, nextChildOf, parentOf,  targetOf,
                     goalOf,    typeOf,   nameOf,       itemParam,   itemLimits};

// ---- meshes and bones ----

const char* meshFile(HostItemID id) {
    const MeshItem* mesh = scene().mesh(id);
    return mesh == nullptr ? nullptr : mesh->filename.c_str();
}
std::int32_t meshPoints(HostItemID id) {
    const MeshItem* mesh = scene().mesh(id);
    return mesh == nullptr ? 0 : mesh->pointCount();
}
std::int32_t meshPolygons(HostItemID id) {
    const MeshItem* mesh = scene().mesh(id);
    return mesh == nullptr ? 0 : mesh->polygonCount();
}
// Every mesh casts shadows, on others and on itself, and receives them.
std::uint32_t meshShadows(HostItemID id) {
    return scene().mesh(id) == nullptr ? 0U : 7U;
}
double meshDissolve(HostItemID, double) {
    return 0.0;
}
ObjectInfo objectService{meshFile, meshPoints, meshPolygons, meshShadows, meshDissolve};

// There are no bones in the scene; the service answers for none.
std::uint32_t boneFlags(HostItemID) {
    return 0;
}
void boneRest(HostItemID, std::int32_t, double out[3]) {
    std::fill_n(out, 3, 0.0);
}
double boneLength(HostItemID) {
    return 0.0;
}
void boneLimits(HostItemID, double* inner, double* outer) {
    *inner = *outer = 0.0;
}
BoneInfo boneService{boneFlags, boneRest, boneLength, boneLimits};

// ---- lights and cameras ----

void ambientLight(double, double out[3]) {
    store(scene().ambient, std::span<double, 3>(out, 3));
}
std::int32_t lightType(HostItemID) {
    return 1;
}  // a point light
void lightColor(HostItemID id, double, double out[3]) {
    const LightItem* light = scene().light(id);
    store(light == nullptr ? Vec3{} : light->color, std::span<double, 3>(out, 3));
}
std::int32_t lightShadows(HostItemID id) {
    return scene().light(id) == nullptr ? 0 : 1;
}  // traced
void lightCone(HostItemID, double* radius, double* edge) {
    *radius = *edge = 0.0;
}
LightInfo lightService{ambientLight, lightType, lightColor, lightShadows, lightCone};

const CameraItem* cameraOf(HostItemID id) {
    const CameraItem& camera = scene().camera;
    return camera.item.id == id ? &camera : nullptr;
}
double cameraZoom(HostItemID id, double) {
    const CameraItem* camera = cameraOf(id);
    return camera == nullptr ? 0.0 : 1.0 / std::tan(0.5 * camera->verticalFov);
}
double cameraLength(HostItemID id, double) {
    const CameraItem* camera = cameraOf(id);
    return camera == nullptr ? 0.0 : camera->focalLength;
}
double cameraDistance(HostItemID id, double) {
    const CameraItem* camera = cameraOf(id);
    return camera == nullptr ? 0.0 : camera->focalDistance;
}
double cameraStop(HostItemID id, double) {
    const CameraItem* camera = cameraOf(id);
    return camera == nullptr ? 0.0 : camera->fStop;
}
double cameraBlur(HostItemID, double) {
    return 0.0;
}
void cameraFov(HostItemID id, double, double* horizontal, double* vertical) {
    const CameraItem* camera = cameraOf(id);
    const SceneInfo& info = current->sceneInfo();
    const double half = camera == nullptr ? 0.0 : 0.5 * camera->verticalFov;
    *vertical = 2.0 * half;
    *horizontal = 2.0 * std::atan(std::tan(half) * info.frameWidth / std::max(1, info.frameHeight));
}
CameraInfo cameraService{cameraZoom, cameraLength, cameraDistance, cameraStop, cameraBlur, cameraFov};

// ---- images: the scene uses none ----

HxImageID firstImage() {
    return nullptr;
}
HxImageID nextImage(HxImageID) {
    return nullptr;
}
const char* imageText(HxImageID) {
    return nullptr;
}
ImageList imageService{firstImage, nextImage, imageText, imageText};

// ---- lookup ----

/// The system-information word is 0 (the animation program), which as a pointer is null; so it has no row.
/// Panels are not offered: scripts that want them are told so and keep running.
void* service(const char* name, std::int32_t) {
    if (current == nullptr || name == nullptr) return nullptr;
    const std::array<std::pair<std::string_view, void*>, 10> services{{
        {HX_SERVICE_MESSAGES, &messageService},
        {HX_SERVICE_FILE_REQUEST, &fileRequestService},
        {HX_SERVICE_DIRECTORY_INFO, &directoryService},
        {HX_SERVICE_ITEM_INFO, &itemService},
        {HX_SERVICE_OBJECT_INFO, &objectService},
        {HX_SERVICE_BONE_INFO, &boneService},
        {HX_SERVICE_LIGHT_INFO, &lightService},
        {HX_SERVICE_CAMERA_INFO, &cameraService},
        {HX_SERVICE_SCENE_INFO, &current->sceneInfo()},
        {HX_SERVICE_IMAGE_LIST, &imageService},
    }};
    for (const auto& [offered, record] : services) {
        if (offered == name) return record;
    }
    return nullptr;
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

PreviewServices::PreviewServices(const Scene& scene, FileDialog& dialog, MessageReceiver messages)
    : scene_(scene), dialog_(dialog), messages_(std::move(messages)) {
    if (current != nullptr) throw std::logic_error("only one set of host services can exist at a time");
    current = this;
    sceneInfo_.name = scene_.name.c_str();
    sceneInfo_.filename = scene_.filename.c_str();
    for (const MeshItem& mesh : scene_.meshes) {
        sceneInfo_.numPoints += mesh.pointCount();
        sceneInfo_.numPolygons += mesh.polygonCount();
    }
    sceneInfo_.renderType = 2;     // a full picture
    sceneInfo_.renderOptions = 7;  // traced shadows, reflections and refraction
    sceneInfo_.frameStart = sceneInfo_.frameEnd = 0;
    sceneInfo_.frameStep = 1;
    sceneInfo_.framesPerSecond = 30.0;
    sceneInfo_.frameWidth = sceneInfo_.frameHeight = 512;
    sceneInfo_.pixelAspect = 1.0;
    sceneInfo_.minSamplesPerPixel = sceneInfo_.maxSamplesPerPixel = 16;
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
