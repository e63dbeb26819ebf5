#include "preview/render/optics.h"

#include "preview/scene/surface.h"

#include <gtest/gtest.h>

#include <limits>

namespace kestrel::preview {
namespace {

const Vec3 kUp{0.0, 1.0, 0.0};

TEST(Optics, RefractionObeysSnellAndComesBackOnTheOtherSide) {
    const Vec3 in = normalize({1.0, -1.0, 0.0});
    const std::optional<Vec3> inside = refract(in, kUp, 1.0 / 1.5);
    ASSERT_TRUE(inside);
    EXPECT_NEAR(inside->x * 1.5, in.x, 1e-12);
    EXPECT_LT(inside->y, 0.0);
    const std::optional<Vec3> outside = refract(*inside, kUp, 1.5);
    ASSERT_TRUE(outside);
    EXPECT_NEAR(outside->x, in.x, 1e-12);
    EXPECT_NEAR(outside->y, in.y, 1e-12);
}

TEST(Optics, LightThatCannotLeaveGlassIsReflectedWhole) {
    const Vec3 shallow = normalize({1.0, -0.5, 0.0});
    EXPECT_FALSE(refract(shallow, kUp, 1.5));
    EXPECT_EQ(fresnel(-shallow.y, 1.5), 1.0);
}

TEST(Optics, FresnelGivesTheTextbookValues) {
    EXPECT_NEAR(fresnel(1.0, 1.0 / 1.5), 0.04, 1e-12);
    EXPECT_NEAR(fresnel(1.0, 1.5), 0.04, 1e-12);
    EXPECT_NEAR(fresnel(0.0, 1.0 / 1.5), 1.0, 1e-12);
    EXPECT_NEAR(fresnel(0.7, 1.0), 0.0, 1e-12);
}

TEST(Optics, RoughnessWidensHighlightsAndReflections) {
    EXPECT_EQ(highlightExponent(0.0), 512.0);
    EXPECT_EQ(highlightExponent(1.0), 4.0);
    const Vec3 direction = normalize({0.3, 0.4, 0.8});
    EXPECT_EQ(spread(direction, 0.0, 0.9, 0.1), direction);
    const double little = dot(direction, spread(direction, 0.1, 0.9, 0.1));
    const double much = dot(direction, spread(direction, 0.8, 0.9, 0.1));
    EXPECT_LT(much, little);
    EXPECT_LT(little, 1.0);
    EXPECT_NEAR(length(spread(kUp, 1.0, 0.2, 0.7)), 1.0, 1e-12) << "straight up has no unique side direction";
}

ShadingSample sampleOf(const Surface& surface) {
    ShadingSample sample{};
    storeSurface(surface, sample);
    return sample;
}

TEST(Surface, TheMaskAdmitsExactlyItsValues) {
    Surface before;
    before.normal = kUp;
    const Surface changed{{1.0, 0.0, 0.0}, {0.1, 0.2, 0.3}, 0.4, 0.5, 0.6, 0.7, 0.8, 1.9, 0.25};
    const ShadingSample sample = sampleOf(changed);
    struct Row {
        HxShaderFlag flag;
        double (*value)(const Surface&);
    };
    const Row rows[] = {
        {HXSF_NORMAL, [](const Surface& s) { return s.normal.x; }},
        {HXSF_COLOR, [](const Surface& s) { return s.color.z; }},
        {HXSF_LUMINOUS, [](const Surface& s) { return s.luminous; }},
        {HXSF_DIFFUSE, [](const Surface& s) { return s.diffuse; }},
        {HXSF_SPECULAR, [](const Surface& s) { return s.specular; }},
        {HXSF_MIRROR, [](const Surface& s) { return s.mirror; }},
        {HXSF_TRANSPARENT, [](const Surface& s) { return s.transparency; }},
        {HXSF_ETA, [](const Surface& s) { return s.eta; }},
        {HXSF_ROUGHNESS, [](const Surface& s) { return s.roughness; }},
    };
    const Surface all = surfaceFrom(sample, 0, before);
    for (const Row& chosen : rows) {
        EXPECT_EQ(chosen.value(all), chosen.value(changed)) << "a mask of 0 admits flag " << chosen.flag;
        const Surface one = surfaceFrom(sample, static_cast<std::uint32_t>(chosen.flag), before);
        for (const Row& row : rows) {
            const Surface& expected = row.flag == chosen.flag ? changed : before;
            EXPECT_EQ(row.value(one), row.value(expected))
                << "mask " << chosen.flag << ", value " << row.flag;
        }
    }
}

TEST(Surface, NumbersThatMeanNothingNeverReachThePicture) {
    Surface before;
    before.normal = kUp;
    Surface wild;
    wild.normal = {0.0, 0.0, 0.0};
    wild.color = {std::numeric_limits<double>::quiet_NaN(), -3.0, 2.0};
    wild.luminous = std::numeric_limits<double>::infinity();
    wild.mirror = 7.0;
    wild.transparency = -1.0;
    const Surface tame = surfaceFrom(sampleOf(wild), 0, before);
    EXPECT_EQ(tame.normal, kUp);
    EXPECT_EQ(tame.color, (Vec3{0.0, 0.0, 2.0}));
    EXPECT_EQ(tame.luminous, 0.0);
    EXPECT_EQ(tame.mirror, 1.0);
    EXPECT_EQ(tame.transparency, 0.0);
}

}  // namespace
}  // namespace kestrel::preview
