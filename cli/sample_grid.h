// A grid of samples over the unit square, as shade and bench evaluate it; sizes on the command line.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <string>

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

}  // namespace kestrel::cli
