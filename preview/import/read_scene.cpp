#include "preview/import/read_scene.h"

#include "preview/import/description.h"
#include "preview/import/gltf_reader.h"
#include "preview/import/input_file.h"
#include "preview/import/obj_reader.h"

#include <new>

namespace kestrel::preview {

namespace {

Scene read(const std::string& path) {
    const std::string extension = extensionOf(path);
    if (extension == ".json") return readDescription(path);
    if (!isSceneFile(path)) {
        throw ImportError(path, "", "is no scene that can be read; known are .json, .gltf, .glb and .obj");
    }
    Budget budget(path);
    Scene scene = extension == ".obj" ? readObj(path, budget) : readGltf(path, budget);
    giveSky(scene);
    completeScene(scene);
    return scene;
}

}  // namespace

std::optional<Scene> readScene(const std::string& nativePath, std::string& error) {
    try {
        return read(nativePath);
    } catch (const ImportError& wrong) {
        error = wrong.what();
    } catch (const std::bad_alloc&) {
        error = nativePath + ": there is not enough memory for it";
    }
    return std::nullopt;
}

bool isSceneFile(const std::string& nativePath) {
    const std::string extension = extensionOf(nativePath);
    return extension == ".json" || extension == ".gltf" || extension == ".glb" || extension == ".obj";
}

}  // namespace kestrel::preview
