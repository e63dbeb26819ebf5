#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

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

void* DynamicLibrary::function(const char* name) const {
    void* const address = dlsym(handle_, name);
    if (address == nullptr) return nullptr;
    Dl_info info{};
    link_map* own = nullptr;
    link_map* holder = nullptr;
    const ElfW(Sym)* entry = nullptr;
    if (dlinfo(handle_, RTLD_DI_LINKMAP, &own) != 0 ||
        dladdr1(address, &info, reinterpret_cast<void**>(&holder), RTLD_DL_LINKMAP) == 0 || holder != own)
        return nullptr;
    void* found = nullptr;
    if (dladdr1(address, &info, &found, RTLD_DL_SYMENT) == 0) return nullptr;
    entry = static_cast<const ElfW(Sym)*>(found);
    if (entry == nullptr) return nullptr;
    const auto type = ELF64_ST_TYPE(entry->st_info);  // the same in both classes
    return type == STT_FUNC || type == STT_GNU_IFUNC || type == STT_NOTYPE ? address : nullptr;
}

}  // namespace kestrel::platform
