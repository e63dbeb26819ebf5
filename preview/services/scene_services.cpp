#include "preview/services/scene_services.h"

#include "preview/scene/pose.h"
#include "preview/services/current_services.h"
#include "preview/services/services.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace kestrel::preview {

namespace {

const SceneIndex& index() {
    return currentServices()->index();
}

const char* textOrNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

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

Vec3 worldParameter(const Transform& world, const Vec3& pivot, std::int32_t code) {
    switch (code) {
        case HXIP_W_POSITION:
            return world.point(pivot);
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

Vec3 parameter(const Item& item, std::int32_t code, double time) {
    if (code < HXIP_W_POSITION) return localParameter(item.motion, code, time);
    return worldParameter(worldAt(index(), item, time), item.motion.pivot, code);
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
    return mesh == nullptr ? nullptr : textOrNull(mesh->filename);
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
/// In the world a bone rests where its mesh stands at the first frame.
Vec3 restParameter(const BoneItem& bone, std::int32_t code) {
    if (code < HXIP_W_POSITION) return localParameter(bone.rest, code, 0.0);
    const Scene& scene = index().scene();
    const MeshItem* mesh = index().mesh(bone.mesh);
    const double time = scene.settings.frameStart / scene.settings.framesPerSecond;
    const Transform toMesh = bone.fromMesh.inverse();
    const Transform world = mesh == nullptr ? toMesh : worldAt(index(), mesh->item, time) * toMesh;
    return worldParameter(world, bone.rest.pivot, code);
}
void boneRest(HostItemID id, std::int32_t code, double out[3]) {
    const BoneItem* bone = index().bone(id);
    store(bone == nullptr ? Vec3{} : restParameter(*bone, code), std::span<double, 3>(out, 3));
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
void cameraFov(HostItemID id, double time, double* horizontal, double* vertical) {
    const CameraItem* camera = index().camera(id);
    const SceneInfo& info = currentServices()->sceneInfo();
    const double width = info.frameWidth * info.pixelAspect;
    const double height = std::max(1, info.frameHeight);
    *horizontal = *vertical = 0.0;
    if (camera == nullptr) return;
    const double covered = std::tan(0.5 * camera->verticalFov.at(time));
    const double perUnit = covered / (camera->fitsSmallerSide ? std::min(width, height) : height);
    *horizontal = 2.0 * std::atan(perUnit * width);
    *vertical = 2.0 * std::atan(perUnit * height);
}
double cameraZoom(HostItemID id, double time) {
    if (index().camera(id) == nullptr) return 0.0;
    double horizontal = 0.0;
    double vertical = 0.0;
    cameraFov(id, time, &horizontal, &vertical);
    return 1.0 / std::tan(0.5 * vertical);
}
CameraInfo cameraService{cameraZoom,
                         cameraValue<&CameraItem::focalLength>,
                         cameraValue<&CameraItem::focalDistance>,
                         cameraValue<&CameraItem::fStop>,
                         cameraValue<&CameraItem::blurLength>,
                         cameraFov};

// ---- images ----

/// The module gets the place of an image in the scene's list, counted from 1, in the form of a pointer.
HxImageID imageAt(std::size_t place) {
    if (place >= index().scene().images.size()) return nullptr;
    return reinterpret_cast<HxImageID>(static_cast<std::uintptr_t>(place + 1));
}
std::size_t placeAfter(HxImageID image) {
    return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(image));
}
const ImageItem* imageOf(HxImageID image) {
    const std::vector<ImageItem>& images = index().scene().images;
    const std::size_t after = placeAfter(image);
    return after == 0 || after > images.size() ? nullptr : &images[after - 1];
}

HxImageID firstImage() {
    return imageAt(0);
}
HxImageID nextImage(HxImageID image) {
    return image == nullptr ? nullptr : imageAt(placeAfter(image));
}
const char* imageName(HxImageID id) {
    const ImageItem* image = imageOf(id);
    return image == nullptr ? nullptr : image->name.c_str();
}
const char* imageFile(HxImageID id) {
    const ImageItem* image = imageOf(id);
    return image == nullptr ? nullptr : textOrNull(image->filename);
}
ImageList imageService{firstImage, nextImage, imageName, imageFile};

/// A scene that shows a large mesh often has more points than the interface can say.
std::int32_t narrow(std::int64_t count) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(count, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

void* sceneService(std::string_view name) {
    const std::array<std::pair<std::string_view, void*>, 6> services{{
        {HX_SERVICE_ITEM_INFO, &itemService},
        {HX_SERVICE_OBJECT_INFO, &objectService},
        {HX_SERVICE_BONE_INFO, &boneService},
        {HX_SERVICE_LIGHT_INFO, &lightService},
        {HX_SERVICE_CAMERA_INFO, &cameraService},
        {HX_SERVICE_IMAGE_LIST, &imageService},
    }};
    for (const auto& [offered, record] : services) {
        if (offered == name) return record;
    }
    return nullptr;
}

SceneInfo sceneInfoOf(const Scene& scene) {
    const SceneSettings& settings = scene.settings;
    SceneInfo info{};
    info.name = scene.name.c_str();
    info.filename = scene.filename.c_str();
    std::int64_t points = 0;
    std::int64_t polygons = 0;
    for (const MeshItem& mesh : scene.meshes) {
        points += mesh.points;
        polygons += mesh.polygons;
    }
    info.numPoints = narrow(points);
    info.numPolygons = narrow(polygons);
    info.renderType = settings.renderType;
    info.renderOptions = settings.renderOptions;
    info.frameStart = settings.frameStart;
    info.frameEnd = settings.frameEnd;
    info.frameStep = settings.frameStep;
    info.framesPerSecond = settings.framesPerSecond;
    info.frameWidth = settings.width;
    info.frameHeight = settings.height;
    info.pixelAspect = settings.pixelAspect;
    info.minSamplesPerPixel = settings.minSamples;
    info.maxSamplesPerPixel = settings.maxSamples;
    std::copy(settings.limitedRegion.begin(), settings.limitedRegion.end(), info.limitedRegion);
    return info;
}

}  // namespace kestrel::preview
