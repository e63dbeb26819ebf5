// What is wrong with a file. Thrown and caught inside this room only: whoever asks for a scene gets a text.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace kestrel::preview {

class ImportError : public std::runtime_error {
public:
    /// @param file      native path
    /// @param place     a line, "LINE:COLUMN", or where in a JSON document ("/meshes/0/name"); may be empty
    /// @param sentence  what is wrong, without a full stop
    ImportError(const std::string& file, const std::string& place, const std::string& sentence)
        : std::runtime_error(file + (place.empty() ? "" : ":" + place) + ": " + sentence) {}
};

/// How much a scene may hold, so that neither a broken file nor a small one that claims much takes all
/// memory.
struct ImportLimits {
    static constexpr std::size_t kFileBytes = 1U << 29U;
    static constexpr std::size_t kJsonValues = 2'000'000;
    static constexpr int kJsonDepth = 64;
    static constexpr std::size_t kPoints =
        16'000'000;  ///< of all meshes; a mesh that is shown twice counts twice
    static constexpr std::size_t kTriangles = 16'000'000;
    static constexpr std::size_t kKeys = 2'000'000;
    static constexpr std::size_t kItems = 100'000;
    static constexpr int kParents = 1000;  ///< of an item, one above the other
    static constexpr std::size_t kBonesOfMesh = 1024;
    static constexpr std::size_t kSurfaces = 60'000;
    static constexpr double kCoordinate = 1e15;  ///< the ray caster squares them
};

}  // namespace kestrel::preview
