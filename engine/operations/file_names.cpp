#include "engine/operations/file_names.h"

#include <algorithm>

namespace kestrel {

std::string convertSeparators(const EngineContext& ctx, std::string_view name) {
    std::string path(name);
    if (ctx.options.literalpaths) return path;
    const auto blank = static_cast<std::ptrdiff_t>(std::min(path.find(' '), path.size()));
    std::replace(path.begin(), path.begin() + blank, '/', '\\');
    return path;
}

}  // namespace kestrel
