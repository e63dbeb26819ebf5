// Environment, process and directories.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

/// @return nothing when the variable is not set
[[nodiscard]] std::optional<std::string> environment(const char* name);
void setEnvironment(const char* name, const std::string& value);

/// The directories of a list such as PATH is one, in the system's form and absolute; empty ones are left out.
[[nodiscard]] std::vector<std::string> directoriesOfList(std::string_view nativeList);
/// What stands between the directories of such a list.
inline constexpr char kListSeparator = ':';

/// Current directory in the system's form.
[[nodiscard]] std::string currentDirectory();

/// The directory for temporary files: the value of TMP as it stands, else the platform's own in the system's
/// form.
[[nodiscard]] std::string temporaryDirectory();

[[nodiscard]] std::uint32_t processId();

/// How long the process has run on a processor, all its threads together; waiting for one does not count.
[[nodiscard]] std::chrono::nanoseconds processorTime();

}  // namespace kestrel::platform
