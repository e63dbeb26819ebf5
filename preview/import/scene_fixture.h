// Small scene files for the tests of their readers.
#pragma once

#include "preview/import/glb_fixture.h"
#include "preview/import/read_scene.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace kestrel::preview {

/// A directory of its own for each test.
class SceneFiles : public testing::Test {
protected:
    SceneFiles() {
        const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
        folder_ = std::filesystem::temp_directory_path() /
                  ("kestrel-scene-" + std::string(test->name()) + "-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
    }
    ~SceneFiles() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string write(const std::string& name, const std::string& bytes) const {
        const std::string path = (folder_ / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    /// The scene in a file that is in order.
    static Scene read(const std::string& path) {
        std::string error;
        std::optional<Scene> scene = readScene(path, error);
        EXPECT_TRUE(scene.has_value()) << error;
        return scene ? std::move(*scene) : Scene{};
    }

    /// What is said of a file that is not, without its directory.
    std::string errorOf(const std::string& name, const std::string& bytes) const {
        std::string error;
        EXPECT_FALSE(readScene(write(name, bytes), error).has_value()) << bytes.substr(0, 200);
        const std::string folder = folder_.string() + "/";
        for (std::size_t at = error.find(folder); at != std::string::npos; at = error.find(folder)) {
            error.erase(at, folder.size());
        }
        return error;
    }

    std::filesystem::path folder_;
};

}  // namespace kestrel::preview
