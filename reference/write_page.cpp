// Writes the reference page, or tells whether a page is as the tables say.
//
//     write_reference PAGE           writes it
//     write_reference --check PAGE   status 1, and where they differ, when it has to be written again

#include "reference/page.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

int write(const char* path, const std::string& page) {
    std::ofstream file(path, std::ios::binary);
    file << page;
    if (file.flush()) return 0;
    std::fprintf(stderr, "write_reference: %s cannot be written\n", path);
    return 2;
}

int check(const char* path, const std::string& page) {
    std::ifstream file(path, std::ios::binary);
    const std::string found{std::istreambuf_iterator<char>(file), {}};
    if (found == page) return 0;
    const auto same = std::ranges::mismatch(found, page).in2;
    const auto line = 1 + std::count(page.begin(), same, '\n');
    std::fprintf(stderr,
                 "%s is not what the tables of the language say, from line %td on. Renew it:\n"
                 "    cmake --build --preset release --target update_reference\n",
                 path, line);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string page = kestrel::reference::writePage(kestrel::reference::makeCatalog());
        if (argc == 2) return write(argv[1], page);
        if (argc == 3 && std::string_view(argv[1]) == "--check") return check(argv[2], page);
        std::fputs("usage: write_reference [--check] PAGE\n", stderr);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "write_reference: %s\n", error.what());
        return 2;
    }
}
