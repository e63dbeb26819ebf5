// Where words of the source hold defines: for hints about what became of them.
#pragma once

#include "engine/report/message.h"
#include "frontend/line_map.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

/// What "#define" has put in place of names. Kept only where somebody wants hints.
class DefineUses {
public:
    struct Define {
        std::string name;
        std::string text;
        SourcePos where;
    };
    /// A word of the source that is or holds a define.
    struct Use {
        std::int32_t line;
        std::int32_t column;
        std::int32_t endColumn;
        std::string word;  ///< as it is written
        const Define* define;
        [[nodiscard]] bool inside() const noexcept { return word != define->name; }
    };

    /// From now on the name has this text.
    void define(std::string_view name, std::string_view text, const SourcePos& where);
    /// The defines of a line have been replaced.
    /// @param start    where the source begins
    /// @param source   the line as it is written
    /// @param result   the line as it is scanned
    /// @param columns  for every character of the result
    void replaced(const SourcePos& start, std::string_view source, std::string_view result,
                  std::span<const ColumnSpan> columns);

    /// The word in which a place begins; null where it holds no define.
    [[nodiscard]] const Use* at(const SourcePos& where) const noexcept;
    /// The first word in the line of a place whose define hides the rest of the line by a // comment.
    [[nodiscard]] const Use* commentIn(const SourcePos& where) const noexcept;

private:
    void addUse(const SourcePos& start, std::string_view source, std::size_t from, std::size_t to);

    std::deque<Define> defines_;
    std::map<std::string, const Define*, std::less<>> latest_;                  // by name
    std::vector<std::vector<Use>> files_;                                       // by line and column
    std::map<std::pair<std::int32_t, std::int32_t>, std::size_t> commentUses_;  // file and line; into files_
};

}  // namespace kestrel
