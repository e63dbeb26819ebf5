#include "host/state_io.h"

#include "host/lent.h"
#include "host/state_bytes.h"
#include "platform/paths.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

namespace {

constexpr std::string_view kLinePrefix = "Script ";
/// The buffer for the line with the script's name, and what a binary state may claim for it.
constexpr std::size_t kLineBuffer = 255;
constexpr std::size_t kLongestPiece = kLineBuffer - 1;
constexpr std::size_t kLongestName = 8192;

enum ScriptMode { kTextMode = 1, kBinaryMode = 2 };  // what a script's `load` and `save` are told

ScriptMode scriptMode(std::int32_t hostMode) {
    return hostMode == HX_STATE_TEXT ? kTextMode : kBinaryMode;
}

/// @return what the host gave: below 0 at the end, 0 for an empty line
std::int32_t readPiece(const LoadState& from, std::string& piece) {
    std::array<char, kLineBuffer + 1> buffer{};  // room for a terminator that a host forgets
    const std::int32_t count = from.read(from.handle, buffer.data(), static_cast<std::int32_t>(kLineBuffer));
    piece = buffer.data();
    return count;
}

/// Whether the line may go on: a long path comes in pieces, and one that just fills its piece must not take
/// what is the script's.
bool isCut(const std::string& line, const std::string& piece) {
    if (piece.size() < kLongestPiece || piece.find_first_of("\r\n") != std::string::npos) return false;
    const std::string end = platform::upperCase(line.substr(line.size() - 4));
    return line.size() < kLongestName && end != ".KXL" && !end.ends_with(".KS");
}

std::optional<std::string> readNameLine(const LoadState& from) {
    std::string line;
    std::int32_t count = 0;
    while (count == 0) count = readPiece(from, line);
    if (count < 0 || !line.starts_with(kLinePrefix)) return std::nullopt;
    for (std::string piece = line; isCut(line, piece);) {
        if (readPiece(from, piece) <= 0) break;
        line += piece;
    }
    return line.substr(kLinePrefix.size(), line.find_first_of("\r\n") - kLinePrefix.size());
}

std::optional<std::string> readNameBlock(const LoadState& from) {
    std::int32_t length = 0;
    std::array<char, sizeof length> lengthBytes{};
    if (!readAll(from, lengthBytes.data(), lengthBytes.size())) return std::nullopt;
    std::memcpy(&length, lengthBytes.data(), sizeof length);
    if (length < 1 || length > static_cast<std::int32_t>(kLongestName)) return std::nullopt;
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
