// What the standard streams are connected to.
#pragma once

namespace kestrel::platform {

enum class Stream { Input, Output, Error };

/// True when the stream is a terminal (a person is there), false for a file or a pipe.
[[nodiscard]] bool isTerminal(Stream stream) noexcept;

}  // namespace kestrel::platform
