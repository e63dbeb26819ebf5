// OpenEXR files: linear light without a limit.
#pragma once

#include "preview/picture/image.h"
#include "preview/scene/sky.h"

#include <memory>
#include <string>
#include <string_view>

namespace kestrel::preview {

enum class ExrDepth { Half, Float };

/// The bytes of an OpenEXR file with the channels R, G and B. Nothing is done to the light, but what is too
/// large for the depth is cut. Errors: throws std::runtime_error when the library refuses
[[nodiscard]] std::string encodeExr(const Image& image, ExrDepth depth = ExrDepth::Half);

/// The picture in the bytes of an OpenEXR file. What is no light (negative, no number) is black.
/// @param mostPixels  larger pictures are refused before memory is taken for them
/// Errors: throws std::runtime_error with the reason
[[nodiscard]] Panorama decodeExr(std::string_view bytes, std::size_t mostPixels);

}  // namespace kestrel::preview
