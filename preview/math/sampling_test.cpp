#include "preview/math/sampling.h"

#include "preview/render/optics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

namespace kestrel::preview {

TEST(Sampling, EveryDivisionIntoBoxesHasOneSampleInEach) {
    constexpr int kBits = 6;
    constexpr int kCount = 1 << kBits;
    for (const std::uint32_t dimension : {0U, 1U, 77U, 123456U}) {
        for (const int start : {0, 3 * kCount}) {
            for (int across = 0; across <= kBits; ++across) {
                const int columns = 1 << across;
                const int rows = kCount / columns;
                std::set<int> boxes;
                for (int i = 0; i < kCount; ++i) {
                    const UnitPoint p = PixelSampler(17, 5, start + i).at(dimension);
                    ASSERT_LT(p.u, 1.0);
                    ASSERT_LT(p.v, 1.0);
                    boxes.insert(static_cast<int>(p.u * columns) * rows + static_cast<int>(p.v * rows));
                }
                EXPECT_EQ(boxes.size(), static_cast<std::size_t>(kCount)) << dimension << ", " << columns;
            }
        }
    }
}

TEST(Sampling, DimensionsAndPixelsHaveNothingToDoWithEachOther) {
    constexpr int kCount = 4096;
    const auto correlation = [](auto first, auto second) {
        double sum = 0.0;
        for (int i = 0; i < kCount; ++i) sum += (first(i) - 0.5) * (second(i) - 0.5);
        return 12.0 * sum / kCount;
    };
    const auto base = [](int i) { return PixelSampler(4, 9, i).at(2).u; };
    EXPECT_NEAR(correlation(base, base), 1.0, 0.01);
    EXPECT_NEAR(correlation(base, [](int i) { return PixelSampler(4, 9, i).at(2).v; }), 0.0, 0.05);
    EXPECT_NEAR(correlation(base, [](int i) { return PixelSampler(4, 9, i).at(3).u; }), 0.0, 0.05);
    EXPECT_NEAR(correlation(base, [](int i) { return PixelSampler(9, 4, i).at(2).u; }), 0.0, 0.05);
    EXPECT_NEAR(correlation([](int i) { return PixelSampler(i, 0, 0).at(0).u; },
                            [](int i) { return PixelSampler(i + 1, 0, 0).at(0).u; }),
                0.0, 0.06);
}

TEST(Sampling, ThePixelsFilterIsATentOfTwoPixels) {
    double inner = 0.0;
    constexpr int kCount = 4096;
    for (int i = 0; i < kCount; ++i) {
        const PixelOffset offset = pixelOffset(PixelSampler(1, 2, i).at(0));
        ASSERT_LE(std::abs(offset.x), 1.0);
        if (std::abs(offset.x) < 0.5) inner += 1.0;
    }
    EXPECT_NEAR(inner / kCount, 0.75, 0.001);
    EXPECT_EQ(pixelOffset({0.5, 0.5}).x, 0.0);
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
