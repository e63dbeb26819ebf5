#include "preview/render/environment.h"

#include "preview/render/optics.h"

#include <algorithm>
#include <numbers>

namespace kestrel::preview {

namespace {

using std::numbers::pi;

constexpr int kRows = 128;      // of a sky that is made of formulas
constexpr int kMostRows = 512;  // of a panorama
constexpr double kLeastLight =
    1e-3;  // share of the average that a dark cell counts for: no direction is ruled out

/// A rectangle around the sphere: longitude across, and height down, so that equal parts of it are equal
/// parts of the sphere. Source: Lambert's cylindrical equal-area projection
Vec3 directionAt(double across, double down) {
    const double longitude = (across - 0.5) * 2.0 * pi;
    const double height = 1.0 - 2.0 * down;
    const double away = std::sqrt(std::max(0.0, 1.0 - height * height));
    return {away * std::sin(longitude), height, away * std::cos(longitude)};
}

std::size_t size(int count) {
    return static_cast<std::size_t>(count);
}

/// The place of `u` among rising shares that begin with 0 and end with 1.
int placeOf(const double* shares, int count, double u) {
    const double* after = std::upper_bound(shares + 1, shares + count, u);
    return static_cast<int>(after - shares) - 1;
}

/// Where `u` lies in its own cell, 0..1.
double within(const double* shares, int place, double u) {
    const double span = shares[place + 1] - shares[place];
    return span > 0.0 ? std::min((u - shares[place]) / span, 1.0) : 0.5;
}

/// Turns values into the shares before each of them. @return their sum
double accumulate(double* shares, int count) {
    double sum = 0.0;
    for (int i = 0; i <= count; ++i) {
        const double value = i < count ? shares[i] : 0.0;
        shares[i] = sum;
        sum += value;
    }
    if (sum > 0.0) {
        for (int i = 0; i <= count; ++i) shares[i] /= sum;
    }
    return sum;
}

}  // namespace

Environment::Environment(const Sky& sky) : columns_(2 * kRows), rows_(kRows), down_(size(kRows) + 1) {
    if (sky.panorama != nullptr) {
        rows_ = std::clamp(sky.panorama->height, 1, kMostRows);
        columns_ = 2 * rows_;
        down_.assign(size(rows_) + 1, 0.0);
    }
    light_.resize(size(rows_) * size(columns_));
    along_.resize(size(rows_) * size(columns_ + 1));
    fill(sky);
}

void Environment::fill(const Sky& sky) {
    // Panoramas with more pixels than cells are looked at several times per cell.
    const int looks = sky.panorama == nullptr ? 1 : std::clamp(sky.panorama->height / rows_, 1, 8);
    double sum = 0.0;
    double least = std::numeric_limits<double>::infinity();
    double most = 0.0;
    for (int row = 0; row < rows_; ++row) {
        for (int column = 0; column < columns_; ++column) {
            double light = 0.0;
            for (int i = 0; i < looks * looks; ++i) {
                light += luminance(sky.color(directionAt((column + (i % looks + 0.5) / looks) / columns_,
                                                         (row + (i / looks + 0.5) / looks) / rows_)));
            }
            light /= looks * looks;
            if (!std::isfinite(light)) light = 0.0;
            light_[size(row) * size(columns_) + size(column)] = static_cast<float>(light);
            sum += light;
            least = std::min(least, light);
            most = std::max(most, light);
        }
    }
    varied_ = sum > 0.0 && most - least > 1e-6 * most;
    if (!varied_) return;
    const double floor = kLeastLight * sum / (rows_ * columns_);
    for (int row = 0; row < rows_; ++row) {
        double* shares = along_.data() + size(row) * size(columns_ + 1);
        const float* light = light_.data() + size(row) * size(columns_);
        for (int column = 0; column < columns_; ++column) {
            shares[column] = std::max(floor, static_cast<double>(light[column]));
        }
        down_[size(row)] = accumulate(shares, columns_);
    }
    const double average = accumulate(down_.data(), rows_) / (rows_ * columns_);
    for (float& light : light_) {
        light = static_cast<float>(std::max(floor, static_cast<double>(light)) / average / (4.0 * pi));
    }
}

Environment::Drawn Environment::draw(UnitPoint place) const {
    const int row = placeOf(down_.data(), rows_, place.v);
    const double* shares = along_.data() + size(row) * size(columns_ + 1);
    const int column = placeOf(shares, columns_, place.u);
    const double down = (row + within(down_.data(), row, place.v)) / rows_;
    const double across = (column + within(shares, column, place.u)) / columns_;
    return {directionAt(across, down),
            static_cast<double>(light_[size(row) * size(columns_) + size(column)])};
}

double Environment::density(const Vec3& direction) const {
    const double across = std::atan2(direction.x, direction.z) / (2.0 * pi) + 0.5;
    const int row = std::clamp(static_cast<int>((0.5 - 0.5 * direction.y) * rows_), 0, rows_ - 1);
    const int column = std::clamp(static_cast<int>(across * columns_), 0, columns_ - 1);
    return static_cast<double>(light_[size(row) * size(columns_) + size(column)]);
}

}  // namespace kestrel::preview
