// Values of scene descriptions that may change over time.
#pragma once

#include "preview/import/json_document.h"
#include "preview/import/scene_parts.h"
#include "preview/scene/track.h"

#include <functional>
#include <numbers>

namespace kestrel::preview {

inline constexpr double kRadians = std::numbers::pi / 180.0;

/// Reads one value of a track.
template <class T>
using ReadValue = std::function<T(const JsonValue&)>;

/// Reads values and tracks: {"keys": [{"frame": 0, "value": ...}, ...], "interpolation": "smooth"}.
class TrackReader {
public:
    /// @param budget  outlives it
    TrackReader(double framesPerSecond, Budget& budget)
        : framesPerSecond_(framesPerSecond), budget_(budget) {}

    /// The track under a key of an object; `otherwise` when it is not there.
    [[nodiscard]] Track<double> number(const JsonValue& holder, std::string_view key, double otherwise,
                                       const ReadValue<double>& read) const;
    [[nodiscard]] Track<Vec3> vector(const JsonValue& holder, std::string_view key, const Vec3& otherwise,
                                     const ReadValue<Vec3>& read) const;
    /// Position, rotation, scale and pivot of an item or of a bone at rest.
    [[nodiscard]] Motion motion(const JsonValue& holder) const;

private:
    template <class T>
    [[nodiscard]] Track<T> track(const JsonValue& json, const ReadValue<T>& read) const;

    double framesPerSecond_;
    Budget& budget_;
};

/// Three coordinates that a picture can show.
[[nodiscard]] Vec3 readPoint(const JsonValue& json);
/// Heading, pitch and bank in degrees, as radians.
[[nodiscard]] Vec3 readAngles(const JsonValue& json);
/// Three numbers from 0, or one for a grey.
[[nodiscard]] Vec3 readColor(const JsonValue& json);

}  // namespace kestrel::preview
