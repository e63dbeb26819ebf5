#include "platform/memory_file.h"

#include "platform/environment.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kestrel::platform {

namespace {

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

MemoryFile::MemoryFile(int descriptor, std::string path) : descriptor_(descriptor), path_(std::move(path)) {}

MemoryFile::MemoryFile(MemoryFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::move(other.path_)) {}

MemoryFile::~MemoryFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

std::optional<MemoryFile> MemoryFile::create(std::string_view bytes) {
    const int descriptor = memfd_create("kestrel", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor < 0) return std::nullopt;
    // By the number of the process, not as "self", so that workers and debuggers find it too.
    MemoryFile file(descriptor, "/proc/" + std::to_string(processId()) + "/fd/" + std::to_string(descriptor));
    constexpr int kSeals = F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL;
    if (!writeAll(descriptor, bytes) || fcntl(descriptor, F_ADD_SEALS, kSeals) != 0 ||
        access(file.path_.c_str(), R_OK) != 0)
        return std::nullopt;
    return file;
}

}  // namespace kestrel::platform
