#include "platform/environment.h"

#include "platform/paths.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace kestrel::platform {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

void setEnvironment(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
}

std::vector<std::string> directoriesOfList(std::string_view nativeList) {
    std::vector<std::string> directories;
    while (!nativeList.empty()) {
        const std::size_t end = std::min(nativeList.find(kListSeparator), nativeList.size());
        if (end > 0) directories.push_back(systemPath(nativeList.substr(0, end)));
        nativeList.remove_prefix(std::min(end + 1, nativeList.size()));
    }
    return directories;
}

std::string currentDirectory() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::current_path(error);
    return systemPath(error ? "/" : path.string());
}

std::string temporaryDirectory() {
    if (std::optional<std::string> chosen = environment("TMP"); chosen && !chosen->empty()) return *chosen;
    const std::optional<std::string> own = environment("TMPDIR");
    return systemPath(own && !own->empty() ? *own : "/tmp");
}

std::uint32_t processId() {
    return static_cast<std::uint32_t>(getpid());
}

std::chrono::nanoseconds processorTime() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace kestrel::platform
