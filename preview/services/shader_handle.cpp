#include "preview/services/shader_handle.h"

#include "platform/paths.h"

#include <cstring>
#include <string_view>

namespace kestrel::preview {

namespace {

/// A text state of one line.
struct OneLine {
    std::string_view line;
    bool delivered = false;
};

std::int32_t readOneLine(void* handle, char* buffer, std::int32_t size) {
    auto& state = *static_cast<OneLine*>(handle);
    if (state.delivered || size <= 0) return -1;
    state.delivered = true;
    const std::string_view text = state.line.substr(0, static_cast<std::size_t>(size - 1));
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    return static_cast<std::int32_t>(text.size());
}

void noteWrite(void* handle, const char*, std::int32_t) {
    *static_cast<bool*>(handle) = true;
}

}  // namespace

std::unique_ptr<ShaderHandle> ShaderHandle::create(const ModuleHost& host) {
    const char* error = nullptr;
    HxInstance instance = host.shader().create(&error);
    if (instance == nullptr) return nullptr;
    return std::unique_ptr<ShaderHandle>(new ShaderHandle(host, instance));
}

ShaderHandle::ShaderHandle(const ModuleHost& host, HxInstance instance)
    : host_(host), instance_(instance), evaluate_(host.shader().evaluate) {}

ShaderHandle::~ShaderHandle() {
    host_.shader().destroy(instance_);
}

bool ShaderHandle::loadScript(const std::string& nativePath) {
    const std::string line = "Script " + platform::systemPath(nativePath);
    OneLine state{line};
    const LoadState load{HX_STATE_TEXT, &state, readOneLine};
    host_.shader().load(instance_, &load);
    return hasScript();
}

std::string ShaderHandle::describe() const {
    const char* text = host_.shader().describe(instance_);
    return text == nullptr ? std::string() : std::string(text);
}

/// The load callback never tells whether it succeeded. The description does: without a script it is the bare
/// server name. A script may give itself that very description; then saving decides, since it writes only
/// with a script.
bool ShaderHandle::hasScript() const {
    if (describe() != "Kestrel/PT") return true;
    bool written = false;
    const SaveState save{HX_STATE_TEXT, &written, noteWrite};
    host_.shader().save(instance_, &save);
    return written;
}

}  // namespace kestrel::preview
