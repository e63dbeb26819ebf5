#include "preview/picture/radiance.h"

#include <array>
#include <charconv>
#include <stdexcept>

namespace kestrel::preview {

namespace {

using Pixel = std::array<std::uint8_t, 4>;  // red, green, blue, exponent

/// The bytes that are still to be read.
class Bytes {
public:
    explicit Bytes(std::string_view rest) : rest_(rest) {}

    std::uint8_t next() {
        if (rest_.empty()) throw std::runtime_error("it ends early");
        const auto byte = static_cast<std::uint8_t>(rest_.front());
        rest_.remove_prefix(1);
        return byte;
    }
    std::string_view line() {
        const std::size_t end = rest_.find('\n');
        if (end == std::string_view::npos) throw std::runtime_error("it ends early");
        const std::string_view result = rest_.substr(0, end);
        rest_.remove_prefix(end + 1);
        return result;
    }
    /// True where a line begins whose four channels follow each other, each in runs.
    [[nodiscard]] bool newLineOf(std::size_t width) const {
        const auto at = [this](std::size_t i) { return static_cast<std::uint8_t>(rest_[i]); };
        return width >= 8 && width < 0x8000 && rest_.size() >= 4 && at(0) == 2 && at(1) == 2 &&
               at(2) * std::size_t{256} + at(3) == width;
    }

private:
    std::string_view rest_;
};

void readChannels(Bytes& bytes, std::vector<Pixel>& line) {
    for (int i = 0; i < 4; ++i) (void)bytes.next();
    for (std::size_t channel = 0; channel < 4; ++channel) {
        for (std::size_t x = 0; x < line.size();) {
            const unsigned count = bytes.next();
            const bool run = count > 128;
            const std::size_t length = run ? count - 128 : count;
            if (length == 0 || length > line.size() - x) throw std::runtime_error("a run leaves its line");
            std::uint8_t value = bytes.next();
            for (std::size_t i = 0; i < length; ++i) {
                if (!run && i > 0) value = bytes.next();
                line[x++][channel] = value;
            }
        }
    }
}

/// Pixel by pixel; one whose colors are all 1 repeats the one before it, and each further such one counts 256
/// times as much.
void readPixels(Bytes& bytes, std::vector<Pixel>& line) {
    unsigned shift = 0;
    for (std::size_t x = 0; x < line.size();) {
        Pixel pixel;
        for (std::uint8_t& part : pixel) part = bytes.next();
        if (pixel[0] != 1 || pixel[1] != 1 || pixel[2] != 1) {
            line[x++] = pixel;
            shift = 0;
            continue;
        }
        const std::size_t length = shift < 32 ? std::size_t{pixel[3]} << shift : line.size() + 1;
        if (x == 0 || length > line.size() - x) throw std::runtime_error("a run leaves its line");
        for (std::size_t i = 0; i < length; ++i, ++x) line[x] = line[x - 1];
        shift += 8;
    }
}

Float3 lightOf(const Pixel& pixel) {
    if (pixel[3] == 0) return {};
    const double scale = std::ldexp(1.0, pixel[3] - (128 + 8));
    return toFloat3(Vec3{pixel[0] + 0.5, pixel[1] + 0.5, pixel[2] + 0.5} * scale);
}

std::int32_t numberAfter(std::string_view& line, std::string_view word) {
    std::int32_t number = 0;
    if (line.starts_with(word)) {
        line.remove_prefix(word.size());
        const auto [end, problem] = std::from_chars(line.data(), line.data() + line.size(), number);
        if (problem == std::errc{} && number > 0) {
            line.remove_prefix(static_cast<std::size_t>(end - line.data()));
            return number;
        }
    }
    throw std::runtime_error("its size is not of the form -Y HEIGHT +X WIDTH");
}

}  // namespace

Panorama decodeRadiance(std::string_view text, std::size_t mostPixels) {
    Bytes bytes(text);
    for (std::string_view line = bytes.line(); !line.empty() && line != "\r"; line = bytes.line()) {
        if (line.starts_with("FORMAT=") && !line.starts_with("FORMAT=32-bit_rle_rgbe")) {
            throw std::runtime_error("its colors are not red, green and blue");
        }
    }
    std::string_view size = bytes.line();
    Panorama panorama;
    panorama.height = numberAfter(size, "-Y ");
    panorama.width = numberAfter(size, " +X ");
    const auto width = static_cast<std::size_t>(panorama.width);
    const auto height = static_cast<std::size_t>(panorama.height);
    if (height > mostPixels / width) throw std::runtime_error("it is too large");
    std::vector<Pixel> line(width);
    for (std::size_t y = 0; y < height; ++y) {
        if (bytes.newLineOf(width)) {
            readChannels(bytes, line);
        } else {
            readPixels(bytes, line);
        }
        for (const Pixel& pixel : line) panorama.pixels.push_back(lightOf(pixel));
    }
    return panorama;
}

}  // namespace kestrel::preview
