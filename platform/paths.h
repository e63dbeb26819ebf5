// Paths as the system shows them to scripts, and as the operating system wants them.
//
// Inside the system a path is "\"-separated and may differ in letter case from the file's real name; there
// are no drive letters of its own making. Every function of platform/ that takes a path translates at the
// moment of the system call.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::platform {

/// The system's form of a native path: absolute, every "/" a "\", letter case kept.
[[nodiscard]] std::string systemPath(std::string_view nativePath);

/// The native path for a system path: "\" becomes "/", and a name without an exact match is looked up without
/// regard to case, component by component (the first match in byte order wins). Components that match nothing
/// are kept as written, so the result also names files yet to be created.
[[nodiscard]] std::string nativePath(std::string_view systemPath);

/// The path in upper case (ASCII letters only), as messages and saved states show script paths.
[[nodiscard]] std::string upperCase(std::string_view text);

/// The part after the last "\" or ":".
[[nodiscard]] std::string_view baseName(std::string_view systemPath);

/// The part up to and including the last "\" (empty when there is none).
[[nodiscard]] std::string_view directoryOf(std::string_view systemPath);

}  // namespace kestrel::platform
