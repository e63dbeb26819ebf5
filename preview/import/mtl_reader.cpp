#include "preview/import/mtl_reader.h"

#include "preview/import/input_file.h"
#include "preview/import/text_lines.h"

#include <algorithm>

namespace kestrel::preview {

namespace {

Vec3 color(TextLines& lines) {
    const double red = lines.number();
    // One number is a grey; files that name a spectrum instead are rare and end as an error.
    const std::string_view rest = lines.name();
    if (rest.empty()) return {red, red, red};
    const double green = lines.number();
    return {red, green, lines.number()};
}

double share(double value) {
    return std::clamp(value, 0.0, 1.0);
}

void readEntry(std::string_view word, TextLines& lines, const std::string& file, SurfaceEntry& entry) {
    Surface& plain = entry.plain;
    if (word == "Kd") {
        plain.color = color(lines);
    } else if (word == "Ks") {
        plain.specular = share(largest(color(lines)));
    } else if (word == "Ke") {
        const Vec3 glow = color(lines);
        plain.luminous = std::max(0.0, largest(glow));
        if (plain.luminous > 0.0 && plain.color == Vec3{}) plain.color = glow * (1.0 / plain.luminous);
    } else if (word == "Ni") {
        plain.eta = std::max(0.0, lines.number());
    } else if (word == "d") {
        plain.transparency = share(1.0 - lines.number());
    } else if (word == "Tr") {
        plain.transparency = share(lines.number());
    } else if (word == "Ns") {
        // The exponent of a highlight as the width of one; 1000 and more is a polished surface.
        plain.roughness = share(std::sqrt(2.0 / (std::max(0.0, lines.number()) + 2.0)));
    } else if (word == "kestrel") {
        entry.script = pathBeside(file, std::string(lines.name()));
    }
}

}  // namespace

std::vector<SurfaceEntry> readMtl(const std::string& file, std::string_view text) {
    std::vector<SurfaceEntry> entries;
    TextLines lines(file, text);
    while (lines.next()) {
        const std::string_view word = lines.word();
        if (word == "newmtl") {
            if (entries.size() >= ImportLimits::kSurfaces) lines.fail("too many materials");
            entries.emplace_back().name = lines.name();
        } else if (!entries.empty()) {
            readEntry(word, lines, file, entries.back());
        }
    }
    return entries;
}

}  // namespace kestrel::preview
