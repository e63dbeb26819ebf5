// Samples as a host makes and times them: the callback gets records of the host's, each blank but for its
// place. Making them takes no part in the time; a buffer of them stays in the processor's cache, as the one
// record of a renderer does.
#pragma once

#include "host/host_interface.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <vector>

namespace kestrel::bench {

constexpr int kSize = 256;  // of the grid, as that of `kestrel bench`

/// What a module gives to its host.
using Evaluate = void (*)(void* instance, ShadingSample* sample);

/// Processor time of the program, in nanoseconds.
inline double processorTime() {
    std::timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// What reading the clock takes: it is part of every time that is taken.
inline double clockCost() {
    double least = 1e9;
    for (int i = 0; i < 1000; ++i) {
        const double start = processorTime();
        least = std::min(least, processorTime() - start);
    }
    return least;
}

/// Evaluates the grid once.
/// @param shaded  called with each sample afterwards, in order, outside of the time
/// @return nanoseconds per sample
template <typename Shaded>
double pass(Evaluate evaluate, void* instance, Shaded&& shaded) {
    static const double kClockCost = clockCost();
    static std::array<ShadingSample, 256> buffer;
    double time = 0.0;
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            ShadingSample& sample = buffer[static_cast<std::size_t>(x)];
            sample = {};
            sample.oPos[0] = (x + 0.5) / kSize;
            sample.oPos[1] = (y + 0.5) / kSize;
        }
        const double start = processorTime();
        for (ShadingSample& sample : buffer) evaluate(instance, &sample);
        time += processorTime() - start - kClockCost;
        for (const ShadingSample& sample : buffer) shaded(sample);
    }
    return time / (kSize * kSize);
}

/// Nanoseconds per sample of so many passes, after one to warm up.
inline std::vector<double> timesOfPasses(Evaluate evaluate, void* instance, int passes) {
    const auto ignore = [](const ShadingSample&) {};
    pass(evaluate, instance, ignore);
    std::vector<double> times;
    for (int i = 0; i < passes; ++i) times.push_back(pass(evaluate, instance, ignore));
    return times;
}

inline double medianOfPasses(Evaluate evaluate, void* instance, int passes) {
    std::vector<double> times = timesOfPasses(evaluate, instance, passes);
    std::ranges::sort(times);
    return times[times.size() / 2];
}

/// Prints the time of each, in order.
inline void printPasses(Evaluate evaluate, void* instance, int passes) {
    for (const double time : timesOfPasses(evaluate, instance, passes)) std::printf("%.3f\n", time);
}

}  // namespace kestrel::bench
