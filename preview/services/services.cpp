#include "preview/services/services.h"

#include "platform/environment.h"
#include "preview/scene/pose.h"
#include "preview/services/file_dialog.h"
#include "preview/services/panel_services.h"

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

const SceneIndex& index() {
    return current->index();
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

HostItemID firstItem(std::int32_t type, HostItemID parent) {
    return index().first(type, parent);
}
HostItemID nextItem(HostItemID id) {
    return index().next(id);
}
HostItemID firstChildOf(HostItemID id) {
    return index().firstChild(id);
}
HostItemID nextChildOf(HostItemID id, HostItemID child) {
    return index().nextChild(id, child);
}

HostItemID parentOf(HostItemID id) {
    const Item* item = index().item(id);
    return item == nullptr ? 0 : item->parent;
}
HostItemID goalOf(HostItemID id) {
    const Item* item = index().item(id);
    return item == nullptr ? 0 : item->goal;
}
HostItemID targetOf(HostItemID id) {
    const Item* item = index().item(id);
    return item == nullptr ? 0 : item->target;
}
std::int32_t typeOf(HostItemID id) {
    const Item* item = index().item(id);
    return item == nullptr ? HX_SCENE : item->type;
}
const char* nameOf(HostItemID id) {
    const Item* item = index().item(id);
    return item == nullptr ? nullptr : item->name.c_str();
}

Vec3 localParameter(const Motion& motion, std::int32_t code, double time) {
    switch (code) {
        case HXIP_POSITION:
            return motion.position.at(time);
        case HXIP_RIGHT:
            return motion.axes(time).right;
        case HXIP_UP:
            return motion.axes(time).up;
        case HXIP_FORWARD:
            return motion.axes(time).forward;
        case HXIP_ROTATION:
            return motion.spins ? anglesOf(motion.axes(time)) : motion.angles.at(time);
        case HXIP_SCALING:
            return motion.scaling.at(time);
        case HXIP_PIVOT:
            return motion.pivot;
        default:
            return {};
    }
}

Vec3 parameter(const Item& item, std::int32_t code, double time) {
    if (code < HXIP_W_POSITION) return localParameter(item.motion, code, time);
    const Transform world = worldAt(index(), item, time);
    switch (code) {
        case HXIP_W_POSITION:
            return world.point(item.motion.pivot);
        case HXIP_W_RIGHT:
            return world.axes().right;
        case HXIP_W_UP:
            return world.axes().up;
        case HXIP_W_FORWARD:
            return world.axes().forward;
        default:
            return {};
    }
}

void itemParam(HostItemID id, std::int32_t code, double time, double out[3]) {
    const Item* item = index().item(id);
    store(item == nullptr ? Vec3{} : parameter(*item, code, time), std::span<double, 3>(out, 3));
}

std::uint32_t itemLimits(HostItemID id, std::int32_t code, double min[3], double max[3]) {
    const Item* item = index().item(id);
    const std::size_t which = code == HXIP_POSITION   ? 0
                              : code == HXIP_ROTATION ? 1
                              : code == HXIP_SCALING  ? 2
                                                      : 3;
    const Limits limits = item != nullptr && which < 3 ? item->limits[which] : Limits{};
    store(limits.min, std::span<double, 3>(min, 3));
    store(limits.max, std::span<double, 3>(max, 3));
    return limits.unlimited;
}

ItemInfo itemService{firstItem, nextItem, firstChildOf, nextChildOf, parentOf,  targetOf,
                     goalOf,    typeOf,   nameOf,       itemParam,   itemLimits};

// ---- meshes and bones ----

const char* meshFile(HostItemID id) {
    const MeshItem* mesh = index().mesh(id);
    return mesh == nullptr ? nullptr : mesh->filename.c_str();
}
std::int32_t meshPoints(HostItemID id) {
    const MeshItem* mesh = index().mesh(id);
    return mesh == nullptr ? 0 : mesh->points;
}
std::int32_t meshPolygons(HostItemID id) {
    const MeshItem* mesh = index().mesh(id);
    return mesh == nullptr ? 0 : mesh->polygons;
}
std::uint32_t meshShadows(HostItemID id) {
    const MeshItem* mesh = index().mesh(id);
    return mesh == nullptr ? 0U : mesh->shadows;
}
double meshDissolve(HostItemID id, double time) {
    const MeshItem* mesh = index().mesh(id);
    return mesh == nullptr ? 0.0 : mesh->dissolve.at(time);
}
ObjectInfo objectService{meshFile, meshPoints, meshPolygons, meshShadows, meshDissolve};

std::uint32_t boneFlags(HostItemID id) {
    const BoneItem* bone = index().bone(id);
    return bone == nullptr ? 0U : bone->flags;
}
void boneRest(HostItemID id, std::int32_t code, double out[3]) {
    const BoneItem* bone = index().bone(id);
    store(bone == nullptr ? Vec3{} : localParameter(bone->rest, code, 0.0), std::span<double, 3>(out, 3));
}
double boneLength(HostItemID id) {
    const BoneItem* bone = index().bone(id);
    return bone == nullptr ? 0.0 : bone->restLength;
}
void boneLimits(HostItemID id, double* inner, double* outer) {
    const BoneItem* bone = index().bone(id);
    *inner = bone == nullptr ? 0.0 : bone->innerLimit;
    *outer = bone == nullptr ? 0.0 : bone->outerLimit;
}
BoneInfo boneService{boneFlags, boneRest, boneLength, boneLimits};

// ---- lights and cameras ----

void ambientLight(double time, double out[3]) {
    store(index().scene().ambient.at(time), std::span<double, 3>(out, 3));
}
std::int32_t lightType(HostItemID id) {
    const LightItem* light = index().light(id);
    return light == nullptr ? 0 : static_cast<std::int32_t>(light->type);
}
void lightColor(HostItemID id, double time, double out[3]) {
    const LightItem* light = index().light(id);
    store(light == nullptr ? Vec3{} : light->color.at(time) * light->intensity.at(time),
          std::span<double, 3>(out, 3));
}
std::int32_t lightShadows(HostItemID id) {
    const LightItem* light = index().light(id);
    return light == nullptr ? 0 : static_cast<std::int32_t>(light->shadow);
}
void lightCone(HostItemID id, double* radius, double* edge) {
    const LightItem* light = index().light(id);
    const bool spot = light != nullptr && light->type == LightItem::Type::Spot;
    *radius = spot ? light->coneRadius : 0.0;
    *edge = spot ? light->coneEdge : 0.0;
}
LightInfo lightService{ambientLight, lightType, lightColor, lightShadows, lightCone};

/// A value of a camera over time; 0 for an item that is none.
template <Track<double> CameraItem::*kTrack>
double cameraValue(HostItemID id, double time) {
    const CameraItem* camera = index().camera(id);
    return camera == nullptr ? 0.0 : (camera->*kTrack).at(time);
}
double cameraZoom(HostItemID id, double time) {
    const CameraItem* camera = index().camera(id);
    return camera == nullptr ? 0.0 : 1.0 / std::tan(0.5 * camera->verticalFov.at(time));
}
void cameraFov(HostItemID id, double time, double* horizontal, double* vertical) {
    const CameraItem* camera = index().camera(id);
    const SceneInfo& info = current->sceneInfo();
    const double width = info.frameWidth * info.pixelAspect;
    const double height = std::max(1, info.frameHeight);
    *horizontal = *vertical = 0.0;
    if (camera == nullptr) return;
    const double covered = std::tan(0.5 * camera->verticalFov.at(time));
    const double perUnit = covered / (camera->fitsSmallerSide ? std::min(width, height) : height);
    *horizontal = 2.0 * std::atan(perUnit * width);
    *vertical = 2.0 * std::atan(perUnit * height);
}
CameraInfo cameraService{cameraZoom,
                         cameraValue<&CameraItem::focalLength>,
                         cameraValue<&CameraItem::focalDistance>,
                         cameraValue<&CameraItem::fStop>,
                         cameraValue<&CameraItem::blurLength>,
                         cameraFov};

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
void* service(const char* name, std::int32_t) {
    if (current == nullptr || name == nullptr) return nullptr;
    const std::array<std::pair<std::string_view, void*>, 11> services{{
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
        {HX_SERVICE_PANELS, panelServices(current->panels())},
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

PreviewServices::PreviewServices(const SceneIndex& index, FileDialog& dialog, MessageReceiver messages)
    : index_(index), dialog_(dialog), messages_(std::move(messages)) {
    if (current != nullptr) throw std::logic_error("only one set of host services can exist at a time");
    current = this;
    const Scene& scene = index_.scene();
    const SceneSettings& settings = scene.settings;
    sceneInfo_.name = scene.name.c_str();
    sceneInfo_.filename = scene.filename.c_str();
    for (const MeshItem& mesh : scene.meshes) {
        sceneInfo_.numPoints += mesh.points;
        sceneInfo_.numPolygons += mesh.polygons;
    }
    sceneInfo_.renderType = settings.renderType;
    sceneInfo_.renderOptions = settings.renderOptions;
    sceneInfo_.frameStart = settings.frameStart;
    sceneInfo_.frameEnd = settings.frameEnd;
    sceneInfo_.frameStep = settings.frameStep;
    sceneInfo_.framesPerSecond = settings.framesPerSecond;
    sceneInfo_.frameWidth = settings.width;
    sceneInfo_.frameHeight = settings.height;
    sceneInfo_.pixelAspect = settings.pixelAspect;
    sceneInfo_.minSamplesPerPixel = settings.minSamples;
    sceneInfo_.maxSamplesPerPixel = settings.maxSamples;
    std::copy(settings.limitedRegion.begin(), settings.limitedRegion.end(), sceneInfo_.limitedRegion);
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
