#include "preview/picture/image.h"

#include <png.h>

#include <stdexcept>

namespace kestrel::preview {

namespace {

void appendBytes(png_structp png, png_bytep data, png_size_t size) {
    auto& bytes = *static_cast<std::string*>(png_get_io_ptr(png));
    bytes.append(reinterpret_cast<const char*>(data), size);
}

[[noreturn]] void throwPngError(png_structp, png_const_charp text) {
    throw std::runtime_error(text);
}
void ignorePngWarning(png_structp, png_const_charp) {}

struct PngWriter {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, throwPngError, ignorePngWarning);
    png_infop info = png_create_info_struct(png);
    PngWriter() = default;
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;
    ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

}  // namespace

Image::Image(std::int32_t width, std::int32_t height)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

std::string encodePng(const Image& image, const Tone& tone) {
    std::string file;
    PngWriter writer;
    png_set_write_fn(writer.png, &file, appendBytes, nullptr);
    png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(image.width()),
                 static_cast<png_uint_32>(image.height()), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (tone.view == View::Raw) {
        png_set_gAMA(writer.png, writer.info, 1.0);
    } else {
        png_set_sRGB(writer.png, writer.info, PNG_sRGB_INTENT_PERCEPTUAL);
    }
    png_write_info(writer.png, writer.info);
    std::vector<std::uint8_t> row;
    for (std::int32_t y = 0; y < image.height(); ++y) {
        row.clear();
        for (std::int32_t x = 0; x < image.width(); ++x) {
            const std::array<std::uint8_t, 3> bytes = toBytes(image.at(x, y), tone);
            row.insert(row.end(), bytes.begin(), bytes.end());
        }
        png_write_row(writer.png, row.data());
    }
    png_write_end(writer.png, writer.info);
    return file;
}

}  // namespace kestrel::preview
