// What a host keeps of a shader instance: its script and the settings that the script itself stores.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::preview {

struct InstanceState {
    std::int32_t mode = HX_STATE_TEXT;  ///< HxStateMode
    std::string bytes;                  ///< text: lines, each with its newline
};

/// A stored state. Text states begin with the word that names the script; everything else is binary.
/// @return nothing when `bytes` is neither: too short, or the length of the script's path cannot be right
[[nodiscard]] std::optional<InstanceState> stateFromBytes(std::string bytes);

/// The same settings for another script, or for one that has moved.
/// @param systemPath  the script
[[nodiscard]] InstanceState withScript(const InstanceState& state, std::string_view systemPath);

/// The load state of a host that reads from `state`, which must outlive it.
class StateReader {
public:
    explicit StateReader(const InstanceState& state);
    [[nodiscard]] const LoadState* loadState() const noexcept { return &load_; }
    /// What is wrong with the state as far as it was read: it ends in the middle of a line or a number.
    /// Empty: nothing.
    [[nodiscard]] const std::string& problem() const noexcept { return problem_; }

private:
    static std::int32_t readText(void* handle, char* buffer, std::int32_t size);
    static std::int32_t readBinary(void* handle, char* buffer, std::int32_t size);

    std::string_view rest_;
    std::size_t size_;
    std::string problem_;
    LoadState load_;
};

/// The save state of a host that collects what is written.
class StateWriter {
public:
    explicit StateWriter(std::int32_t mode);
    [[nodiscard]] const SaveState* saveState() const noexcept { return &save_; }
    [[nodiscard]] InstanceState take() { return std::move(state_); }
    /// True when the module wrote more than any settings need; the rest was dropped.
    [[nodiscard]] bool overflowed() const noexcept { return overflowed_; }

private:
    static void write(void* handle, const char* buffer, std::int32_t size);

    InstanceState state_;
    bool overflowed_ = false;
    SaveState save_;
};

}  // namespace kestrel::preview
