// Times the functions in C++ as a host calls them. Prints for each: name, nanoseconds per sample (the median
// of the passes), and the four numbers that describe the picture.
//     kestrel-bench PASSES NAME...
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

}  // namespace

int main(int argc, char** argv) {
    const int passes = argc > 2 ? std::atoi(argv[1]) : 0;
    if (passes < 1) {
        std::fputs("usage: kestrel-bench PASSES NAME...\n", stderr);
        return 2;
    }
    for (int i = 2; i < argc; ++i) {
        const auto* found = std::ranges::find(kPatterns, std::string_view(argv[i]), &Pattern::name);
        if (found == std::end(kPatterns)) return 2;
        measure(found->name, found->evaluate, nullptr, passes);
    }
    return 0;
}
