#include "agents/call_arena.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace kestrel::agents {

namespace {

constexpr std::size_t kFirstPiece = 4096;
constexpr std::size_t kKept = std::size_t{16} << 20;   ///< more than this is given back after a call
constexpr std::size_t kMost = std::size_t{256} << 20;  ///< of one call
constexpr std::size_t kAlign = alignof(double);

}  // namespace

void* CallArena::take(std::size_t size) {
    const std::size_t wanted = (size + kAlign - 1) / kAlign * kAlign;
    while (current_ < pieces_.size() && pieces_[current_].size - used_ < wanted) {
        ++current_;
        used_ = 0;
    }
    if (current_ == pieces_.size()) {
        const std::size_t last = pieces_.empty() ? kFirstPiece / 2 : pieces_.back().size;
        const std::size_t room = std::max(wanted, std::min(2 * last, kKept / 2));
        std::size_t total = room;
        for (const Piece& piece : pieces_) total += piece.size;
        if (wanted > kMost || total > kMost) throw std::bad_alloc();
        // One byte more, always zero: where the texts of an earlier call end at the latest.
        Piece piece{std::make_unique_for_overwrite<char[]>(room + 1), room};
        piece.bytes[room] = '\0';
        pieces_.push_back(std::move(piece));
    }
    char* const block = pieces_[current_].bytes.get() + used_;
    used_ += wanted;
    return block;
}

const char* CallArena::text(std::string_view text) {
    auto* const copy = static_cast<char*>(take(text.size() + 1));
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

void CallArena::clear() noexcept {
    current_ = 0;
    used_ = 0;
    std::size_t total = 0;
    std::size_t kept = 0;
    while (kept < pieces_.size() && total + pieces_[kept].size <= kKept) total += pieces_[kept++].size;
    pieces_.resize(kept);
}

}  // namespace kestrel::agents
