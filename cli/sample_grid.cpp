#include "cli/sample_grid.h"

#include <CLI/CLI.hpp>
#include <charconv>

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

}  // namespace kestrel::cli
