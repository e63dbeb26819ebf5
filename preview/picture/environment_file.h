// Pictures of all that surrounds a scene.
#pragma once

#include "preview/scene/sky.h"

#include <memory>
#include <string>

namespace kestrel::preview {

/// Reads a panorama, twice as wide as high: OpenEXR or Radiance (.hdr). What the file is its first bytes
/// tell.
/// @param nativePath  the file
/// @param error       receives a sentence that names the file
/// @return null when it cannot be read, is larger than 32 million pixels, or is broken
[[nodiscard]] std::shared_ptr<const Panorama> readEnvironment(const std::string& nativePath,
                                                              std::string& error);

}  // namespace kestrel::preview
