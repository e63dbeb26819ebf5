// Semaphores that the programs of one user share by name.
#pragma once

#include "platform/clock.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kestrel::platform {

/// A semaphore with a count of at most 1. It knows which program holds it, so that one that died while it
/// did is noticed by those that wait. Forgetting it leaves the name alone: remove() takes that away.
class NamedSemaphore {
public:
    enum class Count {
        Free,   ///< 1: the next to wait gets it
        Taken,  ///< 0: held by the program that makes it, until that releases it
    };
    /// Makes a semaphore. One of that name that exists is removed before.
    /// @return nothing when it cannot be made
    [[nodiscard]] static std::optional<NamedSemaphore> create(std::string_view name, Count count);
    /// Opens a semaphore, or makes one that is free.
    /// @return nothing when neither can be done
    [[nodiscard]] static std::optional<NamedSemaphore> openOrCreate(std::string_view name);
    /// Opens a semaphore that exists.
    [[nodiscard]] static std::optional<NamedSemaphore> open(std::string_view name);

    NamedSemaphore(NamedSemaphore&& other) noexcept;
    NamedSemaphore& operator=(NamedSemaphore&& other) noexcept;
    ~NamedSemaphore();

    enum class Wait {
        Acquired,
        Recovered,  ///< acquired from a program that died holding it: what it guards may be half done
        Cancelled,  ///< the flag said so
        TimedOut,
        Removed,  ///< somebody took the semaphore away; the name may lead to another by now
    };
    /// Waits until nobody holds the semaphore, and holds it. Whether the holder lives, and the flag, are
    /// looked at ten times a second: a shorter wait notices neither.
    [[nodiscard]] Wait acquire(CancelFlag requested, std::optional<std::chrono::milliseconds> longest = {});
    /// Lets the next one in. Nothing happens when this program does not hold the semaphore.
    void release();
    /// Takes the semaphore away from everybody and its name with it. Held by another, it stays.
    /// @return false then
    bool remove();

    /// Counts the releases. Whoever waits for another program to act looks at the count, looks whether that
    /// has acted, and waits for the count to change.
    [[nodiscard]] std::uint32_t releases() const noexcept;
    /// Waits until there was a release after `seen` was looked up, at most that long.
    void waitForRelease(std::uint32_t seen, std::chrono::milliseconds longest) const;

private:
    struct Shared;
    struct Identity {
        std::int32_t process = 0;
        std::uint32_t started = 0;
    };
    NamedSemaphore(std::string object, Shared* shared) noexcept
        : object_(std::move(object)), shared_(shared) {}
    [[nodiscard]] static std::optional<NamedSemaphore> map(std::string object, int descriptor);
    static void clearName(const std::string& object);
    [[nodiscard]] std::uint64_t self();

    std::string object_;  // the name as the system knows it
    Shared* shared_ = nullptr;
    Identity self_;  // of the program at its last wait; a copy of the process is another program
};

}  // namespace kestrel::platform
