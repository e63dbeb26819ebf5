#include "platform/dynamic_library.h"

#include <dlfcn.h>

namespace kestrel::platform {

std::unique_ptr<DynamicLibrary> DynamicLibrary::open(const std::string& nativePath, std::string& error) {
    void* handle = dlopen(nativePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "unknown error";
        return nullptr;
    }
    return std::unique_ptr<DynamicLibrary>(new DynamicLibrary(handle));
}

DynamicLibrary::~DynamicLibrary() {
    dlclose(handle_);
}

void* DynamicLibrary::symbol(const char* name) const {
    return dlsym(handle_, name);
}

}  // namespace kestrel::platform
