// Files that are cut off or changed anywhere: an error with the file's name, or a scene in which everything
// that refers to something refers to something that is there.
#include "preview/import/input_file.h"
#include "preview/import/scene_fixture.h"
#include "preview/import/sound_scene_fixture.h"

#include <random>

namespace kestrel::preview {

class DamagedFiles : public SceneFiles {
protected:
    /// Truncates and changes a file of the examples, always in the same ways.
    void damage(const std::string& name, const std::string& bytes, int rounds) {
        std::string undamaged;
        ASSERT_TRUE(readScene(write(name, bytes), undamaged).has_value()) << undamaged;
        std::mt19937 random(20);
        int good = 0;
        for (int round = 0; round < rounds; ++round) {
            std::string damaged = bytes;
            if (round % 4 == 0) damaged.resize(random() % bytes.size());
            for (unsigned i = 0; i < 1 + random() % 3 && !damaged.empty(); ++i) {
                const std::size_t at = random() % damaged.size();
                // Digits for digits make the cases that go furthest.
                const bool digit = damaged[at] >= '0' && damaged[at] <= '9' && round % 2 == 1;
                damaged[at] =
                    digit ? static_cast<char>('0' + random() % 10) : static_cast<char>(random() % 256);
            }
            std::string error;
            std::optional<Scene> scene = readScene(write(name, damaged), error);
            ASSERT_EQ(scene ? faultOf(*scene) : "", "") << name << ", round " << round;
            EXPECT_TRUE(scene || error.starts_with(folder_.string())) << error;
            good += scene ? 1 : 0;
        }
        EXPECT_GT(good, 0) << name
                           << ": some damage must do no harm, or nothing beyond the first check was tried";
        EXPECT_LT(good, rounds);
    }

    static std::string example(const std::string& name) {
        return readBytes(std::string(PREVIEW_EXAMPLE_SCENES) + "/" + name);
    }
};

TEST_F(DamagedFiles, Obj) {
    write("vase.mtl", example("vase.mtl"));
    damage("vase.obj", example("vase.obj"), 150);
}

TEST_F(DamagedFiles, Gltf) {
    // Without its long base64 text, so that what is changed is what says how things hang together.
    std::string json = example("tower.gltf");
    const std::size_t from = json.find("base64,") + 7;
    const std::size_t to = json.find('"', from);
    const std::optional<std::string> binary = decodeBase64(std::string_view(json).substr(from, to - from));
    ASSERT_TRUE(binary.has_value());
    write("tower.bin", *binary);
    const std::size_t uri = json.find("data:");
    json.replace(uri, to - uri, "tower.bin");
    damage("tower.gltf", json, 250);
    damage("tower.glb", glb(json.replace(json.find("\"uri\": \"tower.bin\""), 18, "\"extras\": 1"), *binary),
           300);
}

TEST_F(DamagedFiles, Description) {
    for (const char* file : {"vase.obj", "vase.mtl"}) write(file, example(file));
    damage("still_life.json", example("still_life.json"), 200);
}

}  // namespace kestrel::preview
