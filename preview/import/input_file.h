// Files that a scene consists of.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::preview {

/// All bytes of a regular file. Throws ImportError where it cannot be read or is larger than a scene's may
/// be.
[[nodiscard]] std::string readBytes(const std::string& nativePath);

/// Empties a text or a list and gives its memory back, which assigning an empty one does not.
template <class Container>
void release(Container& container) {
    Container().swap(container);
}

/// The path that a file gives, relative to that file's directory.
[[nodiscard]] std::string pathBeside(const std::string& file, const std::string& path);

/// The file's name without directories, and without its extension.
[[nodiscard]] std::string stemOf(const std::string& nativePath);

/// The extension with its point, in small letters; empty where there is none.
[[nodiscard]] std::string extensionOf(std::string_view nativePath);

/// Nothing when the text is not base64.
[[nodiscard]] std::optional<std::string> decodeBase64(std::string_view text);

/// Replaces %XX; nothing when two digits are missing.
[[nodiscard]] std::optional<std::string> decodePercent(std::string_view text);

/// True for a path that stays below the directory it is relative to.
[[nodiscard]] bool staysInside(std::string_view path);

}  // namespace kestrel::preview
