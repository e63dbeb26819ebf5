// Text in memory that can be opened by a path.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrel::platform {

/// A file that stands in no directory: nobody meets its name, no full disk stops it, it cannot be changed any
/// more, and it is gone with the process, however that ends. Other programs of the user find it under the
/// same path while it is there.
class MemoryFile {
public:
    /// @return nothing when the system has no room for it
    [[nodiscard]] static std::optional<MemoryFile> create(std::string_view bytes);
    MemoryFile(MemoryFile&& other) noexcept;
    MemoryFile& operator=(MemoryFile&&) = delete;
    ~MemoryFile();

    /// Native and absolute.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    MemoryFile(int descriptor, std::string path);
    int descriptor_;
    std::string path_;
};

}  // namespace kestrel::platform
