// Scene files: descriptions, glTF, OBJ.
#include "fuzz/sandbox.h"
#include "fuzz/seeds.h"
#include "preview/import/glb_fixture.h"
#include "preview/import/input_file.h"
#include "preview/import/read_scene.h"
#include "preview/import/sound_scene_fixture.h"

#include <algorithm>

namespace kestrel::fuzz {

namespace {

constexpr std::string_view kExtensions[] = {"json", "gltf", "glb", "obj", "mtl"};

struct Tower {
    std::string json;  ///< without its long base64 text, so that what is changed is how things hang together
    std::string binary;  ///< what that said
};

constexpr std::string_view kBinaryFile = "tower.bin";

Tower towerOf(const std::filesystem::path& source) {
    Tower tower{bytesOf(source / "examples/scenes/tower.gltf"), {}};
    const std::size_t from = tower.json.find("data:");
    const std::size_t text = tower.json.find("base64,", from) + 7;
    const std::size_t to = tower.json.find('"', text);
    require(from < text && text < to && to != std::string::npos, "the example has its data in it");
    const std::optional<std::string> binary =
        preview::decodeBase64(std::string_view(tower.json).substr(text, to - text));
    require(binary.has_value(), "the example's data can be read");
    tower.json.replace(from, to - from, kBinaryFile);
    tower.binary = *binary;
    return tower;
}

/// What the files refer to.
void writeBeside(const Sandbox& sandbox) {
    const std::filesystem::path source = KESTREL_FUZZ_SOURCE;
    if (std::filesystem::exists(sandbox.directory() / kBinaryFile)) return;
    sandbox.write(kBinaryFile, towerOf(source).binary);
    for (const char* name : {"vase.obj", "vase.mtl"})
        sandbox.write(name, bytesOf(source / "examples/scenes" / name));
}

}  // namespace

void readSceneFile(Bytes bytes) {
    const std::string_view all = textOf(bytes);
    const std::string_view extension = all.substr(0, std::min(all.find('\n'), std::size_t{8}));
    const std::string_view content = all.substr(std::min(extension.size() + 1, all.size()));
    if (std::ranges::find(kExtensions, extension) == std::end(kExtensions)) return;

    const Sandbox& sandbox = Sandbox::get();
    writeBeside(sandbox);
    std::string path = sandbox.write("scene." + std::string(extension), content);
    if (extension == "mtl")
        path = sandbox.write("scene.obj", "mtllib scene.mtl\nusemtl a\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    std::string error;
    std::optional<preview::Scene> scene = preview::readScene(path, error);
    require(scene.has_value() || !error.empty(), "a scene that cannot be read is told of");
    if (scene) {
        const std::string fault = preview::faultOf(*scene);
        require(fault.empty(), fault);
    }
}

Seeds sceneSeeds(const std::filesystem::path& source) {
    const auto example = [&](const char* name) { return bytesOf(source / "examples/scenes" / name); };
    Seeds seeds = {"json\n" + example("hero.json"), "json\n" + example("still_life.json"),
                   "obj\n" + example("vase.obj"), "mtl\n" + example("vase.mtl")};
    auto [json, binary] = towerOf(source);
    seeds.push_back("gltf\n" + json);
    json.replace(json.find("\"uri\": \"tower.bin\""), 18, "\"extras\": 1");
    seeds.push_back("glb\n" + preview::glb(json, binary));
    seeds.push_back("glb\n" + preview::glb(json, binary.substr(0, 64)));
    return seeds;
}

}  // namespace kestrel::fuzz
