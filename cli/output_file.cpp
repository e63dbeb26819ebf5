#include "cli/output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>

namespace kestrel::cli {

namespace {

struct Closer {
    void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};

bool writeAll(std::FILE* out, std::string_view bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size() && std::fflush(out) == 0;
}

/// Writes into something that is there: a device, a pipe.
bool writeThrough(const std::string& nativePath, std::string_view bytes) {
    const std::unique_ptr<std::FILE, Closer> out{std::fopen(nativePath.c_str(), "wb")};
    return out && writeAll(out.get(), bytes);
}

/// Makes a new file beside `target`. Its name cannot be guessed, and nothing that has it already is opened.
/// @return its name, empty when it could not be made or filled
std::string writeBeside(const std::string& target, std::string_view bytes) {
    std::random_device random;
    for (int attempt = 0; attempt < 10; ++attempt) {
        const std::string name = target + "." + std::to_string(random()) + ".tmp";
        const std::unique_ptr<std::FILE, Closer> out{std::fopen(name.c_str(), "wbx")};
        if (!out && errno == EEXIST) continue;
        if (out && writeAll(out.get(), bytes)) return name;
        const int error = errno;
        if (out) std::remove(name.c_str());
        errno = error;
        break;
    }
    return {};
}

bool failed(const std::string& nativePath) {
    std::fprintf(stderr, "kestrel: error: %s: cannot be written: %s\n", nativePath.c_str(),
                 std::strerror(errno));
    return false;
}

}  // namespace

bool writeOutput(const std::string& nativePath, std::string_view bytes) {
    if (nativePath == "-") return writeAll(stdout, bytes) || failed("standard output");

    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(nativePath, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        // A device or a pipe must be written through, not replaced.
        return writeThrough(nativePath, bytes) || failed(nativePath);
    }
    std::filesystem::path target = std::filesystem::weakly_canonical(nativePath, error);
    if (error) target = nativePath;
    const std::string temporary = writeBeside(target.string(), bytes);
    if (temporary.empty()) return failed(nativePath);
    std::filesystem::rename(temporary, target, error);
    if (!error) return true;
    std::remove(temporary.c_str());
    errno = error.value();
    return failed(nativePath);
}

}  // namespace kestrel::cli
