#include "cli/sample_grid.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstring>

namespace kestrel::cli {

namespace {

constexpr std::int32_t kLargestSide = 8192;

bool readSide(const char*& at, const char* end, std::int32_t& side) {
    const auto [next, problem] = std::from_chars(at, end, side);
    const bool valid = problem == std::errc{} && side >= 1 && side <= kLargestSide;
    at = next;
    return valid;
}

bool parseSize(const std::string& text, GridSize& size) {
    const char* at = text.data();
    const char* end = at + text.size();
    GridSize read;
    if (!readSide(at, end, read.width) || at == end || *at++ != 'x') return false;
    if (!readSide(at, end, read.height) || at != end) return false;
    size = read;
    return true;
}

}  // namespace

CLI::Option* addSizeOption(CLI::App& command, const std::string& name, GridSize& size,
                           const std::string& description) {
    CLI::Option* option = command.add_option_function<std::string>(
        name,
        [&size, name](const std::string& text) {
            if (parseSize(text, size)) return;
            throw CLI::ValidationError(
                name, "'" + text + "' is not WxH with sides of 1 to " + std::to_string(kLargestSide));
        },
        description);
    option->type_name("WxH");
    if (size.width > 0) option->default_str(std::to_string(size.width) + "x" + std::to_string(size.height));
    return option;
}

void placeInGrid(ShadingSample& sample, const GridSize& grid, std::int32_t x, std::int32_t y) {
    sample.sx = x;
    sample.sy = y;
    sample.oPos[0] = sample.wPos[0] = (x + 0.5) / grid.width;
    sample.oPos[1] = sample.wPos[1] = (y + 0.5) / grid.height;
    sample.oPos[2] = sample.wPos[2] = 0.0;
}

GridSamples::GridSamples(const GridSize& grid, const ShadingSample& preset, std::int64_t most)
    : grid_(grid),
      presets_(static_cast<std::size_t>(std::min(most, grid.count())), preset),
      buffer_(presets_) {}

std::span<ShadingSample> GridSamples::next() {
    // All at once takes a third of the time of one after the other.
    std::memcpy(buffer_.data(), presets_.data(), presets_.size() * sizeof(ShadingSample));
    std::size_t count = 0;
    for (; count < buffer_.size() && y_ < grid_.height; ++count) {
        placeInGrid(buffer_[count], grid_, x_, y_);
        if (++x_ < grid_.width) continue;
        x_ = 0;
        ++y_;
    }
    return {buffer_.data(), count};
}

}  // namespace kestrel::cli
