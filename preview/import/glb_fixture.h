// Binary glTF files for the tests of their reader.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>

namespace kestrel::preview {

template <class T>
std::string packed(std::initializer_list<T> numbers) {
    std::string bytes;
    for (const T number : numbers) {
        std::array<char, sizeof(T)> raw{};
        std::memcpy(raw.data(), &number, sizeof number);
        bytes.append(raw.data(), raw.size());
    }
    return bytes;
}

/// A binary glTF file.
inline std::string glb(std::string json, std::string binary) {
    while (json.size() % 4 != 0) json += ' ';
    while (binary.size() % 4 != 0) binary += '\0';
    const auto size = [](const std::string& text) { return static_cast<std::uint32_t>(text.size()); };
    const std::string chunks = packed<std::uint32_t>({size(json), 0x4E4F534A}) + json +
                               packed<std::uint32_t>({size(binary), 0x004E4942}) + binary;
    return "glTF" + packed<std::uint32_t>({2, size(chunks) + 12}) + chunks;
}

}  // namespace kestrel::preview
