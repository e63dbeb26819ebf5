// How the nodes of a glTF file move.
#pragma once

#include "preview/import/gltf_file.h"
#include "preview/import/scene_parts.h"

#include <cstdint>
#include <unordered_map>

namespace kestrel::preview {

class GltfAnimation {
public:
    /// Reads all animations. Where several move the same thing, the first does.
    /// Both outlive it.
    GltfAnimation(const GltfFile& file, Budget& budget);

    /// Where a node stands without its animation, mirrored into our space. Throws for a matrix that shears.
    [[nodiscard]] static Motion restOf(const JsonValue& json);
    /// How a node moves.
    [[nodiscard]] Motion motionOf(std::size_t node, const JsonValue& json) const;
    /// Seconds until the last key.
    [[nodiscard]] double length() const noexcept { return length_; }

private:
    struct Channels {
        std::optional<Track<Vec3>> position;
        std::optional<Track<Quaternion>> rotation;
        std::optional<Track<Vec3>> scaling;
    };
    void readChannel(const JsonValue& animation, const JsonValue& channel);
    template <class T, class Convert>
    [[nodiscard]] Track<T> readTrack(const JsonValue& sampler, std::string_view type, const Convert& convert);

    const GltfFile& file_;
    Budget& budget_;
    std::unordered_map<std::int64_t, Channels> channels_;
    double length_ = 0.0;
};

}  // namespace kestrel::preview
