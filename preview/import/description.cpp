#include "preview/import/description.h"

#include "preview/import/description_items.h"
#include "preview/import/input_file.h"

#include <algorithm>
#include <array>

namespace kestrel::preview {

namespace {

constexpr std::int64_t kLastFrame = 1'000'000;

void readFrames(const JsonValue& json, SceneSettings& settings) {
    json.allows({"start", "end", "step"});
    settings.frameStart = static_cast<std::int32_t>(json.integerOr("start", -kLastFrame, kLastFrame, 0));
    const std::optional<JsonValue> end = json.find("end");
    settings.frameEnd =
        end ? static_cast<std::int32_t>(end->integer(settings.frameStart, kLastFrame)) : settings.frameStart;
    settings.frameStep = static_cast<std::int32_t>(json.integerOr("step", 1, kLastFrame, 1));
}

void readSamples(const JsonValue& json, SceneSettings& settings) {
    constexpr std::int64_t kMost = 65536;
    const bool isRange = json.isArray();
    if (isRange && json.size() != 2) json.fail("must be a number, or the least and the most");
    settings.minSamples = static_cast<std::int32_t>((isRange ? json.at(0) : json).integer(1, kMost));
    settings.maxSamples = isRange ? static_cast<std::int32_t>(json.at(1).integer(settings.minSamples, kMost))
                                  : settings.minSamples;
}

void readRegion(const JsonValue& json, SceneSettings& settings) {
    if (json.size() != 4) json.fail("must be left, top, right and bottom");
    for (std::size_t i = 0; i < 4; ++i) {
        const std::int64_t most = i % 2 == 0 ? settings.width : settings.height;
        settings.limitedRegion[i] = static_cast<std::int32_t>(json.at(i).integer(0, most));
    }
    const std::array<std::int32_t, 4>& region = settings.limitedRegion;
    if (region[0] >= region[2] || region[1] >= region[3]) json.fail("has nothing inside");
}

void readSettings(const JsonValue& json, SceneSettings& settings) {
    json.allows({"frames", "framesPerSecond", "size", "pixelAspect", "samples", "limitedRegion", "renderType",
                 "renderOptions"});
    if (const auto frames = json.find("frames")) readFrames(*frames, settings);
    if (const auto rate = json.find("framesPerSecond"))
        settings.framesPerSecond = rate->number(0.01, 10000.0);
    if (const auto size = json.find("size")) {
        if (size->size() != 2) size->fail("must be width and height");
        settings.width = static_cast<std::int32_t>(size->at(0).integer(1, 8192));
        settings.height = static_cast<std::int32_t>(size->at(1).integer(1, 8192));
    }
    if (const auto aspect = json.find("pixelAspect")) settings.pixelAspect = aspect->number(0.01, 100.0);
    if (const auto samples = json.find("samples")) readSamples(*samples, settings);
    if (const auto region = json.find("limitedRegion")) readRegion(*region, settings);
    if (const auto type = json.find("renderType")) {
        settings.renderType = static_cast<std::int32_t>(type->oneOf({"wireframe", "quick", "realistic"}));
    }
    if (const auto options = json.find("renderOptions")) {
        settings.renderOptions = 0;
        for (std::size_t i = 0; i < options->size(); ++i) {
            settings.renderOptions |= 1U << options->at(i).oneOf({"shadows", "reflection", "refraction"});
        }
    }
}

void readSky(const JsonValue& json, Sky& sky) {
    json.allows({"horizon", "zenith", "bounce", "glow", "glowDirection"});
    if (const auto color = json.find("horizon")) sky.horizon = readColor(*color);
    if (const auto color = json.find("zenith")) sky.zenith = readColor(*color);
    if (const auto color = json.find("bounce")) sky.bounce = readColor(*color);
    if (const auto color = json.find("glow")) sky.glow = readColor(*color);
    if (const auto direction = json.find("glowDirection")) {
        sky.glowDirection = normalize(readPoint(*direction));
        if (!(length(sky.glowDirection) > 0.0)) direction->fail("has no direction");
    }
}

void readEnvironment(const JsonValue& json, EnvironmentPicture& environment) {
    json.allows({"file", "intensity", "rotation"});
    const JsonValue file = json.require("file");
    environment.filename = pathBeside(file.file(), file.text());
    if (const auto intensity = json.find("intensity")) environment.intensity = intensity->number(0.0, 1e9);
    environment.rotation = json.numberOr("rotation", 0.0) * kRadians;
}

SurfaceEntry readSurface(const std::string& name, const JsonValue& json) {
    json.allows(
        {"script", "color", "luminous", "diffuse", "specular", "mirror", "transparency", "eta", "roughness"});
    SurfaceEntry entry;
    entry.name = name;
    Surface& plain = entry.plain;
    if (const auto script = json.find("script")) {
        if (script->text().empty()) script->fail("must not be empty");
        entry.script = pathBeside(script->file(), script->text());
    }
    if (const auto color = json.find("color")) plain.color = readColor(*color);
    const std::array<std::pair<const char*, double Surface::*>, 7> values{
        {{"luminous", &Surface::luminous},
         {"diffuse", &Surface::diffuse},
         {"specular", &Surface::specular},
         {"mirror", &Surface::mirror},
         {"transparency", &Surface::transparency},
         {"eta", &Surface::eta},
         {"roughness", &Surface::roughness}}};
    for (const auto& [key, member] : values) {
        const bool isShare =
            member == &Surface::mirror || member == &Surface::transparency || member == &Surface::roughness;
        if (const auto value = json.find(key)) plain.*member = value->number(0.0, isShare ? 1.0 : 1e6);
    }
    return entry;
}

void readSurfaces(const JsonValue& json, Scene& scene) {
    if (!json.isObject()) json.fail("must be an object: a name for each surface");
    for (auto entry = json.json().begin(); entry != json.json().end(); ++entry) {
        if (scene.surfaces.size() >= ImportLimits::kSurfaces) json.fail("has too many surfaces");
        const JsonValue value = json.require(entry.key());
        if (entry.key().empty()) value.fail("a surface needs a name");
        scene.surfaces.push_back(readSurface(entry.key(), value));
    }
}

void readImage(const JsonValue& json, Scene& scene, Names& names, Budget& budget) {
    json.allows({"name", "file"});
    budget.takeItem();
    ImageItem image;
    image.id = itemNumber(HX_SCENE + 1, scene.images.size());
    image.filename = pathBeside(json.file(), json.require("file").text());
    image.name = names.choose(json.textOr("name", stemOf(image.filename)), "Image");
    scene.images.push_back(std::move(image));
}

/// A scene that says nothing of what is around it gets an even sky; one with a picture around it may stay
/// without.
void readSurroundings(const JsonValue& root, const TrackReader& tracks, Scene& scene) {
    const auto sky = root.find("sky");
    const auto environment = root.find("environment");
    if (sky) readSky(*sky, scene.sky);
    if (environment) readEnvironment(*environment, scene.environment);
    if (!sky && !environment) giveSky(scene);
    scene.ambient = tracks.vector(root, "ambient", scene.sky.ambient({0.0, 0.0, -1.0}), readColor);
}

}  // namespace

Scene readDescription(const std::string& nativePath) {
    const JsonDocument document(nativePath, readBytes(nativePath));
    const JsonValue root(document);
    root.allows({"version", "name", "settings", "surfaces", "images", "environment", "sky", "ambient",
                 "meshes", "lights", "cameras"});
    if (const auto version = root.find("version")) (void)version->integer(1, 1);
    Scene scene;
    Budget budget(nativePath);
    scene.filename = nativePath;
    scene.name = root.textOr("name", stemOf(nativePath));
    if (const auto settings = root.find("settings")) readSettings(*settings, scene.settings);
    const TrackReader tracks(scene.settings.framesPerSecond, budget);
    if (const auto surfaces = root.find("surfaces")) readSurfaces(*surfaces, scene);
    Names imageNames;
    root.forEach("images", [&](const JsonValue& image) { readImage(image, scene, imageNames, budget); });
    readSurroundings(root, tracks, scene);
    ItemReader items(scene, tracks, budget);
    root.forEach("meshes", [&](const JsonValue& mesh) { items.readMesh(mesh); });
    root.forEach("lights", [&](const JsonValue& light) { items.readLight(light); });
    root.forEach("cameras", [&](const JsonValue& camera) { items.readCamera(camera); });
    items.connect(nativePath);
    completeScene(scene, !root.find("lights"));
    return scene;
}

}  // namespace kestrel::preview
