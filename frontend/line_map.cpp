#include "frontend/line_map.h"

#include <algorithm>

namespace kestrel {

SourcePos LineMap::at(std::int32_t line, std::int32_t column, std::int32_t endColumn) const noexcept {
    if (lines_.empty()) return {file_, line, column, endColumn};
    const auto index = static_cast<std::size_t>(std::max(line, 1) - 1);
    const Line& source = lines_[std::min(index, lines_.size() - 1)];
    std::int32_t start = column - 1;
    std::int32_t end = endColumn - 1;
    if (!source.columns.empty()) {
        const auto spanAt = [&source](std::int32_t character) {
            const auto i = static_cast<std::size_t>(std::max(character, 0));
            if (i < source.columns.size()) return source.columns[i];
            const auto behind = static_cast<std::uint16_t>(source.length);
            return ColumnSpan{behind, behind};
        };
        const std::int32_t width = end - start;
        start = spanAt(start).start;
        end = width > 0 ? std::max<std::int32_t>(spanAt(end - 1).end, start) : start;
    }
    return {source.file, source.line, start + 1 + source.columnOffset, end + 1 + source.columnOffset};
}

}  // namespace kestrel
