#include "preview/picture/image.h"

#include <gtest/gtest.h>
#include <png.h>

#include <limits>

namespace kestrel::preview {

TEST(Image, SrgbFollowsTheStandardCurveAndCutsTheRest) {
    const std::pair<double, int> rows[] = {
        {0.0, 0},         {0.001, 3}, {0.0031308, 10},
        {0.2140411, 127}, {0.5, 188}, {1.0, 255},
        {7.0, 255},       {-1.0, 0},  {std::numeric_limits<double>::quiet_NaN(), 0}};
    for (const auto& [linear, byte] : rows) EXPECT_EQ(toSrgb(linear), byte) << linear;
}

TEST(Image, PngReadsBackPixelForPixel) {
    Image image(5, 3);
    for (std::int32_t y = 0; y < 3; ++y) {
        for (std::int32_t x = 0; x < 5; ++x) image.at(x, y) = {0.2 * x, 0.3 * y, 0.05 * (x + y)};
    }
    const std::string bytes = encodePng(image);

    png_image read{};
    read.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&read, bytes.data(), bytes.size()), 0);
    ASSERT_EQ(read.width, 5U);
    ASSERT_EQ(read.height, 3U);
    read.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(read));
    ASSERT_NE(png_image_finish_read(&read, nullptr, pixels.data(), 0, nullptr), 0);
    for (std::int32_t y = 0; y < 3; ++y) {
        for (std::int32_t x = 0; x < 5; ++x) {
            const std::uint8_t* p = pixels.data() + 3 * (y * 5 + x);
            const Vec3& c = image.at(x, y);
            EXPECT_EQ(p[0], toSrgb(c.x));
            EXPECT_EQ(p[1], toSrgb(c.y));
            EXPECT_EQ(p[2], toSrgb(c.z));
        }
    }
}

}  // namespace kestrel::preview
