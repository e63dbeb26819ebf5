#include "platform/directories.h"

#include "platform/ascii.h"
#include "platform/paths.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <tuple>

namespace kestrel::platform {

namespace {

struct DirectoryCloser {
    void operator()(DIR* d) const noexcept { closedir(d); }
};

/// Only the latest `*` ever takes another character: what an earlier one could take instead gains nothing. So
/// the time is at most the product of both lengths, whatever the pattern.
bool matches(std::string_view name, std::string_view pattern) {
    constexpr std::size_t kNone = std::string_view::npos;
    std::size_t n = 0;
    std::size_t p = 0;
    std::size_t star = kNone;
    std::size_t starEnd = 0;  // of what the star has taken
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starEnd = n;
        } else if (p < pattern.size() &&
                   (pattern[p] == '?' || ascii::lower(pattern[p]) == ascii::lower(name[n]))) {
            ++p;
            ++n;
        } else if (star != kNone) {
            p = star + 1;
            n = ++starEnd;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == kNone;
}

}  // namespace

bool changeDirectory(std::string_view systemPath) {
    return chdir(nativePath(systemPath).c_str()) == 0;
}

bool makeDirectory(std::string_view systemPath) {
    return mkdir(nativePath(systemPath).c_str(), 0777) == 0;
}

bool removeDirectory(std::string_view systemPath) {
    return rmdir(nativePath(systemPath).c_str()) == 0;
}

std::vector<std::string> matchFiles(std::string_view searchText) {
    const std::size_t separator = searchText.find_last_of("\\/");
    const std::size_t nameStart = separator == std::string_view::npos ? 0 : separator + 1;
    const std::string directory = nameStart == 0 ? "." : nativePath(searchText.substr(0, nameStart));
    std::string_view pattern = searchText.substr(nameStart);
    if (pattern == "*.*") pattern = "*";

    std::vector<std::string> names;
    const std::unique_ptr<DIR, DirectoryCloser> dir(opendir(directory.c_str()));
    if (dir == nullptr) return names;
    while (const dirent* entry = readdir(dir.get()))
        if (matches(entry->d_name, pattern)) names.emplace_back(entry->d_name);
    const auto rank = [](const std::string& name) { return name == "." ? 0 : name == ".." ? 1 : 2; };
    std::sort(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
        return std::forward_as_tuple(rank(a), a) < std::forward_as_tuple(rank(b), b);
    });
    return names;
}

}  // namespace kestrel::platform
