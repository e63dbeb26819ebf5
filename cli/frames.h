// Frames on the command line: which, and in which files they end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::cli {

/// `first` to `last` in steps; `last` itself need not be met.
struct FrameRange {
    std::int32_t first = 0;
    std::int32_t last = 0;
    std::int32_t step = 1;  ///< at least 1

    [[nodiscard]] std::int64_t count() const {
        return last < first ? 0 : (std::int64_t{last} - first) / step + 1;
    }
    [[nodiscard]] std::int32_t at(std::int64_t index) const {
        return static_cast<std::int32_t>(first + index * step);
    }
};

/// Reads "A", "A-B" or "A-B:STEP"; frames may be negative.
/// @return nothing when the text has another form, B lies before A, or there are more than a million frames
[[nodiscard]] std::optional<FrameRange> parseFrames(std::string_view text);

/// A file name with a place for the frame's number: "%d", or "%04d" for at least four digits; "%%" is a
/// percent sign.
class FramePattern {
public:
    /// @param error  receives a plain sentence when `text` is no such name
    [[nodiscard]] static std::optional<FramePattern> parse(const std::string& text, std::string& error);

    /// True when every frame has a name of its own.
    [[nodiscard]] bool numbered() const noexcept { return numbered_; }
    [[nodiscard]] std::string name(std::int32_t frame) const;

private:
    std::string before_;
    std::string after_;
    bool numbered_ = false;
    std::size_t digits_ = 0;
};

}  // namespace kestrel::cli
