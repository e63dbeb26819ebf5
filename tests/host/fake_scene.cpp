#include "tests/host/fake_scene.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace kestrel::test {

namespace {

FakeScene* scene = nullptr;  // services are plain functions

void store(double out[3], double a, double b, double c) {
    out[0] = a;
    out[1] = b;
    out[2] = c;
}

/// An operation that tells one of an item's neighbours.
template <HostItemID FakeItem::*kField>
HostItemID neighbour(HostItemID item) {
    return scene->hear("neighbour", item).*kField;
}

HostItemID firstItem(std::int32_t type, HostItemID parent) {
    if (type == HX_BONE) return scene->hear("first bone", parent).firstBone;
    scene->hear("first", static_cast<HostItemID>(type));
    return type >= 0 && type < HX_SCENE ? scene->first[type] : 0;
}

template <int kWhich>
double atTime(HostItemID item, double time) {
    scene->hear("at time", item);
    return item + time + kWhich;
}

constexpr ItemInfo kItems{
    firstItem,
    neighbour<&FakeItem::next>,
    neighbour<&FakeItem::firstChild>,
    [](HostItemID, HostItemID previous) { return scene->hear("nextChild", previous).nextSibling; },
    neighbour<&FakeItem::parent>,
    neighbour<&FakeItem::target>,
    neighbour<&FakeItem::goal>,
    [](HostItemID item) { return scene->hear("type", item).type; },
    [](HostItemID item) { return scene->hear("name", item).name; },
    [](HostItemID item, std::int32_t code, double time, double out[3]) {
        scene->hear("param", item);
        store(out, item, code, time);
    },
    [](HostItemID item, std::int32_t code, double least[3], double most[3]) {
        scene->hear("limits", item);
        store(least, -code, -2, -3);
        store(most, code, 2, 3);
        return scene->bits;
    },
};

constexpr ObjectInfo kObjects{
    [](HostItemID item) { return scene->hear("filename", item).name != nullptr ? "body.obj" : nullptr; },
    [](HostItemID) { return std::int32_t{8}; },
    [](HostItemID) { return std::int32_t{6}; },
    [](HostItemID) { return scene->bits; },
    atTime<1>,
};

void store2(double* first, double a, double* second, double b) {
    *first = a;
    *second = b;
}

constexpr BoneInfo kBones{
    [](HostItemID) { return scene->bits; },
    [](HostItemID item, std::int32_t code, double out[3]) { store(out, item, code, -1); },
    [](HostItemID) { return 1.5; },
    [](HostItemID, double* inner, double* outer) { store2(inner, 0.25, outer, 0.75); },
};

constexpr LightInfo kLights{
    [](double time, double out[3]) { store(out, 0.25, time, 2.0); },
    [](HostItemID) { return std::int32_t{7}; },
    [](HostItemID item, double, double out[3]) {
        scene->hear("color", item);
        std::copy_n(scene->color, 3, out);
    },
    [](HostItemID) { return std::int32_t{2}; },
    [](HostItemID, double* radius, double* edge) { store2(radius, 0.5, edge, 0.125); },
};

constexpr CameraInfo kCameras{
    atTime<1>,
    atTime<2>,
    atTime<3>,
    atTime<4>,
    atTime<5>,
    [](HostItemID, double time, double* horizontal, double* vertical) {
        store2(horizontal, time, vertical, 0.5);
    },
};

constexpr SceneInfo kInfo{"Stage", "stage.scn", 100, 50,  2,    0x85, 1,  60,
                          2,       29.97,       640, 480, 1.25, 1,    16, {5, 6, 7, 8}};

}  // namespace

FakeScene::FakeScene()
    : items(kItems), objects(kObjects), bones(kBones), lights(kLights), cameras(kCameras), info(kInfo) {
    scene = this;
}

FakeScene::~FakeScene() {
    scene = nullptr;
}

void FakeScene::furnish() {
    content = {
        {10, {.name = "Body", .next = 11, .firstBone = 30, .firstChild = 11, .target = 20, .goal = 30}},
        {11, {.name = "Arm", .nextSibling = 20, .parent = 10}},
        {20, {.type = HX_LIGHT, .name = "Lamp", .next = 21, .parent = 10}},
        {21, {.type = HX_LIGHT, .name = "Spot"}},
        {30, {.type = HX_BONE, .name = "Hip", .next = 31, .firstChild = 31}},
        {31, {.type = HX_BONE, .name = "Knee"}},
        {40, {.type = HX_CAMERA, .name = "Eye", .target = 10}},
    };
    first[HX_MESH] = 10;
    first[HX_LIGHT] = 20;
    first[HX_CAMERA] = 40;
}

void FakeScene::furnishImages() {
    static const char* names[] = {"oak.png", "ash.png"};
    images.first = []() -> HxImageID { return &names[0]; };
    images.next = [](HxImageID image) -> HxImageID { return image == &names[0] ? &names[1] : nullptr; };
    images.name = [](HxImageID image) { return *static_cast<const char**>(image); };
}

void* FakeScene::service(std::string_view name) {
    if (name == HX_SERVICE_ITEM_INFO) return &items;
    if (name == HX_SERVICE_OBJECT_INFO) return &objects;
    if (name == HX_SERVICE_BONE_INFO) return &bones;
    if (name == HX_SERVICE_LIGHT_INFO) return &lights;
    if (name == HX_SERVICE_CAMERA_INFO) return &cameras;
    if (name == HX_SERVICE_SCENE_INFO) return &info;
    return name == HX_SERVICE_IMAGE_LIST ? &images : nullptr;
}

std::vector<std::string> FakeScene::asked() {
    return std::exchange(asked_, {});
}

FakeItem& FakeScene::hear(const char* operation, HostItemID item) {
    static FakeItem unknown;
    if (recording) asked_.push_back(std::string(operation) + " " + std::to_string(item));
    if (onQuestion) onQuestion();
    const auto found = content.find(item);
    return found != content.end() ? found->second : unknown;
}

}  // namespace kestrel::test
