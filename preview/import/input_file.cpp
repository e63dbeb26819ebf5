#include "preview/import/input_file.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "preview/import/import_error.h"

#include <array>
#include <filesystem>

namespace kestrel::preview {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

int base64Digit(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+' || c == '-') return 62;
    if (c == '/' || c == '_') return 63;
    return -1;
}

}  // namespace

std::string readBytes(const std::string& nativePath) {
    const platform::FileHandle file = platform::openRegularFile(platform::systemPath(nativePath));
    if (file == nullptr) throw ImportError(nativePath, "", "cannot be read, or is not a file");
    const std::optional<std::int64_t> size = platform::fileSize(file.get());
    if (!size || *size < 0) throw ImportError(nativePath, "", "is not a file");
    if (static_cast<std::uint64_t>(*size) > ImportLimits::kFileBytes) {
        throw ImportError(nativePath, "", "is larger than a scene's file may be (512 MiB)");
    }
    std::string bytes(static_cast<std::size_t>(*size), '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    if (std::ferror(file.get()) != 0) throw ImportError(nativePath, "", "cannot be read");
    return bytes;
}

std::string pathBeside(const std::string& file, const std::string& path) {
    return (std::filesystem::path(file).parent_path() / path).lexically_normal().string();
}

std::string stemOf(const std::string& nativePath) {
    return std::filesystem::path(nativePath).stem().string();
}

std::string extensionOf(std::string_view nativePath) {
    std::string extension = std::filesystem::path(nativePath).extension().string();
    for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return extension;
}

std::optional<std::string> decodeBase64(std::string_view text) {
    while (!text.empty() && text.back() == '=') text.remove_suffix(1);
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 3);
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const int digit = base64Digit(c);
        if (digit < 0) return std::nullopt;
        bits = (bits << 6U | static_cast<std::uint32_t>(digit)) & 0xFFFFFFU;
        count += 6;
        if (count < 8) continue;
        count -= 8;
        bytes += static_cast<char>(bits >> static_cast<unsigned>(count) & 0xFFU);
    }
    if (count >= 6) return std::nullopt;  // a single digit left over
    return bytes;
}

std::optional<std::string> decodePercent(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexDigit(text[i + 1]);
        const int low = hexDigit(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        plain += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return plain;
}

bool staysInside(std::string_view path) {
    if (path.empty() || path.find_first_of(std::string_view(":\\\0", 3)) != std::string_view::npos)
        return false;
    const std::filesystem::path normal = std::filesystem::path(path).lexically_normal();
    return !normal.is_absolute() && *normal.begin() != "..";
}

}  // namespace kestrel::preview
