#include "cli/output_file.h"

#include "platform/environment.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace kestrel::cli {

namespace {

struct Closer {
    void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};

bool writeAll(std::FILE* out, std::string_view bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size() && std::fflush(out) == 0;
}

bool writeFile(const std::string& nativePath, std::string_view bytes) {
    const std::unique_ptr<std::FILE, Closer> out{std::fopen(nativePath.c_str(), "wb")};
    return out && writeAll(out.get(), bytes);
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
        return writeFile(nativePath, bytes) || failed(nativePath);
    }
    std::filesystem::path target = std::filesystem::weakly_canonical(nativePath, error);
    if (error) target = nativePath;
    const std::string temporary = target.string() + "." + std::to_string(platform::processId()) + ".tmp";
    if (!writeFile(temporary, bytes)) {
        failed(nativePath);
        std::remove(temporary.c_str());
        return false;
    }
    std::filesystem::rename(temporary, target, error);
    if (!error) return true;
    std::remove(temporary.c_str());
    errno = error.value();
    return failed(nativePath);
}

}  // namespace kestrel::cli
