// Ends a running script from outside: the time limit and Ctrl-C.
#pragma once

#include "platform/clock.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace kestrel::cli {

/// While it lives, a time limit and the interrupt signal (Ctrl-C) set `requested`, the flag of a RunWatch or
/// of a module's KestrelRunWatch. A second interrupt ends the process in the usual way. One at a time.
class RunGuard {
public:
    /// @param seconds  time limit in seconds, 0 = none
    RunGuard(platform::SharedFlag& requested, double seconds);
    ~RunGuard();
    RunGuard(const RunGuard&) = delete;
    RunGuard& operator=(const RunGuard&) = delete;

    [[nodiscard]] bool triggered() const;
    /// In a worker, which has no timer of its own: from now on only interrupts count, and the parent sends
    /// them.
    void becomeWorker() noexcept;
    /// Why the run was ended, for the plain error: "time limit of 2 s reached" or "interrupted".
    [[nodiscard]] std::string reason() const;

private:
    double seconds_;
    bool worker_ = false;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    bool timedOut_ = false;
    std::thread timer_;
};

}  // namespace kestrel::cli
