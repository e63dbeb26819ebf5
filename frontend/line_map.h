// Where the lines of a preprocessed script come from.
#pragma once

#include "engine/report/message.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace kestrel {

/// The characters of a source line that one character of the changed line stands for: 0-based, half open.
/// No source line is longer than 510 characters.
struct ColumnSpan {
    std::uint16_t start;
    std::uint16_t end;
};

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
        lines_.push_back({file, line, static_cast<std::int32_t>(columnOffset), 0, {}});
    }
    /// Appends a line in which defines have been replaced.
    /// @param length   of the line in the file
    /// @param columns  for every character of the changed line
    void addChanged(std::int32_t file, std::int32_t line, std::size_t columnOffset, std::size_t length,
                    std::vector<ColumnSpan> columns) {
        lines_.push_back({file, line, static_cast<std::int32_t>(columnOffset),
                          static_cast<std::int32_t>(length), std::move(columns)});
    }

    /// @param line         line of the scanner's input, from 1
    /// @param column       from 1
    /// @param endColumn    one past the last character
    [[nodiscard]] SourcePos at(std::int32_t line, std::int32_t column, std::int32_t endColumn) const noexcept;

private:
    struct Line {
        std::int32_t file;
        std::int32_t line;
        std::int32_t columnOffset;
        std::int32_t length;              // of a changed line in the file
        std::vector<ColumnSpan> columns;  // empty: unchanged
    };
    std::vector<Line> lines_;  // empty: an identity map of file_
    std::int32_t file_ = -1;
};

}  // namespace kestrel
