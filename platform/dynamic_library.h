// Shared objects loaded at run time.
#pragma once

#include <memory>
#include <string>

namespace kestrel::platform {

class DynamicLibrary {
public:
    /// @param nativePath  file to load. A name without a "/" is left to the system, which looks in its own
    /// directories for libraries and never in the current one.
    /// @param error       receives the reason when it fails
    /// @return null when it cannot be loaded
    [[nodiscard]] static std::unique_ptr<DynamicLibrary> open(const std::string& nativePath,
                                                              std::string& error);
    ~DynamicLibrary();
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    /// @return null when the library exports no such symbol
    [[nodiscard]] void* symbol(const char* name) const;
    /// The address of a function that the library itself exports: none of its data, and nothing of the
    /// libraries that it uses, which symbol() finds as well.
    /// @return null when there is none
    [[nodiscard]] void* function(const char* name) const;

private:
    explicit DynamicLibrary(void* handle) : handle_(handle) {}
    void* handle_;
};

}  // namespace kestrel::platform
