#include "host/item_methods.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>

namespace kestrel {

namespace {

using Triple = std::array<double, 3>;

// ---- arguments ----

/// As messages call the object.
constexpr const char* kItemName = "HxObject";
constexpr const char* kLightName = "LightInfo";
constexpr const char* kCameraName = "CameraInfo";
constexpr const char* kBoneName = "BoneInfo";

/// @param position  which the message tells, from 1
/// @return nothing after the call has failed
std::optional<double> timeArgument(ItemCall& call, int index, int position, const char* objectName) {
    const ValueCell& cell = call.arg(index);
    if (cell.isNumeric()) return cell.number;
    call.fail(MessageId::ItemArgumentType, position, objectName, call.name);
    return std::nullopt;
}

/// The parameters' names; their codes count from 1, the numbers that scripts use from 0.
constexpr std::string_view kParameterNames[] = {"POSITION", "RIGHT",   "UP",      "FORWARD",
                                                "ROTATION", "SCALING", "PIVOT",   "WPOSITION",
                                                "WRIGHT",   "WUP",     "WFORWARD"};
static_assert(std::size(kParameterNames) == HXIP_W_FORWARD);

/// @return the code of a parameter, 0 for what is none
std::int32_t parameterCode(const ValueCell& selector) noexcept {
    if (selector.type == Integer) {
        const std::int64_t number = truncate(selector.number);
        return number >= 0 && number < HXIP_W_FORWARD ? static_cast<std::int32_t>(number) + 1 : 0;
    }
    if (!selector.isText() || selector.text == nullptr) return 0;
    const auto* found = std::ranges::find(kParameterNames, std::string_view(selector.text));
    return found != std::end(kParameterNames) ? static_cast<std::int32_t>(found - kParameterNames) + 1 : 0;
}

// ---- results ----

VectorValue vectorOf(const Triple& numbers) noexcept {
    return {numbers[0], numbers[1], numbers[2]};
}

/// A colour as three whole numbers, 255 for 1.0.
void resultBytes(ItemCall& call, const Triple& color) {
    std::array<ValueCell, 3> values;
    for (std::size_t i = 0; i < color.size(); ++i)
        values[i] = ValueCell::ofInteger(static_cast<double>(truncate(color[i] * 255.0)));
    call.results(values);
}

// ---- the frame of every method ----

enum class Needs { Item, Nothing };

/// Without the service's operation, and without an item, a method is Nil and says nothing. Then the arguments
/// are counted, and the body gets the operation.
template <auto kService, auto kOperation, int kArguments, const char* const& kObjectName, auto kBody,
          Needs kNeeds = Needs::Item>
void method(MethodCall& methodCall) {
    auto& call = static_cast<ItemCall&>(methodCall);  // made by runMethod()
    const auto operation = call.services.operation(kService, kOperation);
    if (operation == nullptr || (kNeeds == Needs::Item && call.item() == 0)) return call.resultNil();
    if (call.argc != kArguments) return call.fail(MessageId::ItemArgumentCount, kObjectName, call.name);
    kBody(call, operation);
}

template <auto kOperation, int kArguments, auto kBody>
constexpr auto onItem = method<&SceneServices::items, kOperation, kArguments, kItemName, kBody>;

// ---- the way through the scene ----

constexpr auto kNext = [](ItemCall& call, auto next) {
    call.result(itemValue(call.ctx, call.self->kind, next(call.item())));
};

/// Children are counted by a cursor in the object that they were asked of.
void resultChild(ItemCall& call, HostItemID child) {
    call.self->childCursor = child;
    call.result(itemValue(call.ctx, child));
}

constexpr auto kFirstChild = [](ItemCall& call, auto firstChild) {
    resultChild(call, firstChild(call.item()));
};

/// Meant: arguments of firstChild() are told of as wrong types, and by another name.
void failFirstChild(MethodCall& call) {
    call.fail(MessageId::ItemArgumentType, 1, kItemName, "first");
}

void firstChild(MethodCall& methodCall) {
    auto& call = static_cast<ItemCall&>(methodCall);
    const auto operation = call.services.operation(&SceneServices::items, &ItemInfo::firstChild);
    if (operation == nullptr || call.item() == 0) return call.resultNil();
    if (call.argc != 0) return failFirstChild(call);
    kFirstChild(call, operation);
}

constexpr auto kNextChild = [](ItemCall& call, auto nextChild) {
    if (call.self->childCursor == 0) return call.fail(MessageId::FirstChildPending);
    resultChild(call, nextChild(call.item(), call.self->childCursor));
};

constexpr auto kFirstBone = [](ItemCall& call, auto first) {
    call.result(itemValue(call.ctx, HX_BONE, first(HX_BONE, call.item())));
};

/// The scene has no neighbours and no children.
void ofScene(MethodCall& call) {
    if (call.argc != 0) return call.fail(MessageId::ItemArgumentCount, kItemName, call.name);
    call.result(ValueCell::ofNil());
}

// ---- parameters of items ----

using ParamOperation = decltype(ItemInfo::param);

void resultParameter(ItemCall& call, ParamOperation param, std::int32_t code, double time) {
    Triple numbers{};
    param(call.item(), code, time, numbers.data());
    call.resultVector(vectorOf(numbers));
}

/// Meant: whichever argument is wrong, the message names the second.
void failSelector(ItemCall& call) {
    call.fail(MessageId::ItemArgumentType, 2, kItemName, call.name);
}

constexpr auto kParam = [](ItemCall& call, ParamOperation param) {
    const std::int32_t code = parameterCode(call.arg(0));
    if (code == 0) return failSelector(call);
    if (const std::optional<double> time = timeArgument(call, 1, 2, kItemName))
        resultParameter(call, param, code, *time);
};

template <HxItemParam kCode>
constexpr auto kGet = [](ItemCall& call, ParamOperation param) {
    if (const std::optional<double> time = timeArgument(call, 0, 1, kItemName))
        resultParameter(call, param, kCode, *time);
};

constexpr auto kLimits = [](ItemCall& call, auto limits) {
    const std::int32_t code = parameterCode(call.arg(0));
    if (code == 0) return failSelector(call);
    Triple least{};
    Triple most{};
    const std::uint32_t unlimited = limits(call.item(), code, least.data(), most.data());
    std::array<ValueCell, 6> values;
    for (std::size_t i = 0; i < 3; ++i) {
        const bool given = (unlimited >> i & 1U) == 0;
        values[i] = given ? ValueCell::ofNumber(least[i]) : ValueCell::ofNil();
        values[i + 3] = given ? ValueCell::ofNumber(most[i]) : ValueCell::ofNil();
    }
    call.results(values);
};

constexpr auto kDissolve = [](ItemCall& call, auto dissolve) {
    // Meant: the message names a second argument.
    if (const std::optional<double> time = timeArgument(call, 0, 2, kItemName))
        call.resultNumber(dissolve(call.item(), *time));
};

constexpr ArgumentCounts kAnyCount{0, ArgumentCounts::kAny};  // the handlers count themselves

constexpr MethodRow row(std::string_view name, void (*run)(MethodCall&), std::string_view signature,
                        std::string_view description) {
    return {name, run, kAnyCount, 0, signature, description};
}

template <HxItemParam kCode>
constexpr auto get = onItem<&ItemInfo::param, 1, kGet<kCode>>;

constexpr auto kItemMethods = std::to_array<MethodRow>({
    row("next", onItem<&ItemInfo::next, 0, kNext>, "item.next()", "The next item of its kind, or Nil."),
    row("firstChild", firstChild, "item.firstChild()", "The first item that hangs on it, or Nil."),
    row("nextChild", onItem<&ItemInfo::nextChild, 0, kNextChild>, "item.nextChild()",
        "The child behind the one that firstChild() or nextChild() of this value gave last, or Nil."),
    row("bone", onItem<&ItemInfo::first, 0, kFirstBone>, "item.bone()", "Its first bone, or Nil."),
    row("param", onItem<&ItemInfo::param, 2, kParam>, "item.param(which, time)",
        "A vector such as POSITION or \"POSITION\", at a time in seconds."),
    row("getPosition", get<HXIP_POSITION>, "item.getPosition(time)", "Its position."),
    row("getRight", get<HXIP_RIGHT>, "item.getRight(time)", "Its direction to the right."),
    row("getUp", get<HXIP_UP>, "item.getUp(time)", "Its direction upwards."),
    row("getForward", get<HXIP_FORWARD>, "item.getForward(time)", "Its direction forwards."),
    row("getRotation", get<HXIP_ROTATION>, "item.getRotation(time)",
        "Its heading, pitch and bank in radians."),
    row("getScaling", get<HXIP_SCALING>, "item.getScaling(time)", "Its scaling."),
    row("getPivot", get<HXIP_PIVOT>, "item.getPivot(time)", "Its pivot point."),
    row("getWorldPosition", get<HXIP_W_POSITION>, "item.getWorldPosition(time)",
        "Its position in the world."),
    row("getWorldRight", get<HXIP_W_RIGHT>, "item.getWorldRight(time)",
        "Its direction to the right in the world."),
    row("getWorldUp", get<HXIP_W_UP>, "item.getWorldUp(time)", "Its direction upwards in the world."),
    row("getWorldForward", get<HXIP_W_FORWARD>, "item.getWorldForward(time)",
        "Its direction forwards in the world."),
    row("limits", onItem<&ItemInfo::limits, 1, kLimits>, "item.limits(which)",
        "The bounds of a vector such as POSITION: three least and three largest numbers, Nil where there is "
        "no bound."),
    row("dissolve", method<&SceneServices::objects, &ObjectInfo::dissolve, 1, kItemName, kDissolve>,
        "item.dissolve(time)", "How far it is dissolved: 0 not at all, 1 wholly."),
});

// ---- lights ----

using AmbientOperation = decltype(LightInfo::ambient);
using ColorOperation = decltype(LightInfo::color);

template <bool kBytes>
void resultColor(ItemCall& call, const Triple& color) {
    if constexpr (kBytes)
        resultBytes(call, color);
    else
        call.resultVector(vectorOf(color));
}

template <bool kBytes>
constexpr auto kAmbient = [](ItemCall& call, AmbientOperation ambient) {
    const std::optional<double> time = timeArgument(call, 0, 1, kLightName);
    if (!time) return;
    Triple color{};
    ambient(*time, color.data());
    resultColor<kBytes>(call, color);
};

template <bool kBytes>
constexpr auto kColor = [](ItemCall& call, ColorOperation lightColor) {
    const std::optional<double> time = timeArgument(call, 0, 1, kLightName);
    if (!time) return;
    Triple color{};
    lightColor(call.item(), *time, color.data());
    resultColor<kBytes>(call, color);
};

template <auto kBody>
constexpr auto ambientLight =
    method<&SceneServices::lights, &LightInfo::ambient, 1, kLightName, kBody, Needs::Nothing>;
template <auto kBody>
constexpr auto lightColor = method<&SceneServices::lights, &LightInfo::color, 1, kLightName, kBody>;

constexpr auto kLightOnly = std::to_array<MethodRow>({
    row("ambient", ambientLight<kAmbient<false>>, "l.ambient(time)", "The light that is everywhere, 0 to 1."),
    row("rgbambient", ambientLight<kAmbient<true>>, "l.rgbambient(time)",
        "The same as three whole numbers, 0 to 255."),
    row("color", lightColor<kColor<false>>, "l.color(time)", "Its colour, 0 to 1."),
    row("rgbcolor", lightColor<kColor<true>>, "l.rgbcolor(time)",
        "Its colour as three whole numbers, 0 to 255."),
});

// ---- cameras ----

constexpr auto kAtTime = [](ItemCall& call, auto operation) {
    if (const std::optional<double> time = timeArgument(call, 0, 2, kCameraName))
        call.resultNumber(operation(call.item(), *time));
};

constexpr auto kFov = [](ItemCall& call, auto fovAngles) {
    const std::optional<double> time = timeArgument(call, 0, 2, kCameraName);
    if (!time) return;
    double horizontal = 0.0;
    double vertical = 0.0;
    fovAngles(call.item(), *time, &horizontal, &vertical);
    call.results(std::array{ValueCell::ofNumber(horizontal), ValueCell::ofNumber(vertical)});
};

template <auto kOperation, auto kBody = kAtTime>
constexpr auto camera = method<&SceneServices::cameras, kOperation, 1, kCameraName, kBody>;

constexpr auto kCameraOnly = std::to_array<MethodRow>({
    row("zoomFactor", camera<&CameraInfo::zoomFactor>, "c.zoomFactor(time)",
        "Its zoom: 1 over the tangent of half the vertical angle of view."),
    row("focalLength", camera<&CameraInfo::focalLength>, "c.focalLength(time)",
        "Its focal length in millimetres."),
    row("focalDistance", camera<&CameraInfo::focalDistance>, "c.focalDistance(time)",
        "The distance at which it is sharp."),
    // Meant: the distance, not the stop; scripts rely on it.
    row("fStop", camera<&CameraInfo::focalDistance>, "c.fStop(time)", "The same number as focalDistance()."),
    row("blurLength", camera<&CameraInfo::blurLength>, "c.blurLength(time)",
        "How long the shutter is open, in frames."),
    row("fovAngles", camera<&CameraInfo::fovAngles, kFov>, "c.fovAngles(time)",
        "The horizontal and the vertical angle of view in radians, two numbers."),
});

// ---- bones ----

/// Meant: the two messages spell the method differently.
void restParam(MethodCall& methodCall) {
    auto& call = static_cast<ItemCall&>(methodCall);
    const auto operation = call.services.operation(&SceneServices::bones, &BoneInfo::restParam);
    if (operation == nullptr || call.item() == 0) return call.resultNil();
    if (call.argc != 1) return call.fail(MessageId::ItemArgumentCount, kBoneName, "restparm");
    const std::int32_t code = parameterCode(call.arg(0));
    if (code == 0) return call.fail(MessageId::ItemArgumentType, 2, kBoneName, "restparam");
    Triple numbers{};
    operation(call.item(), code, numbers.data());
    call.resultVector(vectorOf(numbers));
}

constexpr auto kBoneOnly = std::to_array<MethodRow>({
    row("restParam", restParam, "b.restParam(which)", "A vector such as POSITION, as the bone was at rest."),
});

constexpr MethodRow kSceneMethods[] = {
    row("next", ofScene, "item.next()", "Nil."),
    row("firstChild", ofScene, "item.firstChild()", "Nil."),
    row("nextChild", ofScene, "item.nextChild()", "Nil."),
};

/// What all items have, and behind it what only some have.
template <std::size_t kCount>
constexpr auto withItemMethods(const std::array<MethodRow, kCount>& own) {
    return [&]<std::size_t... I, std::size_t... J>(std::index_sequence<I...>, std::index_sequence<J...>) {
        return std::array{kItemMethods[I]..., own[J]...};
    }
    (std::make_index_sequence<kItemMethods.size()>{}, std::make_index_sequence<kCount>{});
}

constexpr auto kLightMethods = withItemMethods(kLightOnly);
constexpr auto kCameraMethods = withItemMethods(kCameraOnly);
constexpr auto kBoneMethods = withItemMethods(kBoneOnly);

}  // namespace

std::span<const MethodRow> itemMethods() noexcept {
    return kItemMethods;
}
std::span<const MethodRow> lightMethods() noexcept {
    return kLightMethods;
}
std::span<const MethodRow> cameraMethods() noexcept {
    return kCameraMethods;
}
std::span<const MethodRow> boneMethods() noexcept {
    return kBoneMethods;
}
std::span<const MethodRow> sceneMethods() noexcept {
    return kSceneMethods;
}

}  // namespace kestrel
