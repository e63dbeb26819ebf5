// Finds the bright parts of a sky.
#pragma once

#include "preview/math/sampling.h"
#include "preview/scene/sky.h"

#include <vector>

namespace kestrel::preview {

/// Draws directions in which a sky is bright more often than others: a grid of equal parts of
/// the sphere with the light that comes from each.
class Environment {
public:
    explicit Environment(const Sky& sky);

    struct Drawn {
        Vec3 direction;
        double density = 0.0;  ///< per steradian
    };
    [[nodiscard]] Drawn draw(UnitPoint place) const;
    /// How densely draw() covers a direction, per steradian.
    [[nodiscard]] double density(const Vec3& direction) const;

    /// False for a sky that is black, or the same everywhere: looking for its bright parts is no use.
    [[nodiscard]] bool varied() const noexcept { return varied_; }

private:
    void fill(const Sky& sky);

    int columns_;
    int rows_;
    bool varied_ = false;
    std::vector<float> light_;   // by cell: the density of directions that are drawn in it
    std::vector<double> along_;  // by row, columns_ + 1 each: the share of the row's light before a column
    std::vector<double> down_;   // the share of all light before a row
};

}  // namespace kestrel::preview
