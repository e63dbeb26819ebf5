// Where the lines of a text file begin.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kestrel::builtins {

/// Counts the lines of a text and remembers where some of them begin. A line ends with a LF, a CR and a LF,
/// or a CR alone; what follows the last line end is no line.
///
/// Every beginning is kept as it was when the text was taken in, whatever is written into the file later.
/// Where there are too many, every second one goes, so that the index of the largest file stays small; from
/// the one before the wanted line on the reader counts lines itself.
class LineIndex {
public:
    /// Takes in the next piece of the text.
    void add(std::string_view block);
    /// Tells that the text is over.
    void finish();

    [[nodiscard]] std::int64_t lineCount() const noexcept { return lineCount_; }

    /// The beginning of a line, and how many lines later the wanted one begins.
    struct Place {
        std::int64_t offset = 0;
        std::int64_t linesToSkip = 0;
    };
    /// @param line  from 0, at most lineCount()
    [[nodiscard]] Place find(std::int64_t line) const noexcept;

    static constexpr std::size_t kMostStarts = std::size_t{1} << 18;

private:
    void endLine(std::int64_t nextStart);

    std::vector<std::int64_t> starts_ = {0};  ///< of the lines 0, stride_, 2 * stride_ ...
    std::int64_t stride_ = 1;
    std::int64_t untilNext_ = 1;  ///< line ends until the next start to keep
    std::int64_t lineCount_ = 0;
    std::int64_t offset_ = 0;     ///< of the next block
    bool pendingReturn_ = false;  ///< the last block ended with a CR
};

}  // namespace kestrel::builtins
