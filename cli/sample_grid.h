// A grid of samples over the unit square, as shade and bench evaluate it; sizes on the command line.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kestrel::cli {

struct GridSize {
    std::int32_t width = 0;
    std::int32_t height = 0;
    [[nodiscard]] std::int64_t count() const { return static_cast<std::int64_t>(width) * height; }
};

/// Adds an option of the form WxH that stores into `size`; its help tells the value that `size` has now, if
/// any.
CLI::Option* addSizeOption(CLI::App& command, const std::string& name, GridSize& size,
                           const std::string& description);

/// Puts a sample at pixel x, y of the grid: u, v in 0..1 at the pixel's centre in oPos and wPos (z 0), and
/// the pixel in sx, sy.
void placeInGrid(ShadingSample& sample, const GridSize& grid, std::int32_t x, std::int32_t y);

/// The samples of a grid in order, row by row, some at a time.
class GridSamples {
public:
    /// @param grid    outlives this
    /// @param preset  what they have beside their place
    /// @param most    at a time: 32 stay in the processor's first cache, some hundred in the second
    GridSamples(const GridSize& grid, const ShadingSample& preset, std::int64_t most);

    /// @return the next samples, none after the last; until it is asked again
    [[nodiscard]] std::span<ShadingSample> next();

private:
    const GridSize& grid_;
    const std::vector<ShadingSample> presets_;
    std::vector<ShadingSample> buffer_;
    std::int32_t x_ = 0;
    std::int32_t y_ = 0;
};

}  // namespace kestrel::cli
