// Pictures on their way into files.
#pragma once

#include "preview/picture/image.h"
#include "preview/picture/tone.h"

#include <string>

namespace CLI {
class App;
}

namespace kestrel::cli {

/// How light becomes a picture.
struct PictureOptions {
    std::string output;
    preview::Tone tone{preview::View::Filmic, 0.0};
    bool fullFloat = false;
};

/// Adds `-o`, `--view`, `--exposure` and `--float`.
void addPictureOptions(CLI::App& command, PictureOptions& options);

/// True for a name that ends in .exr.
[[nodiscard]] bool isExr(const std::string& name);

/// The bytes of the file, in the form that its name asks for. OpenEXR holds the light itself, untouched by
/// view and exposure. Errors: throws std::runtime_error when the picture is larger than the format allows
[[nodiscard]] std::string encodePicture(const preview::Image& image, const std::string& name,
                                        const PictureOptions& options);

}  // namespace kestrel::cli
