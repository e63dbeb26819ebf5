// Radiance pictures (.hdr): three mantissas and an exponent for each pixel.
#pragma once

#include "preview/scene/sky.h"

#include <string_view>

namespace kestrel::preview {

/// The picture in the bytes of a Radiance file.
/// @param mostPixels  larger pictures are refused before memory is taken for them
/// Errors: throws std::runtime_error with the reason
/// Source: Ward, "Real Pixels" (Graphics Gems II)
[[nodiscard]] Panorama decodeRadiance(std::string_view bytes, std::size_t mostPixels);

}  // namespace kestrel::preview
