#include "platform/executable.h"

#include <filesystem>
#include <system_error>

namespace kestrel::platform {

std::string executableDirectory() {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "." : file.parent_path().string();
}

}  // namespace kestrel::platform
