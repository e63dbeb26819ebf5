#include "host/item_members.h"

#include "host/scene_item.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <cstddef>

namespace kestrel {

namespace {

const SceneServices& services(const EngineContext& ctx) noexcept {
    return shaderContext(ctx).environment.scene;
}

/// @return false when there is no memory
bool answerName(EngineContext& ctx, const char* text, ValueCell& out) {
    const char* copy = text != nullptr ? ctx.pool.strdup(text) : nullptr;
    out = copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil();
    return text == nullptr || copy != nullptr;
}

bool answer(ValueCell& out, const ValueCell& value) noexcept {
    out = value;
    return true;
}

bool bit(std::uint32_t bits, std::int64_t number) noexcept {
    return (bits >> (number - 1) & 1U) != 0;
}

/// Asks an operation of a service about the item, and gives what `kAnswer` makes of it. The object has its
/// record; beginRead() sees to that.
template <auto kService, auto kOperation, auto kAnswer>
bool ask(EngineContext& ctx, const MemberAccess& access, const MemberRow&, ValueCell& out) {
    const auto operation = services(ctx).operation(kService, kOperation);
    const HostItemID item = sceneItem(*access.object)->item;
    if (operation == nullptr || item == 0) return answer(out, ValueCell::ofNil());
    return kAnswer(ctx, access, operation, item, out);
}

// ---- answers ----

constexpr auto kInteger = [](EngineContext&, const MemberAccess&, auto operation, HostItemID item,
                             ValueCell& out) { return answer(out, ValueCell::ofInteger(operation(item))); };
constexpr auto kNumber = [](EngineContext&, const MemberAccess&, auto operation, HostItemID item,
                            ValueCell& out) { return answer(out, ValueCell::ofNumber(operation(item))); };
constexpr auto kText = [](EngineContext& ctx, const MemberAccess&, auto operation, HostItemID item,
                          ValueCell& out) { return answerName(ctx, operation(item), out); };
constexpr auto kItem = [](EngineContext& ctx, const MemberAccess&, auto operation, HostItemID item,
                          ValueCell& out) { return answer(out, itemValue(ctx, operation(item))); };
constexpr auto kFlag = [](EngineContext&, const MemberAccess& access, auto operation, HostItemID item,
                          ValueCell& out) {
    return answer(out, ValueCell::ofBool(bit(operation(item), access.index)));
};
/// Meant: a clear bit has no value.
constexpr auto kSetFlag = [](EngineContext&, const MemberAccess& access, auto operation, HostItemID item,
                             ValueCell& out) {
    return bit(operation(item), access.index) && answer(out, ValueCell::ofInteger(1));
};
/// The first or the second of two numbers that one operation tells.
template <bool kSecond>
constexpr auto kOfTwo =
    [](EngineContext&, const MemberAccess&, auto operation, HostItemID item, ValueCell& out) {
        double numbers[2] = {};
        operation(item, &numbers[0], &numbers[1]);
        return answer(out, ValueCell::ofNumber(numbers[kSecond ? 1 : 0]));
    };
constexpr auto kByIndex = [](EngineContext&, const MemberAccess& access, auto operation, HostItemID item,
                             ValueCell& out) {
    double numbers[2] = {};
    operation(item, &numbers[0], &numbers[1]);
    return answer(out, ValueCell::ofNumber(numbers[access.index - 1]));
};

// ---- rows ----

bool readKind(EngineContext&, const MemberAccess& access, const MemberRow&, ValueCell& out) {
    return answer(out, ValueCell::ofInteger(sceneItem(*access.object)->kind));
}

template <auto kOperation, auto kAnswer>
constexpr MemberReader item = ask<&SceneServices::items, kOperation, kAnswer>;
template <auto kOperation, auto kAnswer>
constexpr MemberReader mesh = ask<&SceneServices::objects, kOperation, kAnswer>;
template <auto kOperation, auto kAnswer>
constexpr MemberReader bone = ask<&SceneServices::bones, kOperation, kAnswer>;
template <auto kOperation, auto kAnswer>
constexpr MemberReader light = ask<&SceneServices::lights, kOperation, kAnswer>;

constexpr MemberRow row(std::string_view name, MemberType type, MemberReader read,
                        std::string_view description, int elements = 1) {
    return {name, type, elements, read, nullptr, 0, description};
}

constexpr MemberRow kName = row("name", MemberType::Text, item<&ItemInfo::name, kText>, "Its name.");

constexpr MemberRow kMesh[] = {
    row("parent", MemberType::Object, item<&ItemInfo::parent, kItem>, "The item it hangs on, or Nil."),
    row("target", MemberType::Object, item<&ItemInfo::target, kItem>, "The item it looks at, or Nil."),
    row("type", MemberType::Integer, readKind, "Its kind: MESH."),
    row("goal", MemberType::Object, item<&ItemInfo::goal, kItem>, "The item it reaches for, or Nil."),
    kName,
    row("filename", MemberType::Text, mesh<&ObjectInfo::filename, kText>, "The file of the object."),
    row("pointcount", MemberType::Integer, mesh<&ObjectInfo::numPoints, kInteger>, "How many points it has."),
    row("polycount", MemberType::Integer, mesh<&ObjectInfo::numPolygons, kInteger>,
        "How many polygons it has."),
    row("shadows", MemberType::Integer, mesh<&ObjectInfo::shadowOptions, kSetFlag>,
        "1 where a shadow option is set; without a value where it is not.", 3),
};

constexpr MemberRow kBone[] = {
    row("flags", MemberType::Integer, bone<&BoneInfo::flags, kFlag>, "1 or 0 for each of its flags.", 2),
    row("restlength", MemberType::Number, bone<&BoneInfo::restLength, kNumber>, "Its length at rest."),
    row("innerlimit", MemberType::Number, bone<&BoneInfo::limits, kOfTwo<false>>,
        "The radius within which it has its full effect."),
    row("outerlimit", MemberType::Number, bone<&BoneInfo::limits, kOfTwo<true>>,
        "The radius beyond which it has none."),
    kName,
};

constexpr MemberRow kLight[] = {
    row("type", MemberType::Integer, light<&LightInfo::type, kInteger>, "Which sort of light it is."),
    row("shadowtype", MemberType::Integer, light<&LightInfo::shadowType, kInteger>,
        "How it casts shadows; 0 when it does not."),
    row("coneangles", MemberType::Number, light<&LightInfo::coneAngles, kByIndex>,
        "The radius of a spotlight's cone and the width of its soft edge, in radians.", 2),
    kName,
};

constexpr MemberRow kCamera[] = {kName};

// ---- the scene ----

template <auto kField>
bool field(EngineContext& ctx, const MemberAccess& access, const MemberRow&, ValueCell& out) {
    const SceneInfo* scene = services(ctx).scene;
    if (scene == nullptr) return answer(out, ValueCell::ofNil());
    return kField(ctx, access, *scene, out);
}

/// Meant: a frame rate is an Integer that keeps its fraction.
template <auto kMember>
constexpr auto kWhole = [](EngineContext&, const MemberAccess&, const SceneInfo& scene, ValueCell& out) {
    return answer(out, ValueCell::ofInteger(scene.*kMember));
};
template <auto kMember>
constexpr auto kReal = [](EngineContext&, const MemberAccess&, const SceneInfo& scene, ValueCell& out) {
    return answer(out, ValueCell::ofNumber(scene.*kMember));
};
template <auto kMember>
constexpr auto kWords = [](EngineContext& ctx, const MemberAccess&, const SceneInfo& scene, ValueCell& out) {
    return answerName(ctx, scene.*kMember, out);
};
constexpr auto kOption = [](EngineContext&, const MemberAccess& access, const SceneInfo& scene,
                            ValueCell& out) {
    return answer(out, ValueCell::ofBool(bit(scene.renderOptions, access.index)));
};
constexpr auto kRegion = [](EngineContext&, const MemberAccess& access, const SceneInfo& scene,
                            ValueCell& out) {
    return answer(out, ValueCell::ofInteger(scene.limitedRegion[access.index - 1]));
};

template <auto kMember>
constexpr MemberReader whole = field<kWhole<kMember>>;
template <auto kMember>
constexpr MemberReader words = field<kWords<kMember>>;

constexpr MemberRow kScene[] = {
    row("name", MemberType::Text, words<&SceneInfo::name>, "Its name."),
    row("filename", MemberType::Text, words<&SceneInfo::filename>, "The file of the scene."),
    row("totalpoints", MemberType::Integer, whole<&SceneInfo::numPoints>, "Points of all objects."),
    row("totalpolygons", MemberType::Integer, whole<&SceneInfo::numPolygons>, "Polygons of all objects."),
    row("rendertype", MemberType::Integer, whole<&SceneInfo::renderType>, "How the host renders."),
    row("renderopts", MemberType::Integer, field<kOption>, "1 or 0 for each option of rendering.", 8),
    row("framestart", MemberType::Integer, whole<&SceneInfo::frameStart>, "The first frame."),
    row("frameend", MemberType::Integer, whole<&SceneInfo::frameEnd>, "The last frame."),
    row("framestep", MemberType::Integer, whole<&SceneInfo::frameStep>, "From one frame to the next."),
    row("fps", MemberType::Integer, whole<&SceneInfo::framesPerSecond>,
        "Frames per second. A fraction counts in arithmetic but is not shown."),
    row("framewidth", MemberType::Integer, whole<&SceneInfo::frameWidth>, "Width of the picture in pixels."),
    row("frameheight", MemberType::Integer, whole<&SceneInfo::frameHeight>, "Its height."),
    row("pixelaspect", MemberType::Number, field<kReal<&SceneInfo::pixelAspect>>,
        "Width of a pixel for its height."),
    row("minsamplesperpixel", MemberType::Integer, whole<&SceneInfo::minSamplesPerPixel>,
        "The fewest samples of a pixel."),
    row("maxsamplesperpixel", MemberType::Integer, whole<&SceneInfo::maxSamplesPerPixel>, "The most."),
    row("limitedregion", MemberType::Integer, field<kRegion>,
        "The part of the picture that is rendered: left, top, right and bottom.", 4),
};

}  // namespace

std::span<const MemberRow> meshMembers() noexcept {
    return kMesh;
}
std::span<const MemberRow> lightMembers() noexcept {
    return kLight;
}
std::span<const MemberRow> cameraMembers() noexcept {
    return kCamera;
}
std::span<const MemberRow> boneMembers() noexcept {
    return kBone;
}
std::span<const MemberRow> sceneMembers() noexcept {
    return kScene;
}

}  // namespace kestrel
