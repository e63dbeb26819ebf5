// Environment, process and directories.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kestrel::platform {

/// @return nothing when the variable is not set
[[nodiscard]] std::optional<std::string> environment(const char* name);
void setEnvironment(const char* name, const std::string& value);

/// Current directory in the system's form.
[[nodiscard]] std::string currentDirectory();

/// The directory for temporary files: the value of TMP as it stands, else the platform's own in the system's
/// form.
[[nodiscard]] std::string temporaryDirectory();

[[nodiscard]] std::uint32_t processId();

/// How long the process has run on a processor, all its threads together; waiting for one does not count.
[[nodiscard]] std::chrono::nanoseconds processorTime();

}  // namespace kestrel::platform
