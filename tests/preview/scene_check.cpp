// Reads scene files and says what is in them: "ok" with numbers, or what is wrong. Status 1 when any is
// wrong.
#include "preview/import/read_scene.h"
#include "preview/scene/pose.h"

#include <cstdio>

using namespace kestrel::preview;

int main(int argc, char** argv) {
    int wrong = 0;
    for (int i = 1; i < argc; ++i) {
        std::string error;
        const std::optional<Scene> scene = readScene(argv[i], error);
        if (!scene) {
            std::printf("wrong %s\n", error.c_str());
            wrong = 1;
            continue;
        }
        std::size_t triangles = 0;
        const SceneIndex index(*scene);
        const Pose pose(index, scene->settings.frameEnd / scene->settings.framesPerSecond);
        for (const PosedMesh& mesh : pose.meshes) {
            if (mesh.geometry != nullptr) triangles += mesh.geometry->triangles.size();
        }
        std::printf(
            "ok %s: %zu meshes, %zu triangles, %zu bones, %zu lights, %zu cameras, %zu surfaces, last frame "
            "%d\n",
            argv[i], scene->meshes.size(), triangles, scene->bones.size(), scene->lights.size(),
            scene->cameras.size(), scene->surfaces.size(), scene->settings.frameEnd);
    }
    return wrong;
}
