#include "preview/services/shader_handle.h"

#include "platform/paths.h"

namespace kestrel::preview {

namespace {

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
    return loadScript(nativePath, InstanceState{});
}

bool ShaderHandle::loadScript(const std::string& nativePath, const InstanceState& settings) {
    const InstanceState state = withScript(settings, platform::systemPath(nativePath));
    const StateReader reader(state);
    host_.shader().load(instance_, reader.loadState());
    settingsProblem_ = reader.problem();
    return hasScript();
}

std::optional<InstanceState> ShaderHandle::save(std::int32_t mode) const {
    StateWriter writer(mode);
    host_.shader().save(instance_, writer.saveState());
    if (writer.overflowed()) return std::nullopt;
    return writer.take();
}

std::vector<HostItemID> ShaderHandle::usedItems() const {
    std::vector<HostItemID> items;
    const HostItemID* item = host_.shader().usedItems(instance_);
    for (; item != nullptr && *item != 0; ++item) items.push_back(*item);
    return items;
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
