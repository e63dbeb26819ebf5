#include "preview/picture/image.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace kestrel::preview {

TEST(Image, SrgbFollowsTheStandardCurveAndCutsTheRest) {
    const std::pair<double, int> rows[] = {
        {0.0, 0},         {0.001, 3}, {0.0031308, 10},
        {0.2140411, 127}, {0.5, 188}, {1.0, 255},
        {7.0, 255},       {-1.0, 0},  {std::numeric_limits<double>::quiet_NaN(), 0}};
    for (const auto& [linear, byte] : rows) EXPECT_EQ(toSrgb(linear), byte) << linear;
}

TEST(Tone, BrighterLightIsNeverDarkerAndKeepsItsHueUntilItFades) {
    double before = -1.0;
    for (double light = 0.0; light < 2000.0; light = light * 1.01 + 0.001) {
        const Vec3 shown = filmic({light, light, light});
        EXPECT_GT(shown.x, before) << light;
        EXPECT_LT(shown.x, 1.0) << light;
        EXPECT_EQ(shown.x, shown.z);
        before = shown.x;
    }
    EXPECT_GT(before, 0.995);
    const Vec3 ordinary{0.7, 0.2, 0.01};
    EXPECT_EQ(filmic(ordinary), ordinary);
    const Vec3 flame = filmic({1.3, 0.35, 0.03});  // the glow of lava stays orange
    EXPECT_GT(flame.x, 0.85);
    EXPECT_LT(flame.y, 0.45);
    EXPECT_LT(flame.z, 0.2);
}

TEST(Tone, ViewsAndExposure) {
    using Bytes = std::array<std::uint8_t, 3>;
    const Vec3 light{0.25, 0.5, 4.0};
    EXPECT_EQ(toBytes(light, {View::Raw, 0.0}), (Bytes{64, 128, 255}));
    EXPECT_EQ(toBytes(light, {View::Raw, -1.0}), (Bytes{32, 64, 255}));
    EXPECT_EQ(toBytes(light, {View::Srgb, 0.0}), (Bytes{137, 188, 255}));
    EXPECT_EQ(toBytes({0.35, 0.25, 0.125}, {View::Filmic, 1.0})[1], 188);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const View view : {View::Raw, View::Srgb, View::Filmic}) {
        EXPECT_EQ(toBytes({-1.0, std::numeric_limits<double>::quiet_NaN(), 0.0}, {view, 0.0}),
                  (Bytes{0, 0, 0}));
        EXPECT_EQ(toBytes({kInfinity, kInfinity, kInfinity}, {view, 0.0}), (Bytes{255, 255, 255}));
    }
}

}  // namespace kestrel::preview
