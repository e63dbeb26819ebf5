// Time as scripts measure it, and waiting.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kestrel::platform {

/// A word that signal handlers and other threads may set.
using SharedFlag = std::atomic<std::int32_t>;
static_assert(SharedFlag::is_always_lock_free, "signal handlers set it");
/// Where somebody says that a wait is to end early: any value but 0. May be null: nobody ever does.
using CancelFlag = const SharedFlag*;

/// Milliseconds since some moment in the past. The count never goes back but starts over after 2^32 of them.
[[nodiscard]] std::uint32_t tickCount();

/// Suspends the calling thread, in steps of at most 20 ms between which it looks at the flag.
/// @return false when the flag ended it early
bool pause(std::chrono::milliseconds duration, CancelFlag requested);

}  // namespace kestrel::platform
