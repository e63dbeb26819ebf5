#include "preview/services/instance_state.h"

#include <algorithm>
#include <cstring>

namespace kestrel::preview {

namespace {

constexpr std::string_view kFirstWord = "Script ";
constexpr std::uint32_t kLongestPath = 8192;  // see the description of states in host_interface.h
constexpr std::size_t kMostStateBytes = std::size_t{1} << 30U;

/// Length of what names the script in a binary state, with its own length; 0 when it cannot be right.
std::size_t binaryHead(std::string_view bytes) {
    std::uint32_t length = 0;
    if (bytes.size() < sizeof length) return 0;
    std::memcpy(&length, bytes.data(), sizeof length);
    if (length < 1 || length > kLongestPath || bytes.size() < sizeof length + length) return 0;
    return bytes[sizeof length + length - 1] == '\0' ? sizeof length + length : 0;
}

}  // namespace

std::optional<InstanceState> stateFromBytes(std::string bytes) {
    if (std::string_view(bytes).starts_with(kFirstWord))
        return InstanceState{HX_STATE_TEXT, std::move(bytes)};
    if (binaryHead(bytes) == 0) return std::nullopt;
    return InstanceState{HX_STATE_BINARY, std::move(bytes)};
}

InstanceState withScript(const InstanceState& state, std::string_view systemPath) {
    const std::string_view bytes = state.bytes;
    InstanceState result{state.mode, {}};
    if (state.mode == HX_STATE_TEXT) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        result.bytes.append(kFirstWord).append(systemPath);
        result.bytes.append(end == bytes.size() ? std::string_view("\n") : bytes.substr(end));
        return result;
    }
    const auto length = static_cast<std::uint32_t>(systemPath.size() + 1);
    result.bytes.resize(sizeof length);
    std::memcpy(result.bytes.data(), &length, sizeof length);
    result.bytes.append(systemPath).push_back('\0');
    result.bytes.append(bytes.substr(binaryHead(bytes)));
    return result;
}

StateReader::StateReader(const InstanceState& state)
    : rest_(state.bytes),
      size_(state.bytes.size()),
      load_{state.mode, this, state.mode == HX_STATE_TEXT ? readText : readBinary} {}

/// A line that does not fit goes on with the next read, so that nothing is lost.
std::int32_t StateReader::readText(void* handle, char* buffer, std::int32_t size) {
    auto& reader = *static_cast<StateReader*>(handle);
    std::string_view& rest = reader.rest_;
    if (rest.empty() || size <= 1) return -1;
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    if (end == rest.size()) reader.problem_ = "is cut short: its last line has no end";
    const std::size_t count = std::min(end, static_cast<std::size_t>(size - 1));
    std::memcpy(buffer, rest.data(), count);
    buffer[count] = '\0';
    rest.remove_prefix(count);
    if (count == end && !rest.empty()) rest.remove_prefix(1);
    return static_cast<std::int32_t>(count);
}

std::int32_t StateReader::readBinary(void* handle, char* buffer, std::int32_t size) {
    auto& reader = *static_cast<StateReader*>(handle);
    std::string_view& rest = reader.rest_;
    const auto wanted = static_cast<std::size_t>(std::max(size, 0));
    const std::size_t count = std::min(rest.size(), wanted);
    if (count > 0 && count < wanted)
        reader.problem_ =
            "is cut short: it ends within what begins at byte " + std::to_string(reader.size_ - rest.size());
    std::memcpy(buffer, rest.data(), count);
    rest.remove_prefix(count);
    return static_cast<std::int32_t>(count);
}

StateWriter::StateWriter(std::int32_t mode) : state_{mode, {}}, save_{mode, this, write} {}

void StateWriter::write(void* handle, const char* buffer, std::int32_t size) {
    auto& writer = *static_cast<StateWriter*>(handle);
    const auto count = static_cast<std::size_t>(std::max(size, 0));
    if (buffer == nullptr || writer.state_.bytes.size() + count > kMostStateBytes) {
        writer.overflowed_ = true;
        return;
    }
    writer.state_.bytes.append(buffer, count);
    if (writer.state_.mode == HX_STATE_TEXT) writer.state_.bytes += '\n';
}

}  // namespace kestrel::preview
