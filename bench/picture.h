// The four numbers that describe a picture: mean red, green and blue, and a sum in which every pixel counts
// differently.
#pragma once

#include "bench/host_loop.h"

#include <cstdio>

namespace kestrel::bench {

class Picture {
public:
    /// Pixels come in order.
    void add(const ShadingSample& sample) {
        const double u = (at_ % kSize + 0.5) / kSize;
        const double v = (at_ / kSize + 0.5) / kSize;
        ++at_;
        for (int i = 0; i < 3; ++i) {
            sums_[i] += sample.color[i];
            weighted_ += (i + 1) * sample.color[i] * (u + 2 * v);
        }
    }
    void print() const {
        for (const double sum : sums_) std::printf(" %.16g", sum / at_);
        std::printf(" %.16g\n", weighted_ / at_);
    }

private:
    int at_ = 0;
    double sums_[3]{};
    double weighted_ = 0.0;
};

/// Prints NAME, nanoseconds per sample, and the picture.
inline void measure(const char* name, Evaluate evaluate, void* instance, int passes) {
    Picture picture;
    pass(evaluate, instance, [&picture](const ShadingSample& sample) { picture.add(sample); });
    std::printf("%s %.3f", name, medianOfPasses(evaluate, instance, passes));
    picture.print();
}

}  // namespace kestrel::bench
