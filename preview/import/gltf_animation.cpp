#include "preview/import/gltf_animation.h"

#include <array>
#include <cmath>

namespace kestrel::preview {

namespace {

double wide(float value) {
    return static_cast<double>(value);
}
Vec3 position(const float* v) {
    return {wide(v[0]), wide(v[1]), -wide(v[2])};
}
Vec3 scaling(const float* v) {
    return {wide(v[0]), wide(v[1]), wide(v[2])};
}
/// A turn about an axis: mirroring turns the axis and the sense round.
Quaternion rotation(const float* v) {
    return {-wide(v[0]), -wide(v[1]), wide(v[2]), wide(v[3])};
}

Quaternion unit(const Quaternion& q) {
    return blend(q, q, 0.0);
}
bool hasLength(const Quaternion& q) {
    return q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w > 1e-12;
}

void makeUnit(Key<Quaternion>& key) {
    key.value = hasLength(key.value) ? unit(key.value) : Quaternion{};
}
void makeUnit(Key<Vec3>&) {}

template <std::size_t N>
std::array<float, N> floats(const JsonValue& list) {
    if (list.size() != N) list.fail("must have " + std::to_string(N) + " numbers");
    std::array<float, N> result{};
    for (std::size_t i = 0; i < N; ++i) {
        result[i] =
            static_cast<float>(list.at(i).number(-ImportLimits::kCoordinate, ImportLimits::kCoordinate));
    }
    return result;
}

/// Source: Shepperd, "Quaternion from rotation matrix"
Quaternion quaternionOf(const Axes& a) {
    const double trace = a.right.x + a.up.y + a.forward.z;
    Quaternion q;
    if (trace > 0.0) {
        q = {a.up.z - a.forward.y, a.forward.x - a.right.z, a.right.y - a.up.x, 1.0 + trace};
    } else if (a.right.x >= a.up.y && a.right.x >= a.forward.z) {
        q = {1.0 + a.right.x - a.up.y - a.forward.z, a.right.y + a.up.x, a.forward.x + a.right.z,
             a.up.z - a.forward.y};
    } else if (a.up.y >= a.forward.z) {
        q = {a.right.y + a.up.x, 1.0 - a.right.x + a.up.y - a.forward.z, a.up.z + a.forward.y,
             a.forward.x - a.right.z};
    } else {
        q = {a.forward.x + a.right.z, a.up.z + a.forward.y, 1.0 - a.right.x - a.up.y + a.forward.z,
             a.right.y - a.up.x};
    }
    return unit(q);
}

/// Takes a matrix apart into what an item has.
void setMatrix(const JsonValue& list, Motion& motion) {
    const std::array<float, 16> m = floats<16>(list);
    const auto axis = [&m](std::size_t column, double mirror) {
        return Vec3{wide(m[4 * column]), wide(m[4 * column + 1]), -wide(m[4 * column + 2])} * mirror;
    };
    Transform map{axis(0, 1.0), axis(1, 1.0), axis(2, -1.0), position(&m[12])};
    Vec3 scale{length(map.right), length(map.up), length(map.forward)};
    if (map.determinant() < 0.0) {
        scale.x = -scale.x;
        map.right = -map.right;
    }
    const Axes axes = map.axes();
    constexpr double kSlack = 1e-3;
    if (std::abs(dot(axes.right, axes.up)) > kSlack || std::abs(dot(axes.up, axes.forward)) > kSlack ||
        std::abs(dot(axes.forward, axes.right)) > kSlack) {
        list.fail("shears, which no item can");
    }
    motion.position = map.origin;
    motion.spin = quaternionOf(axes);
    motion.scaling = scale;
}

Interpolation interpolationOf(const JsonValue& sampler) {
    const std::optional<JsonValue> text = sampler.find("interpolation");
    if (!text) return Interpolation::Linear;
    constexpr std::array kInOrder{Interpolation::Linear, Interpolation::Step, Interpolation::Smooth};
    return kInOrder[text->oneOf({"LINEAR", "STEP", "CUBICSPLINE"})];
}

}  // namespace

GltfAnimation::GltfAnimation(const GltfFile& file, Budget& budget) : file_(file), budget_(budget) {
    file_.root().forEach("animations", [this](const JsonValue& animation) {
        animation.forEach("channels", [&](const JsonValue& channel) { readChannel(animation, channel); });
    });
}

template <class T, class Convert>
Track<T> GltfAnimation::readTrack(const JsonValue& sampler, std::string_view type, const Convert& convert) {
    const Interpolation interpolation = interpolationOf(sampler);
    const JsonValue input = sampler.require("input");
    const JsonValue output = sampler.require("output");
    const std::size_t count = file_.count(input);
    const std::size_t perKey = interpolation == Interpolation::Smooth ? 3 : 1;  // tangents on both sides
    budget_.takeKeys(count);
    if (file_.count(output) != count * perKey) output.fail("has not as many elements as there are keys");
    const std::vector<float> times = file_.numbers(input, "SCALAR");
    const std::vector<float> values = file_.numbers(output, type);
    for (const float value : values) {
        if (std::abs(wide(value)) > ImportLimits::kCoordinate) output.fail("a number is too large");
    }
    const std::size_t width = type == "VEC4" ? 4 : 3;
    std::vector<Key<T>> keys;
    keys.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        Key<T> key;
        key.time = wide(times[i]);
        if (!keys.empty() && key.time == keys.back().time) continue;
        if (!keys.empty() && key.time < keys.back().time) input.fail("its times go backwards");
        if (std::abs(key.time) > 1e6) input.fail("a time is out of range");
        const float* at = &values[i * perKey * width];
        key.value = convert(perKey == 3 ? at + width : at);
        if (perKey == 3) {
            key.arriving = convert(at);
            key.leaving = convert(at + 2 * width);
        }
        makeUnit(key);
        keys.push_back(key);
    }
    if (!keys.empty()) length_ = std::max(length_, keys.back().time);
    return Track<T>(std::move(keys), interpolation);
}

void GltfAnimation::readChannel(const JsonValue& animation, const JsonValue& channel) {
    const JsonValue target = channel.require("target");
    const std::optional<JsonValue> node = target.find("node");
    if (!node) return;  // an extension's
    (void)file_.element("nodes", *node);
    const JsonValue reference = channel.require("sampler");
    const JsonValue samplers = animation.require("samplers");
    const auto place = static_cast<std::size_t>(reference.integer(0, std::int64_t{1} << 40));
    if (place >= samplers.size()) reference.fail("there is no such sampler");
    const JsonValue sampler = samplers.at(place);
    if (file_.count(sampler.require("input")) == 0) return;
    Channels& channels = channels_[node->integer(0, std::int64_t{1} << 40)];
    const std::string& path = target.require("path").text();
    if (path == "translation" && !channels.position) {
        channels.position = readTrack<Vec3>(sampler, "VEC3", position);
    } else if (path == "rotation" && !channels.rotation) {
        channels.rotation = readTrack<Quaternion>(sampler, "VEC4", rotation);
    } else if (path == "scale" && !channels.scaling) {
        channels.scaling = readTrack<Vec3>(sampler, "VEC3", scaling);
    }
}

Motion GltfAnimation::restOf(const JsonValue& json) {
    Motion motion;
    motion.spins = true;
    if (const std::optional<JsonValue> matrix = json.find("matrix")) setMatrix(*matrix, motion);
    if (const auto list = json.find("translation")) motion.position = position(floats<3>(*list).data());
    if (const auto list = json.find("scale")) motion.scaling = scaling(floats<3>(*list).data());
    if (const auto list = json.find("rotation")) {
        const Quaternion turned = rotation(floats<4>(*list).data());
        if (!hasLength(turned)) list->fail("has no length");
        motion.spin = unit(turned);
    }
    return motion;
}

Motion GltfAnimation::motionOf(std::size_t node, const JsonValue& json) const {
    Motion motion = restOf(json);
    const auto found = channels_.find(static_cast<std::int64_t>(node));
    if (found == channels_.end()) return motion;
    if (found->second.position) motion.position = *found->second.position;
    if (found->second.rotation) motion.spin = *found->second.rotation;
    if (found->second.scaling) motion.scaling = *found->second.scaling;
    return motion;
}

}  // namespace kestrel::preview
