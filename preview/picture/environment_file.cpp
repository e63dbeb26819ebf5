#include "preview/picture/environment_file.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "preview/picture/exr.h"
#include "preview/picture/radiance.h"

#include <exception>
#include <stdexcept>

namespace kestrel::preview {

namespace {

constexpr std::size_t kMostPixels = std::size_t{1} << 25;
constexpr std::int64_t kMostBytes = std::int64_t{16} * kMostPixels;

std::string bytesOf(const std::string& nativePath) {
    const platform::FileHandle file = platform::openRegularFile(platform::systemPath(nativePath));
    if (file == nullptr) throw std::runtime_error("it cannot be opened");
    const std::int64_t size = platform::fileSize(file.get()).value_or(kMostBytes + 1);
    if (size > kMostBytes) throw std::runtime_error("it is too large");
    std::string bytes(static_cast<std::size_t>(size), '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return bytes;
}

Panorama decoded(const std::string& bytes) {
    if (bytes.starts_with("\x76\x2f\x31\x01")) return decodeExr(bytes, kMostPixels);
    if (bytes.starts_with("#?")) return decodeRadiance(bytes, kMostPixels);
    throw std::runtime_error("it is neither an OpenEXR nor a Radiance picture");
}

}  // namespace

std::shared_ptr<const Panorama> readEnvironment(const std::string& nativePath, std::string& error) {
    try {
        return std::make_shared<const Panorama>(decoded(bytesOf(nativePath)));
    } catch (const std::exception& problem) {
        error = "the environment '" + nativePath + "' cannot be used: " + problem.what();
    }
    return nullptr;
}

}  // namespace kestrel::preview
