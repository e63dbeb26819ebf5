// What is read back of pictures without a limit, and what broken ones do.
#include "preview/picture/environment_file.h"
#include "preview/picture/exr.h"
#include "preview/picture/radiance.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <limits>

namespace kestrel::preview {
namespace {

constexpr std::size_t kMost = 1000;

Image sample() {
    Image image(6, 3);
    for (std::int32_t y = 0; y < 3; ++y) {
        for (std::int32_t x = 0; x < 6; ++x) image.at(x, y) = {0.25 * x, 100.0 * y, 1.0 / 3.0};
    }
    image.at(5, 2) = {1e9, -2.0, std::numeric_limits<double>::quiet_NaN()};
    return image;
}

TEST(Exr, ReadsBackAsPreciselyAsItsDepth) {
    for (const ExrDepth depth : {ExrDepth::Half, ExrDepth::Float}) {
        const Panorama read = decodeExr(encodeExr(sample(), depth), kMost);
        ASSERT_EQ(read.width, 6);
        ASSERT_EQ(read.height, 3);
        const Float3& pixel = read.pixels[6 + 3];
        EXPECT_EQ(pixel.x, 0.75F);
        EXPECT_EQ(pixel.y, 100.0F);
        EXPECT_NEAR(static_cast<double>(pixel.z), 1.0 / 3.0, depth == ExrDepth::Half ? 1e-3 : 1e-7);
        const Float3& wild = read.pixels.back();
        EXPECT_EQ(wild.x, depth == ExrDepth::Half ? 65504.0F : 1e6F);
        EXPECT_EQ(wild.y, 0.0F);
        EXPECT_EQ(wild.z, 0.0F);
    }
}

TEST(Exr, BrokenFilesAreRefused) {
    const std::string whole = encodeExr(sample());
    EXPECT_ANY_THROW((void)decodeExr(whole, 17)) << "too large";
    for (std::size_t length = 0; length < whole.size(); length += 7) {
        EXPECT_ANY_THROW((void)decodeExr(std::string_view(whole).substr(0, length), kMost)) << length;
    }
    for (std::size_t i = 8; i < whole.size(); ++i) {
        std::string damaged = whole;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x5a);
        try {
            const Panorama read = decodeExr(damaged, kMost);
            EXPECT_LE(read.pixels.size(), kMost);
        } catch (const std::exception&) {
        }
    }
}

const std::string kHead = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 8\n";

TEST(Radiance, ReadsRunsOfBothKindsAndPlainPixels) {
    std::string text = kHead;
    text += std::string("\x02\x02\x00\x08", 4);
    text += "\x88\x40";                  // red: eight times 64
    text += "\x03\x01\x02\x03\x85\x04";  // green: three of their own and five times 4
    text += std::string("\x88\x00", 2);  // blue
    text += "\x88\x81";                  // exponent 129
    text += "\x10\x20\x30\x80";          // a pixel, then seven times the same
    text += "\x01\x01\x01\x07";
    const Panorama read = decodeRadiance(text, kMost);
    ASSERT_EQ(read.pixels.size(), 16U);
    EXPECT_FLOAT_EQ(read.pixels[0].x, 64.5F / 128.0F);
    EXPECT_FLOAT_EQ(read.pixels[2].y, 3.5F / 128.0F);
    EXPECT_FLOAT_EQ(read.pixels[7].y, 4.5F / 128.0F);
    EXPECT_FLOAT_EQ(read.pixels[15].z, 48.5F / 256.0F);
    for (std::size_t length = 0; length < text.size(); ++length) {
        EXPECT_ANY_THROW((void)decodeRadiance(text.substr(0, length), kMost)) << length;
    }
    EXPECT_ANY_THROW((void)decodeRadiance(text, 15));
    EXPECT_ANY_THROW((void)decodeRadiance("#?RADIANCE\n\n-Y 1 +X 2\n\x01\x01\x01\x09", kMost))
        << "nothing before";
    EXPECT_ANY_THROW((void)decodeRadiance("#?RADIANCE\n\n+Y 1 +X 2\n", kMost));
    EXPECT_ANY_THROW((void)decodeRadiance("#?RADIANCE\n\n-Y 2147483647 +X 2147483647\n", kMost));
}

TEST(EnvironmentFile, IsKnownByItsBytesAndNamedInErrors) {
    const std::string path = testing::TempDir() + "preview-environment";
    const auto readAfter = [&](const std::string& bytes, std::string& error) {
        std::ofstream(path, std::ios::binary) << bytes;
        return readEnvironment(path, error);
    };
    std::string error;
    ASSERT_NE(readAfter(encodeExr(sample()), error), nullptr) << error;
    EXPECT_EQ(readAfter("no picture", error), nullptr);
    EXPECT_NE(error.find(path), std::string::npos);
    std::remove(path.c_str());
    EXPECT_EQ(readEnvironment(path, error), nullptr);
    EXPECT_EQ(readEnvironment(testing::TempDir(), error), nullptr) << "a directory";
}

TEST(Panorama, ItsMiddleLiesAheadAndItsTopAbove) {
    Panorama panorama;
    panorama.width = 4;
    panorama.height = 2;
    panorama.pixels = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0},
                       {5, 0, 0}, {6, 0, 0}, {7, 0, 0}, {8, 0, 0}};
    EXPECT_NEAR(panorama.color({0.0, 1.0, 0.0}).x, 2.5, 1e-9);
    EXPECT_NEAR(panorama.color(normalize({1.0, 1.0, 1.0})).x, 3.0, 0.5);
    EXPECT_NEAR(panorama.color(normalize({0.0, -1.0, 1e-3})).x, 6.5, 1e-9)
        << "ahead: between the middle columns";
    EXPECT_NEAR(panorama.color(normalize({-1e-9, -1.0, -1e-3})).x, 6.5, 1e-5)
        << "behind: the outer columns meet";
}

}  // namespace
}  // namespace kestrel::preview
