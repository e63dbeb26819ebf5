#include "cli/frame_output.h"

#include "cli/commands.h"
#include "preview/picture/exr.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

namespace kestrel::cli {

void addPictureOptions(CLI::App& command, PictureOptions& options) {
    command
        .add_option("-o,--output", options.output,
                    "The picture: PNG, or OpenEXR when the name ends in .exr; - is standard output")
        ->type_name("PICTURE.png|.exr");
    static const std::map<std::string, preview::View> kViews{
        {"raw", preview::View::Raw}, {"srgb", preview::View::Srgb}, {"filmic", preview::View::Filmic}};
    command
        .add_option("--view", options.tone.view,
                    "How light becomes a PNG's colours: raw (the numbers themselves), srgb (exact up to "
                    "white), filmic "
                    "(bright light rolls off as on film)")
        ->transform(CLI::CheckedTransformer(kViews).description(""))
        ->type_name("raw|srgb|filmic")
        ->default_str("filmic");
    command
        .add_option("--exposure", options.tone.exposure,
                    "Brightens a PNG by that many stops (each doubles the light)")
        ->check(numberIn(-30.0, 30.0, "stops"))
        ->type_name("STOPS")
        ->default_str("0");
    command.add_flag("--float", options.fullFloat, "OpenEXR with 32-bit numbers instead of 16");
}

bool isExr(const std::string& name) {
    constexpr std::string_view kEnding = ".exr";
    if (name.size() < kEnding.size()) return false;
    return std::equal(
        kEnding.begin(), kEnding.end(), name.end() - static_cast<std::ptrdiff_t>(kEnding.size()),
        [](char wanted, char c) { return wanted == (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
}

std::string encodePicture(const preview::Image& image, const std::string& name,
                          const PictureOptions& options) {
    if (isExr(name))
        return preview::encodeExr(image,
                                  options.fullFloat ? preview::ExrDepth::Float : preview::ExrDepth::Half);
    return preview::encodePng(image, options.tone);
}

}  // namespace kestrel::cli
