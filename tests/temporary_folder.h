// A folder that is empty at first and gone in the end.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace kestrel::test {

class TemporaryFolder {
public:
    /// @param name  what a test is glad of in the folder's name
    explicit TemporaryFolder(const std::string& name = "test")
        : path(std::filesystem::temp_directory_path() /
               ("kestrel_" + name + '_' + std::to_string(::getpid()))) {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path path;
};

}  // namespace kestrel::test
