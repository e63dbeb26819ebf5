// Where the lines of a preprocessed script come from.
#pragma once

#include "engine/message.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kestrel {

/// For every line that the scanner reads: the true file and line, and how its columns map to true columns.
class LineMap {
public:
    LineMap() = default;
    /// A file that is scanned as it stands.
    static LineMap identity(std::int32_t file) {
        LineMap map;
        map.file_ = file;
        return map;
    }

    /// Appends a line that is shown as it stands in the file, from this 0-based column on.
    void addPlain(std::int32_t file, std::int32_t line, std::size_t columnOffset) {
        lines_.push_back({file, line, static_cast<std::int32_t>(columnOffset), kUnchanged, 0, 0, 0});
    }
    /// Appends a line in which defines have been replaced: what text of it begins and ends alike keeps its
    /// columns, everything between is mapped to the whole of what was replaced.
    void addChanged(std::int32_t file, std::int32_t line, std::size_t columnOffset, std::string_view original,
                    std::string_view changed);

    /// @param line         line of the scanner's input, from 1
    /// @param column       from 1
    /// @param endColumn    one past the last character
    [[nodiscard]] SourcePos at(std::int32_t line, std::int32_t column, std::int32_t endColumn) const noexcept;

private:
    static constexpr std::int32_t kUnchanged = -1;
    struct Line {
        std::int32_t file;
        std::int32_t line;
        std::int32_t columnOffset;
        std::int32_t prefix;  // characters before the first change; kUnchanged: none was made
        std::int32_t suffix;  // characters after the last change
        std::int32_t originalLength;
        std::int32_t changedLength;
    };
    std::vector<Line> lines_;  // empty: an identity map of file_
    std::int32_t file_ = -1;
};

}  // namespace kestrel
