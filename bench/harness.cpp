// Times the functions in C++. Prints for each: name, nanoseconds per sample, and the four numbers that
// describe the picture (mean red, green and blue, and a sum in which every pixel counts differently).
#include "bench/patterns.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

using namespace kestrel::bench;

struct Pattern {
    const char* name;
    Color (*function)(double u, double v);
};

constexpr std::array kPatterns{Pattern{"checker", checker},
                               Pattern{"marble", marble},
                               Pattern{"brick", brick},
                               Pattern{"mandelbrot", mandelbrot},
                               Pattern{"value_noise", valueNoise},
                               Pattern{"cell_pattern", cellPattern}};

constexpr int kSize = 256;
constexpr int kPasses = 7;
constexpr double kShortestPass = 0.05;  // seconds; short functions go over the grid several times

void fill(const Pattern& pattern, std::vector<Color>& picture) {
    std::size_t at = 0;
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            picture[at++] = pattern.function((x + 0.5) / kSize, (y + 0.5) / kSize);
        }
    }
}

double seconds(const Pattern& pattern, std::vector<Color>& picture, int rounds) {
    const std::clock_t start = std::clock();  // processor time, as Lua's os.clock()
    for (int i = 0; i < rounds; ++i) fill(pattern, picture);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// The median of the passes, in nanoseconds per sample.
double measure(const Pattern& pattern, std::vector<Color>& picture) {
    seconds(pattern, picture, 1);
    const double once = seconds(pattern, picture, 1);
    const int rounds = std::max(1, static_cast<int>(kShortestPass / std::max(once, 1e-6)));
    std::array<double, kPasses> times{};
    for (double& time : times) time = seconds(pattern, picture, rounds);
    std::nth_element(times.begin(), times.begin() + kPasses / 2, times.end());
    return times[kPasses / 2] * 1e9 / rounds / (kSize * kSize);
}

void describe(const std::vector<Color>& picture) {
    Color sum;
    double weighted = 0.0;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const Color& c = picture[i];
        const double u = (static_cast<double>(i % kSize) + 0.5) / kSize;
        const double v = (static_cast<double>(i / kSize) + 0.5) / kSize;
        sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
        weighted += (c.r + 2 * c.g + 3 * c.b) * (u + 2 * v);
    }
    const auto count = static_cast<double>(picture.size());
    std::printf(" %.16g %.16g %.16g %.16g\n", sum.r / count, sum.g / count, sum.b / count, weighted / count);
}

}  // namespace

int main() {
    std::vector<Color> picture(kSize * kSize);
    for (const Pattern& pattern : kPatterns) {
        std::printf("%s %.2f", pattern.name, measure(pattern, picture));
        describe(picture);
    }
    return 0;
}
