// Blocks of memory that the programs of one user share by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestrel::platform {

/// A block of memory with a name, by which other programs of the same user find it. Whoever made it owns it,
/// as does who joins it, until it lets go or ends, however that happens. The last program that has the block
/// open takes its name away.
///
/// A block that belongs to another user, or that others may write, is none. Names may hold any characters.
class NamedMemory {
public:
    /// Makes a block of zeros. What an owner that is gone has left under the name is replaced: programs that
    /// still have that block open keep it, and see superseded().
    /// @return nothing when the owner of that name lives, or the block cannot be made
    [[nodiscard]] static std::optional<NamedMemory> create(std::string_view name, std::size_t size);
    /// Opens a block that has an owner and owns it, too.
    /// @return nothing when there is no such block
    [[nodiscard]] static std::optional<NamedMemory> join(std::string_view name);
    /// Opens a block as it is.
    /// @return nothing when there is no such block
    [[nodiscard]] static std::optional<NamedMemory> open(std::string_view name);

    NamedMemory(NamedMemory&& other) noexcept;
    NamedMemory& operator=(NamedMemory&& other) noexcept;
    ~NamedMemory();

    [[nodiscard]] std::span<std::byte> bytes() const noexcept { return bytes_; }
    /// True while anybody owns the block.
    [[nodiscard]] bool ownerLives() const;
    /// True when the name does not lead here any more.
    [[nodiscard]] bool superseded() const;
    /// Says that this program is about to let go. From then on it only counts whether others have the block.
    /// @return true when none has: nobody will open the block any more, and its name goes with this object
    [[nodiscard]] bool leave();

private:
    NamedMemory(std::string object, int descriptor, std::span<std::byte> bytes, bool owner) noexcept;
    void close() noexcept;

    std::string object_;  // the name as the system knows it
    int descriptor_ = -1;
    std::span<std::byte> bytes_;
    bool owner_ = false;
    bool left_ = false;
    bool last_ = false;
    std::int32_t process_ = 0;  // a copy of the program that opened the block leaves its name alone
};

}  // namespace kestrel::platform
