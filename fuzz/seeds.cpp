#include "fuzz/seeds.h"

#include "tests/language_scripts.h"

#include <fstream>
#include <iterator>

namespace kestrel::fuzz {

namespace fs = std::filesystem;

std::string bytesOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void addScripts(Seeds& seeds, const fs::path& folder) {
    for (test::LanguageScript& script : test::languageScripts(folder))
        seeds.push_back(std::move(script.text));
}

}  // namespace kestrel::fuzz
