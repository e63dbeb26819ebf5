#include "platform/paths.h"

#include "platform/ascii.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>

namespace kestrel::platform {

namespace {

struct DirectoryCloser {
    void operator()(DIR* d) const noexcept { closedir(d); }
};

bool exists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

/// The first entry, in byte order, of a directory that equals the name but for the case; empty when there is
/// none.
std::string matchingEntry(const std::string& directory, std::string_view name) {
    const std::unique_ptr<DIR, DirectoryCloser> dir(opendir(directory.empty() ? "." : directory.c_str()));
    std::string best;
    if (dir == nullptr) return best;
    while (const dirent* entry = readdir(dir.get())) {
        const std::string_view candidate = entry->d_name;
        if (ascii::equalIgnoringCase(candidate, name) && (best.empty() || candidate < best)) best = candidate;
    }
    return best;
}

}  // namespace

std::string systemPath(std::string_view nativePath) {
    std::error_code error;
    const std::filesystem::path given(nativePath);
    std::filesystem::path full = std::filesystem::absolute(given, error);
    if (error) full = given;
    // Only "." goes: dropping "name/.." would be wrong where the name is a symbolic link.
    std::string text;
    for (const std::filesystem::path& part : full) {
        if (part == "." || part == "/") continue;
        text += '\\';
        text += part.string();
    }
    if (text.empty()) text = "\\";
    return text;
}

std::string nativePath(std::string_view systemPath) {
    std::string whole(systemPath.substr(0, systemPath.find('\0')));
    std::replace(whole.begin(), whole.end(), '\\', '/');
    if (exists(whole)) return whole;

    std::string found;
    std::size_t at = 0;
    while (at < whole.size()) {
        if (whole[at] == '/') {
            found += whole[at++];
            continue;
        }
        const std::size_t end = std::min(whole.find('/', at), whole.size());
        const std::string name = whole.substr(at, end - at);
        if (exists(found + name)) {
            found += name;
        } else {
            const std::string entry = matchingEntry(found, name);
            if (entry.empty()) return found + whole.substr(at);
            found += entry;
        }
        at = end;
    }
    return found;
}

std::string upperCase(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

std::string_view baseName(std::string_view systemPath) {
    const std::size_t separator = systemPath.find_last_of("\\:");
    return separator == std::string_view::npos ? systemPath : systemPath.substr(separator + 1);
}

std::string_view directoryOf(std::string_view systemPath) {
    const std::size_t separator = systemPath.rfind('\\');
    return separator == std::string_view::npos ? std::string_view() : systemPath.substr(0, separator + 1);
}

}  // namespace kestrel::platform
