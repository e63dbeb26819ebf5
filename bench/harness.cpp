// Times the functions in C++ as a host calls them.
//
// kestrel-bench PASSES NAME...
//     For each: name, nanoseconds per sample (the median of the passes), and the four numbers that describe
//     the picture.
// kestrel-bench each PASSES NAME
//     The nanoseconds per sample of each pass.
#include "bench/patterns.h"
#include "bench/picture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

using namespace kestrel::bench;

struct Pattern {
    const char* name;
    Evaluate evaluate;
};

constexpr Pattern kPatterns[] = {
    {"checker", checker},       {"marble", marble},          {"brick", brick},
    {"mandelbrot", mandelbrot}, {"value_noise", valueNoise}, {"cell_pattern", cellPattern},
    {"empty", empty},           {"member", member},
};

const Pattern* find(std::string_view name) {
    const auto* found = std::ranges::find(kPatterns, name, &Pattern::name);
    return found != std::end(kPatterns) ? found : nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::string_view(argv[1]) == "each") {
        const Pattern* const pattern = find(argv[3]);
        if (pattern == nullptr || std::atoi(argv[2]) < 1) return 2;
        printPasses(pattern->evaluate, nullptr, std::atoi(argv[2]));
        return 0;
    }
    const int passes = argc > 2 ? std::atoi(argv[1]) : 0;
    if (passes < 1) {
        std::fputs("usage: kestrel-bench PASSES NAME... | each PASSES NAME\n", stderr);
        return 2;
    }
    for (int i = 2; i < argc; ++i) {
        const Pattern* const found = find(argv[i]);
        if (found == nullptr) return 2;
        measure(found->name, found->evaluate, nullptr, passes);
    }
    return 0;
}
