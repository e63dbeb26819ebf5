// The standard streams and what they are connected to.
#pragma once

namespace kestrel::platform {

enum class Stream { Input, Output, Error };

/// True when the stream is a terminal (a person is there), false for a file or a pipe.
[[nodiscard]] bool isTerminal(Stream stream) noexcept;

/// Keeps standard output for what this process itself writes to `stdout`: it goes where it went before, while
/// programs that are started from here on write to standard error instead. Without standard output nothing
/// changes.
void reserveOutput();

}  // namespace kestrel::platform
