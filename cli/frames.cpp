#include "cli/frames.h"

#include <charconv>

namespace kestrel::cli {

namespace {

constexpr std::int64_t kMostFrames = 1000000;
constexpr int kMostDigits = 20;

/// Takes a number off the front of `text`.
std::optional<std::int32_t> takeNumber(std::string_view& text) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool take(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<FrameRange> parseFrames(std::string_view text) {
    const std::optional<std::int32_t> first = takeNumber(text);
    if (!first) return std::nullopt;
    FrameRange range{*first, *first, 1};
    if (take(text, '-')) {
        const std::optional<std::int32_t> last = takeNumber(text);
        if (!last) return std::nullopt;
        range.last = *last;
        if (take(text, ':')) {
            const std::optional<std::int32_t> step = takeNumber(text);
            if (!step || *step < 1) return std::nullopt;
            range.step = *step;
        }
    }
    if (!text.empty() || range.count() < 1 || range.count() > kMostFrames) return std::nullopt;
    return range;
}

std::optional<FramePattern> FramePattern::parse(const std::string& text, std::string& error) {
    FramePattern pattern;
    std::string* part = &pattern.before_;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            *part += text[i];
            continue;
        }
        if (text.compare(i, 2, "%%") == 0) {
            *part += text[i++];
            continue;
        }
        std::string_view rest = std::string_view(text).substr(i + 1);
        const std::optional<std::int32_t> digits = rest.starts_with('-') ? std::nullopt : takeNumber(rest);
        if (!rest.starts_with('d') || digits.value_or(0) > kMostDigits || pattern.numbered_) {
            error = "\"" + text +
                    "\" is no name for frames: write one %d, or %04d for four digits, where the " +
                    "number goes, and %% for a percent sign";
            return std::nullopt;
        }
        pattern.numbered_ = true;
        pattern.digits_ = static_cast<std::size_t>(digits.value_or(0));
        i = text.size() - rest.size();
        part = &pattern.after_;
    }
    return pattern;
}

std::string FramePattern::name(std::int32_t frame) const {
    if (!numbered_) return before_;
    std::string number = std::to_string(frame);
    const std::size_t sign = frame < 0 ? 1U : 0U;
    if (number.size() < digits_) number.insert(sign, digits_ - number.size(), '0');
    return before_ + number + after_;
}

}  // namespace kestrel::cli
