#include "preview/math/sampling.h"

#include "preview/render/optics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace kestrel::preview {

TEST(Sampling, OneSampleIsAtTheCentre) {
    EXPECT_EQ(pixelOffset(3, 4, 0, 1).x, 0.0);
    EXPECT_EQ(pixelOffset(3, 4, 0, 1).y, 0.0);
}

TEST(Sampling, EachStratumGetsOneSampleInBothDirections) {
    // Takes the tent away again, so that strata are equally wide.
    const auto flat = [](double v) {
        return v < 0.0 ? 0.5 * (1.0 + v) * (1.0 + v) : 1.0 - 0.5 * (1.0 - v) * (1.0 - v);
    };
    constexpr int kCount = 16;
    std::vector<int> alongX(kCount);
    std::vector<int> alongY(kCount);
    for (int i = 0; i < kCount; ++i) {
        const PixelOffset offset = pixelOffset(17, 5, i, kCount);
        ASSERT_LE(std::abs(offset.x), 1.0);
        ASSERT_LE(std::abs(offset.y), 1.0);
        ++alongX[static_cast<std::size_t>(flat(offset.x) * kCount)];
        // The shift along y is arbitrary, so strata begin at the first sample.
        const double first = flat(pixelOffset(17, 5, 0, kCount).y);
        const double rest = flat(offset.y) - first + 1.0 + 0.5 / kCount;
        ++alongY[static_cast<std::size_t>((rest - std::floor(rest)) * kCount)];
    }
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(alongX[static_cast<std::size_t>(i)], 1) << i;
        EXPECT_EQ(alongY[static_cast<std::size_t>(i)], 1) << i;
    }
}

TEST(Sampling, StreamsRepeatAndDiffer) {
    SampleStream a(1, 2, 3);
    SampleStream again(1, 2, 3);
    SampleStream other(2, 1, 3);
    const double first = a.next();
    EXPECT_EQ(first, again.next());
    EXPECT_NE(first, other.next());
    double sum = first;
    for (int i = 1; i < 1000; ++i) sum += a.next();
    EXPECT_NEAR(sum / 1000.0, 0.5, 0.05);
}

TEST(Sampling, TheDiscIsFilledEvenly) {
    int inner = 0;
    constexpr int kSide = 64;
    for (int i = 0; i < kSide * kSide; ++i) {
        const DiscPoint p = concentricDisc((i % kSide + 0.5) / kSide, (i / kSide + 0.5) / kSide);
        const double radius = std::hypot(p.x, p.y);
        ASSERT_LE(radius, 1.0);
        if (radius < 0.5) ++inner;
    }
    EXPECT_NEAR(static_cast<double>(inner) / (kSide * kSide), 0.25, 0.02);
}

}  // namespace kestrel::preview
