// Bytes from and to other programs as they come and go: nobody waits for a single one of them.
#pragma once

#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <string>

namespace kestrel::platform {

/// One end of a pipe, or a standard stream. Without one it is closed.
class Channel {
public:
    Channel() = default;
    /// Takes over a descriptor of the system; -1: none.
    explicit Channel(int descriptor) noexcept : descriptor_(descriptor) {}
    /// Standard input. What others read of it is lost here.
    [[nodiscard]] static Channel standardInput();
    /// Standard output, for this channel alone: whatever else this process or the programs that it starts
    /// write there goes to standard error from here on. Writing when nobody reads any more fails and ends
    /// nothing.
    [[nodiscard]] static Channel takeStandardOutput();
    Channel(Channel&& other) noexcept;
    Channel& operator=(Channel&& other) noexcept;
    ~Channel();

    [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
    void close() noexcept;
    /// Appends what is there, at most `most` bytes. Closes the channel at its end.
    void read(std::string& bytes, std::size_t most);
    /// Writes and takes away from the front of `bytes` what finds room. Closes the channel when nobody reads
    /// any more.
    void write(std::string& bytes);

private:
    friend void waitForChannels(std::initializer_list<const Channel*> readable, const Channel* writable,
                                std::chrono::milliseconds longest);
    int descriptor_ = -1;
};

/// Waits until there is something to read, or an end, or room to write. Signals end the waiting too.
/// @param readable  closed ones count as having nothing
/// @param writable  may be null
void waitForChannels(std::initializer_list<const Channel*> readable, const Channel* writable,
                     std::chrono::milliseconds longest);

}  // namespace kestrel::platform
