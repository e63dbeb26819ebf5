#include "preview/picture/exr.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>

#include <cstring>
#include <exception>
#include <limits>
#include <stdexcept>
#include <vector>

namespace kestrel::preview {

namespace {

class TextStream final : public Imf::OStream {
public:
    explicit TextStream(std::string& bytes) : OStream("picture"), bytes_(bytes) {}
    void write(const char c[], int n) override {
        const auto count = static_cast<std::size_t>(n);
        if (bytes_.size() < at_ + count) bytes_.resize(at_ + count);
        std::memcpy(bytes_.data() + at_, c, count);
        at_ += count;
    }
    std::uint64_t tellp() override { return at_; }
    void seekp(std::uint64_t pos) override { at_ = pos; }

private:
    std::string& bytes_;
    std::size_t at_ = 0;
};

class BytesStream final : public Imf::IStream {
public:
    explicit BytesStream(std::string_view bytes) : IStream("picture"), bytes_(bytes) {}
    bool read(char c[], int n) override {
        const auto count = static_cast<std::size_t>(n);
        if (n < 0 || at_ > bytes_.size() || bytes_.size() - at_ < count)
            throw std::runtime_error("it ends early");
        std::memcpy(c, bytes_.data() + at_, count);
        at_ += count;
        return at_ < bytes_.size();
    }
    std::uint64_t tellg() override { return at_; }
    void seekg(std::uint64_t pos) override { at_ = pos; }

private:
    std::string_view bytes_;
    std::size_t at_ = 0;
};

template <class Number>
void addChannels(Imf::FrameBuffer& buffer, Imf::PixelType type, std::vector<Number>& pixels,
                 std::size_t width) {
    const char* names[] = {"R", "G", "B"};
    for (std::size_t i = 0; i < 3; ++i) {
        buffer.insert(names[i], Imf::Slice(type, reinterpret_cast<char*>(pixels.data() + i),
                                           3 * sizeof(Number), 3 * sizeof(Number) * width));
    }
}

template <class Number>
std::vector<Number> numbersOf(const Image& image, double most) {
    std::vector<Number> numbers;
    numbers.reserve(3 * static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.height()));
    for (std::int32_t y = 0; y < image.height(); ++y) {
        for (std::int32_t x = 0; x < image.width(); ++x) {
            const Vec3& c = image.at(x, y);
            for (const double value : {c.x, c.y, c.z}) {
                numbers.push_back(Number(static_cast<float>(std::clamp(value, -most, most))));
            }
        }
    }
    return numbers;
}

template <class Number>
void writeAs(Imf::OutputFile& file, Imf::PixelType type, std::vector<Number> numbers, const Image& image) {
    Imf::FrameBuffer buffer;
    addChannels(buffer, type, numbers, static_cast<std::size_t>(image.width()));
    file.setFrameBuffer(buffer);
    file.writePixels(image.height());
}

float lightOf(float value) {
    constexpr float kMost = 1e6F;
    return value > 0.0F ? std::min(value, kMost) : 0.0F;
}

}  // namespace

std::string encodeExr(const Image& image, ExrDepth depth) {
    const Imf::PixelType type = depth == ExrDepth::Half ? Imf::HALF : Imf::FLOAT;
    std::string bytes;
    Imf::Header header(image.width(), image.height());
    header.compression() = Imf::ZIP_COMPRESSION;
    for (const char* name : {"R", "G", "B"}) header.channels().insert(name, Imf::Channel(type));
    TextStream stream(bytes);
    {
        Imf::OutputFile file(stream, header, 0);
        if (depth == ExrDepth::Half) {
            writeAs(file, type, numbersOf<half>(image, static_cast<double>(HALF_MAX)), image);
        } else {
            writeAs(file, type,
                    numbersOf<float>(image, static_cast<double>(std::numeric_limits<float>::max())), image);
        }
    }
    return bytes;
}

Panorama decodeExr(std::string_view bytes, std::size_t mostPixels) {
    BytesStream stream(bytes);
    Imf::InputFile file(stream, 0);
    const Imath::Box2i& window = file.header().dataWindow();
    const std::int64_t width = std::int64_t{window.max.x} - window.min.x + 1;
    const std::int64_t height = std::int64_t{window.max.y} - window.min.y + 1;
    if (width < 1 || height < 1 || height > static_cast<std::int64_t>(mostPixels) / width) {
        throw std::runtime_error("it is too large");
    }
    for (const char* name : {"R", "G", "B"}) {
        if (file.header().channels().findChannel(name) == nullptr) {
            throw std::runtime_error("it has no channels R, G and B");
        }
    }
    std::vector<float> numbers(3 * static_cast<std::size_t>(width * height));
    const auto stride = static_cast<std::ptrdiff_t>(3 * sizeof(float));
    // The library counts from the picture's origin, which may lie outside the window.
    const std::ptrdiff_t before =
        window.min.x * stride + window.min.y * stride * static_cast<std::ptrdiff_t>(width);
    Imf::FrameBuffer buffer;
    const char* names[] = {"R", "G", "B"};
    for (std::size_t i = 0; i < 3; ++i) {
        char* base = reinterpret_cast<char*>(numbers.data() + i);
        buffer.insert(names[i], Imf::Slice(Imf::FLOAT, base - before, 3 * sizeof(float),
                                           3 * sizeof(float) * static_cast<std::size_t>(width)));
    }
    file.setFrameBuffer(buffer);
    file.readPixels(window.min.y, window.max.y);
    Panorama panorama;
    panorama.width = static_cast<std::int32_t>(width);
    panorama.height = static_cast<std::int32_t>(height);
    panorama.pixels.reserve(numbers.size() / 3);
    for (std::size_t i = 0; i < numbers.size(); i += 3) {
        panorama.pixels.push_back({lightOf(numbers[i]), lightOf(numbers[i + 1]), lightOf(numbers[i + 2])});
    }
    return panorama;
}

}  // namespace kestrel::preview
