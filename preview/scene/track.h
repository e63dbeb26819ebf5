// Values that change over time.
#pragma once

#include "preview/math/transform.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace kestrel::preview {

enum class Interpolation {
    Step,    ///< the value of the key before
    Linear,  ///< rotations: spherical
    Smooth   ///< cubic, with the tangents of the keys
};

template <class T>
struct Key {
    double time = 0.0;  ///< seconds
    T value{};
    T arriving{};  ///< tangents per second, for Smooth
    T leaving{};
};

/// Cubic Hermite interpolation; t in 0..1 over `span` seconds.
template <class T>
[[nodiscard]] T hermite(const T& a, const T& b, const T& leaving, const T& arriving, double span, double t) {
    const double t2 = t * t;
    const double t3 = t2 * t;
    return a * (2.0 * t3 - 3.0 * t2 + 1.0) + leaving * (span * (t3 - 2.0 * t2 + t)) +
           b * (3.0 * t2 - 2.0 * t3) + arriving * (span * (t3 - t2));
}
[[nodiscard]] inline Quaternion hermite(const Quaternion& a, const Quaternion& b, const Quaternion& leaving,
                                        const Quaternion& arriving, double span, double t) {
    const auto part = [&](double Quaternion::*m) {
        return hermite(a.*m, b.*m, leaving.*m, arriving.*m, span, t);
    };
    const Quaternion sum{part(&Quaternion::x), part(&Quaternion::y), part(&Quaternion::z),
                         part(&Quaternion::w)};
    return blend(sum, sum, 0.0);  // back to unit length
}

/// A value at every time: that of the first key before it, of the last key after it, interpolated between.
template <class T>
class Track {
public:
    Track() = default;
    /// The same value at all times.
    Track(const T& value) : constant_(value) {}  // NOLINT: a value is a track
    /// @param keys  in order of time, each later than the one before; none: T{}
    Track(std::vector<Key<T>> keys, Interpolation interpolation)
        : keys_(std::move(keys)), interpolation_(interpolation) {
        if (!keys_.empty()) constant_ = keys_.front().value;
    }

    [[nodiscard]] bool moves() const noexcept { return keys_.size() > 1; }
    [[nodiscard]] T at(double time) const {
        if (!moves() || !(time > keys_.front().time)) return constant_;
        if (time >= keys_.back().time) return keys_.back().value;
        const auto after = std::upper_bound(keys_.begin(), keys_.end(), time,
                                            [](double t, const Key<T>& key) { return t < key.time; });
        return between(*(after - 1), *after, time);
    }

private:
    [[nodiscard]] T between(const Key<T>& a, const Key<T>& b, double time) const {
        const double span = b.time - a.time;
        const double t = (time - a.time) / span;
        if (interpolation_ == Interpolation::Step) return a.value;
        if (interpolation_ == Interpolation::Linear) return blend(a.value, b.value, t);
        return hermite(a.value, b.value, a.leaving, b.arriving, span, t);
    }

    T constant_{};
    std::vector<Key<T>> keys_;
    Interpolation interpolation_ = Interpolation::Linear;
};

/// How an item moves relative to its parent.
struct Motion {
    Track<Vec3> position;
    Track<Vec3> angles;  ///< heading, pitch, bank in radians; used when there is no spin
    Track<Quaternion> spin;
    bool spins = false;  ///< the rotation is `spin`
    Track<Vec3> scaling{Vec3{1.0, 1.0, 1.0}};
    Vec3 pivot;  ///< the point of the item that its rotation leaves alone

    [[nodiscard]] Axes axes(double time) const {
        return spins ? spin.at(time).axes() : axesFromAngles(angles.at(time));
    }
    [[nodiscard]] Transform at(double time) const;
};

}  // namespace kestrel::preview
