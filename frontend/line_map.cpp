#include "frontend/line_map.h"

#include <algorithm>

namespace kestrel {

void LineMap::addChanged(std::int32_t file, std::int32_t line, std::size_t columnOffset,
                         std::string_view original, std::string_view changed) {
    if (original == changed) {
        addPlain(file, line, columnOffset);
        return;
    }
    const auto forward = std::mismatch(original.begin(), original.end(), changed.begin(), changed.end());
    const auto prefix = static_cast<std::size_t>(forward.first - original.begin());
    const std::size_t longest = std::min(original.size(), changed.size()) - prefix;
    std::size_t suffix = 0;
    while (suffix < longest && original[original.size() - 1 - suffix] == changed[changed.size() - 1 - suffix])
        ++suffix;
    lines_.push_back({file, line, static_cast<std::int32_t>(columnOffset), static_cast<std::int32_t>(prefix),
                      static_cast<std::int32_t>(suffix), static_cast<std::int32_t>(original.size()),
                      static_cast<std::int32_t>(changed.size())});
}

SourcePos LineMap::at(std::int32_t line, std::int32_t column, std::int32_t endColumn) const noexcept {
    if (lines_.empty()) return {file_, line, column, endColumn};
    const auto index = static_cast<std::size_t>(std::max(line, 1) - 1);
    const Line& source = lines_[std::min(index, lines_.size() - 1)];
    if (source.prefix == kUnchanged)
        return {source.file, source.line, column + source.columnOffset, endColumn + source.columnOffset};

    const std::int32_t changedEnd = source.changedLength - source.suffix;
    const std::int32_t originalEnd = source.originalLength - source.suffix;
    const std::int32_t shift = source.originalLength - source.changedLength;
    std::int32_t start = column - 1;
    if (start >= changedEnd) {
        start += shift;
    } else {
        start = std::min(start, source.prefix);
    }
    std::int32_t end = endColumn - 1;
    if (end > changedEnd) {
        end += shift;
    } else if (end > source.prefix) {
        end = originalEnd;
    }
    end = std::max(end, start);
    return {source.file, source.line, start + 1 + source.columnOffset, end + 1 + source.columnOffset};
}

}  // namespace kestrel
