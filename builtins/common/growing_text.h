// A text under construction.
#pragma once

#include "engine/context/context.h"

#include <cstddef>
#include <string_view>

namespace kestrel::builtins {

/// Collects a text in the script's pool, so that one that grows without end ends the run with the message
/// about exhausted memory instead of eating the machine. Its room is kept for the next text.
class GrowingText {
public:
    explicit GrowingText(EngineContext& ctx) noexcept : ctx_(ctx) {}
    ~GrowingText() { release(); }
    GrowingText(const GrowingText&) = delete;
    GrowingText& operator=(const GrowingText&) = delete;

    /// @return false after reporting memory exhaustion (the abort flag is set)
    bool append(std::string_view piece);
    /// The same for `count` times one character.
    bool append(std::size_t count, char c);
    /// Forgets the text; the room of a very long one is given back.
    void clear() noexcept;
    [[nodiscard]] std::string_view view() const noexcept { return {data_, size_}; }

private:
    bool makeRoom(std::size_t more);
    void release() noexcept;

    EngineContext& ctx_;
    char* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
};

}  // namespace kestrel::builtins
