// The module in a host that has nothing but messages: instances of scripts, to be measured.
#pragma once

#include "bench/host_loop.h"
#include "host/host_interface.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace kestrel::bench {

[[noreturn]] inline void fail(const std::string& what) {
    std::fprintf(stderr, "bench: %s\n", what.c_str());
    std::exit(1);
}

namespace services {

inline void showNothing(const char* /*line1*/, const char* /*line2*/) {}
inline void showError(const char* line1, const char* line2) {
    fail(std::string(line1) + ": " + (line2 != nullptr ? line2 : ""));
}

inline void* lookUp(const char* name, std::int32_t /*use*/) {
    static InfoMessages messages{showNothing, showError, showNothing};
    static FileRequestService noDialog{};  // counts as cancelled
    static void* noScene[16]{};
    if (std::strcmp(name, HX_SERVICE_MESSAGES) == 0) return &messages;
    if (std::strcmp(name, HX_SERVICE_FILE_REQUEST) == 0) return &noDialog;
    return std::strncmp(name, "HX ", 3) == 0 ? static_cast<void*>(noScene) : nullptr;
}

}  // namespace services

/// The loaded module; it stays loaded until the program ends.
class Module {
public:
    explicit Module(const char* file) {
        void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) fail(dlerror());
        const auto* descriptor = static_cast<const ModuleDescriptor*>(dlsym(library, HXM_DESCRIPTOR_SYMBOL));
        if (descriptor == nullptr || descriptor->sync != HXM_SYNC_WORD ||
            descriptor->startup() != HXM_STARTUP_OK)
            fail("this is no module");
        const ServerRecord* server = descriptor->servers;
        while (server->className != nullptr && std::strcmp(server->className, "ShaderHandler") != 0) ++server;
        if (server->className == nullptr ||
            server->activate(HXM_INTERFACE_VERSION, services::lookUp, &shader_, nullptr) != HXM_OK)
            fail("the module has no shader");
    }
    [[nodiscard]] const ShaderHandlerRecord& shader() const { return shader_; }

private:
    ShaderHandlerRecord shader_{};
};

/// An instance with a script, ready to shade.
class Instance {
public:
    Instance(const Module& module, const char* script) : shader_(module.shader()) {
        const char* error = nullptr;
        handle_ = shader_.create(&error);
        if (handle_ == nullptr) fail("an instance cannot be made");
        const LoadState state{HX_STATE_TEXT, &script, readScript};
        shader_.load(handle_, &state);
        shader_.init(handle_);
        shader_.newTime(handle_, 0, 0.0);
        (void)shader_.flags(handle_);
    }
    ~Instance() {
        shader_.cleanup(handle_);
        shader_.destroy(handle_);
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    void evaluate(ShadingSample& sample) { shader_.evaluate(handle_, &sample); }
    /// See host_loop.h.
    void printPasses(int passes) { bench::printPasses(shader_.evaluate, handle_, passes); }

private:
    /// A state of one line, which names the script.
    static std::int32_t readScript(void* handle, char* buffer, std::int32_t size) {
        auto** script = static_cast<const char**>(handle);
        if (*script == nullptr) return -1;
        const int length = std::snprintf(buffer, static_cast<std::size_t>(size), "Script %s", *script);
        *script = nullptr;
        return std::min(length, size - 1);
    }

    const ShaderHandlerRecord& shader_;
    HxInstance handle_ = nullptr;
};

}  // namespace kestrel::bench
