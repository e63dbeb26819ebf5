#include "cli/scene_choice.h"

#include "preview/import/read_scene.h"
#include "preview/picture/environment_file.h"
#include "preview/scene/builtin_scene.h"
#include "preview/scene/merged.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace kestrel::cli {

namespace {

constexpr std::array<std::pair<std::string_view, preview::PreviewShape>, 4> kShapes{{
    {"ball", preview::PreviewShape::Ball},
    {"sphere", preview::PreviewShape::Sphere},
    {"cube", preview::PreviewShape::Cube},
    {"plane", preview::PreviewShape::Plane},
}};

std::nullopt_t refuse(const std::string& problem, Invocation& invocation) {
    complain(invocation, problem);
    return std::nullopt;
}

/// The shape of that name, or the meshes of a file brought to its size, in the studio.
std::optional<preview::Scene> studioScene(const std::string& shape, Invocation& invocation) {
    const auto named =
        std::find_if(kShapes.begin(), kShapes.end(), [&](const auto& entry) { return entry.first == shape; });
    if (named != kShapes.end()) return preview::makePreviewScene(named->second);
    if (!preview::isSceneFile(shape))
        return refuse("--shape " + shape +
                          ": is none of ball, sphere, cube, plane, and no mesh file by its ending (.obj, "
                          ".gltf, .glb, .json)",
                      invocation);
    const std::optional<preview::Scene> file = readSceneFile(shape, invocation);
    if (!file) return std::nullopt;
    const std::shared_ptr<const preview::Geometry> mesh = preview::mergedGeometry(*file);
    if (mesh == nullptr) return refuse(shape + ": has no triangles to show a script on", invocation);
    return preview::makePreviewScene(mesh, file->name);
}

bool dressSurfaces(preview::Scene& scene, const std::vector<std::string>& overrides, Invocation& invocation) {
    std::unordered_map<std::string_view, std::size_t> byName;
    for (std::size_t i = 0; i < scene.surfaces.size(); ++i) byName.emplace(scene.surfaces[i].name, i);
    for (const std::string& argument : overrides) {
        const std::size_t equals = argument.rfind('=');
        const auto found = byName.find(std::string_view(argument).substr(0, equals));
        if (equals == std::string::npos || equals + 1 == argument.size()) {
            refuse("--surface " + argument + ": write NAME=FILE.ks", invocation);
            return false;
        }
        if (found == byName.end()) {
            std::string names;
            for (const preview::SurfaceEntry& surface : scene.surfaces)
                names += (names.empty() ? "" : ", ") + surface.name;
            refuse("--surface " + argument + ": the scene has no surface of that name; it has " + names,
                   invocation);
            return false;
        }
        scene.surfaces[found->second].script = argument.substr(equals + 1);
    }
    return true;
}

bool readPanorama(preview::Scene& scene, Invocation& invocation) {
    const preview::EnvironmentPicture& picture = scene.environment;
    if (picture.filename.empty()) return true;
    if (!requireReadable(picture.filename, invocation)) return false;
    std::string problem;
    scene.sky.panorama = preview::readEnvironment(picture.filename, problem);
    scene.sky.strength = picture.intensity;
    scene.sky.turn = picture.rotation;
    if (scene.sky.panorama == nullptr) refuse(problem, invocation);
    return scene.sky.panorama != nullptr;
}

}  // namespace

std::optional<preview::Scene> readSceneFile(const std::string& file, Invocation& invocation) {
    if (!requireReadable(file, invocation)) return std::nullopt;
    std::string problem;
    std::optional<preview::Scene> scene = preview::readScene(file, problem);
    if (!scene) return refuse(problem, invocation);
    return scene;
}

void addSceneOption(CLI::App& command, SceneChoice& choice) {
    command
        .add_option("--scene", choice.scene,
                    "The scene that the script finds around it: a scene in JSON, a glTF file, or an OBJ file "
                    "(default: a sphere on its ground)")
        ->type_name("SCENE");
}

void addPictureSceneOptions(CLI::App& command, SceneChoice& choice) {
    command
        .add_option("--shape", choice.shape,
                    "What a script is shown on: ball, sphere, cube, plane, or the meshes of a file")
        ->type_name("SHAPE|FILE")
        ->capture_default_str();
    command
        .add_option("--env", choice.environment,
                    "Light from all around, from a picture: equirectangular, OpenEXR or Radiance (default: "
                    "the scene's, "
                    "or a studio)")
        ->type_name("PICTURE.exr|.hdr");
    command
        .add_option("--surface", choice.surfaces,
                    "The script of a surface, whatever the scene says; an empty scene's surface has its name "
                    "from the "
                    "file")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name("NAME=FILE.ks");
}

std::optional<preview::Scene> sceneToRender(const std::string& file, const SceneChoice& choice,
                                            Invocation& invocation) {
    std::optional<preview::Scene> scene;
    if (preview::isSceneFile(file)) {
        scene = readSceneFile(file, invocation);
    } else if (requireReadable(file, invocation)) {
        scene = studioScene(choice.shape, invocation);
        if (scene) scene->surfaces.front().script = file;
    }
    if (!scene || !dressSurfaces(*scene, choice.surfaces, invocation)) return std::nullopt;
    if (!choice.environment.empty()) scene->environment = {choice.environment, 1.0, 0.0};
    if (!readPanorama(*scene, invocation)) return std::nullopt;
    return scene;
}

std::optional<preview::Scene> sceneAround(const std::string& script, const SceneChoice& choice,
                                          Invocation& invocation) {
    if (!requireReadable(script, invocation)) return std::nullopt;
    std::optional<preview::Scene> scene =
        choice.scene.empty() ? preview::makeSphereScene() : readSceneFile(choice.scene, invocation);
    if (!scene) return std::nullopt;
    for (preview::SurfaceEntry& surface : scene->surfaces) surface.script.clear();
    if (scene->surfaces.empty()) scene->surfaces.push_back({"Surface", {}, {}});
    scene->surfaces.front().script = script;
    return scene;
}

}  // namespace kestrel::cli
