// Memory for what one call hands to a library.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrel::agents {

/// Blocks that all go at once, and whose memory is used again by the next call. A library that keeps a text
/// or elements of an array too long, against the rules, so reads those of another call; it never reads memory
/// that is gone or, for a text, past what is ours. That does not hold for the memory of very large calls,
/// which is given back.
class CallArena {
public:
    CallArena() = default;
    CallArena(const CallArena&) = delete;
    CallArena& operator=(const CallArena&) = delete;

    /// @return a block aligned for any record. Errors: throws std::bad_alloc, also for a call beyond 256 MiB
    [[nodiscard]] void* take(std::size_t size);
    /// A copy with a zero byte at its end.
    [[nodiscard]] const char* text(std::string_view text);
    void clear() noexcept;

private:
    struct Piece {
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0;
    };

    std::vector<Piece> pieces_;
    std::size_t current_ = 0;  ///< of pieces_
    std::size_t used_ = 0;     ///< of the current piece
};

}  // namespace kestrel::agents
