// The running program's own place.
#pragma once

#include <string>

namespace kestrel::platform {

/// Native directory of the running program's file, without a separator at the end; "." when it cannot be
/// told.
[[nodiscard]] std::string executableDirectory();

}  // namespace kestrel::platform
