#include "preview/import/description_tracks.h"

#include <array>

namespace kestrel::preview {

namespace {

/// Tangents that make a curve through the keys, at rest at both ends.
template <class T>
void setTangents(std::vector<Key<T>>& keys) {
    for (std::size_t i = 1; i + 1 < keys.size(); ++i) {
        const double span = keys[i + 1].time - keys[i - 1].time;
        keys[i].arriving = keys[i].leaving = (keys[i + 1].value - keys[i - 1].value) * (1.0 / span);
    }
}

Vec3 readScale(const JsonValue& json) {
    if (json.isArray()) return readPoint(json);
    const double all = json.number(-ImportLimits::kCoordinate, ImportLimits::kCoordinate);
    return {all, all, all};
}

}  // namespace

Vec3 readPoint(const JsonValue& json) {
    const Vec3 point = json.vector();
    if (!usable(point)) json.fail("a number is too large");
    return point;
}

Vec3 readAngles(const JsonValue& json) {
    return readPoint(json) * kRadians;
}

Vec3 readColor(const JsonValue& json) {
    constexpr double kBrightest = 1e9;
    if (!json.isArray()) {
        const double grey = json.number(0.0, kBrightest);
        return {grey, grey, grey};
    }
    if (json.size() != 3) json.fail("must be a list of three numbers");
    return {json.at(0).number(0.0, kBrightest), json.at(1).number(0.0, kBrightest),
            json.at(2).number(0.0, kBrightest)};
}

template <class T>
Track<T> TrackReader::track(const JsonValue& json, const ReadValue<T>& read) const {
    if (!json.isObject()) return read(json);
    json.allows({"keys", "interpolation"});
    const JsonValue list = json.require("keys");
    if (list.size() == 0) list.fail("needs at least one key");
    budget_.takeKeys(list.size());
    std::vector<Key<T>> keys;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const JsonValue entry = list.at(i);
        entry.allows({"frame", "time", "value"});
        const std::optional<JsonValue> frame = entry.find("frame");
        const std::optional<JsonValue> time = entry.find("time");
        if (frame.has_value() == time.has_value()) entry.fail("needs either \"frame\" or \"time\"");
        Key<T>& key = keys.emplace_back();
        key.time = frame ? frame->number(-1e6, 1e6) / framesPerSecond_ : time->number(-1e6, 1e6);
        key.value = read(entry.require("value"));
        if (i > 0 && !(key.time > keys[i - 1].time)) entry.fail("must be later than the key before it");
    }
    setTangents(keys);
    constexpr std::array kInOrder{Interpolation::Linear, Interpolation::Step, Interpolation::Smooth};
    const std::optional<JsonValue> interpolation = json.find("interpolation");
    return Track<T>(std::move(keys),
                    kInOrder[interpolation ? interpolation->oneOf({"linear", "step", "smooth"}) : 0]);
}

Track<double> TrackReader::number(const JsonValue& holder, std::string_view key, double otherwise,
                                  const ReadValue<double>& read) const {
    const std::optional<JsonValue> json = holder.find(key);
    return json ? track(*json, read) : Track<double>(otherwise);
}

Track<Vec3> TrackReader::vector(const JsonValue& holder, std::string_view key, const Vec3& otherwise,
                                const ReadValue<Vec3>& read) const {
    const std::optional<JsonValue> json = holder.find(key);
    return json ? track(*json, read) : Track<Vec3>(otherwise);
}

Motion TrackReader::motion(const JsonValue& holder) const {
    Motion motion;
    motion.position = vector(holder, "position", {}, readPoint);
    motion.angles = vector(holder, "rotation", {}, readAngles);
    motion.scaling = vector(holder, "scale", {1.0, 1.0, 1.0}, readScale);
    if (const std::optional<JsonValue> pivot = holder.find("pivot")) motion.pivot = readPoint(*pivot);
    return motion;
}

}  // namespace kestrel::preview
