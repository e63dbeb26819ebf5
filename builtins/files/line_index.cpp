#include "builtins/files/line_index.h"

#include <algorithm>

namespace kestrel::builtins {

void LineIndex::add(std::string_view block) {
    if (block.empty()) return;
    const auto endAt = [this](std::size_t next) { endLine(offset_ + static_cast<std::int64_t>(next)); };
    std::size_t at = 0;
    if (pendingReturn_) {
        pendingReturn_ = false;
        if (block[0] == '\n') at = 1;
        endAt(at);
    }
    while (at < block.size()) {
        const std::size_t newline = std::min(block.find('\n', at), block.size());
        for (std::string_view line = block.substr(0, newline);;) {
            const std::size_t found = line.find('\r', at);
            if (found == std::string_view::npos) break;
            at = found + 1;
            if (at == block.size()) pendingReturn_ = true;
            if (at == newline) break;  // it belongs to the line end that follows
            endAt(at);
        }
        if (newline == block.size()) break;
        at = newline + 1;
        endAt(at);
    }
    offset_ += static_cast<std::int64_t>(block.size());
}

void LineIndex::finish() {
    if (pendingReturn_) endLine(offset_);
    pendingReturn_ = false;
}

LineIndex::Place LineIndex::find(std::int64_t line) const noexcept {
    const std::int64_t known = std::min(line / stride_, static_cast<std::int64_t>(starts_.size()) - 1);
    return {starts_[static_cast<std::size_t>(known)], line - known * stride_};
}

void LineIndex::endLine(std::int64_t nextStart) {
    ++lineCount_;
    if (--untilNext_ > 0) return;
    untilNext_ = stride_;
    starts_.push_back(nextStart);
    if (starts_.size() <= kMostStarts) return;
    for (std::size_t i = 0; 2 * i < starts_.size(); ++i) starts_[i] = starts_[2 * i];
    starts_.resize((starts_.size() + 1) / 2);
    stride_ *= 2;
    // kMostStarts is even, so the start that was kept last is still the last.
    untilNext_ = stride_;
}

}  // namespace kestrel::builtins
