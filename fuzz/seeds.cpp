#include "fuzz/seeds.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

namespace kestrel::fuzz {

namespace fs = std::filesystem;

std::string bytesOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void addScripts(Seeds& seeds, const fs::path& folder) {
    constexpr std::string_view kMark = "\n// --- ";
    std::error_code ignored;
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, ignored)) {
        const fs::path extension = entry.path().extension();
        if (extension == ".ks" || extension == ".txt") files.push_back(entry.path());
    }
    std::ranges::sort(files);
    for (const fs::path& file : files) {
        const std::string text = bytesOf(file);
        std::size_t at = text.find(kMark);
        const std::string common = text.substr(0, at);
        if (at == std::string::npos) seeds.push_back(common);
        while (at != std::string::npos) {
            const std::size_t next = text.find(kMark, at + 1);
            seeds.push_back(common + text.substr(at, next - at));
            at = next;
        }
    }
}

}  // namespace kestrel::fuzz
