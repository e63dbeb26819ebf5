#include "host/state_io.h"

#include "host/lent.h"
#include "host/state_bytes.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

namespace {

constexpr std::string_view kLinePrefix = "Script ";
/// Longer than any path, so that a scene's script is never refused for the length of its name.
constexpr std::size_t kLongestLine = 8192;

enum ScriptMode { kTextMode = 1, kBinaryMode = 2 };  // what a script's `load` and `save` are told

ScriptMode scriptMode(std::int32_t hostMode) {
    return hostMode == HX_STATE_TEXT ? kTextMode : kBinaryMode;
}

std::optional<std::string> readNameLine(const LoadState& from) {
    std::vector<char> buffer(kLongestLine + 1);
    std::int32_t count = 0;
    while (count == 0) count = from.read(from.handle, buffer.data(), static_cast<std::int32_t>(kLongestLine));
    buffer.back() = '\0';
    std::string_view line = buffer.data();
    line = line.substr(0, line.find_first_of("\r\n"));
    if (count < 0 || !line.starts_with(kLinePrefix)) return std::nullopt;
    return std::string(line.substr(kLinePrefix.size()));
}

std::optional<std::string> readNameBlock(const LoadState& from) {
    std::int32_t length = 0;
    std::array<char, sizeof length> lengthBytes{};
    if (!readAll(from, lengthBytes.data(), lengthBytes.size())) return std::nullopt;
    std::memcpy(&length, lengthBytes.data(), sizeof length);
    if (length < 1 || length > static_cast<std::int32_t>(kLongestLine)) return std::nullopt;
    std::vector<char> name(static_cast<std::size_t>(length) + 1);
    if (!readAll(from, name.data(), static_cast<std::size_t>(length))) return std::nullopt;
    return std::string(name.data());
}

void callWithState(LoadedScript& script, HostFunction which, ScriptMode mode, StateObject& object) {
    object.endOfData = false;
    script.call(which, std::array{ValueCell::ofInteger(mode), ValueCell::ofObject(HxioObj, &object)});
}

}  // namespace

void loadInstance(PluginState& state, ShaderInstance& instance, const LoadState& from) {
    const std::optional<std::string> name =
        from.mode == HX_STATE_TEXT ? readNameLine(from) : readNameBlock(from);
    if (!name || !attachScript(state, instance, name)) return;
    LoadedScript& script = *instance.script();
    const Lent<const LoadState> lent(script.host.loadState, &from);
    callWithState(script, HostFunction::Load, scriptMode(from.mode), script.host.loadObject);
}

void saveScriptName(const ShaderInstance& instance, const SaveState& to) {
    const LoadedScript* script = instance.script();
    if (script == nullptr) return;
    if (to.mode == HX_STATE_TEXT) {
        const std::string line = std::string(kLinePrefix) + script->path();
        to.write(to.handle, line.c_str(), static_cast<std::int32_t>(line.size()));
    } else {
        const auto length = static_cast<std::int32_t>(script->path().size() + 1);
        std::array<char, sizeof length> lengthBytes{};
        std::memcpy(lengthBytes.data(), &length, sizeof length);
        to.write(to.handle, lengthBytes.data(), sizeof length);
        to.write(to.handle, script->path().c_str(), length);
    }
}

void saveInstance(ShaderInstance& instance, const SaveState& to) {
    LoadedScript* script = instance.script();
    if (script == nullptr) return;
    saveScriptName(instance, to);
    const Lent<const SaveState> lent(script->host.saveState, &to);
    callWithState(*script, HostFunction::Save, scriptMode(to.mode), script->host.saveObject);
}

}  // namespace kestrel
