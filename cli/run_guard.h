// Ends a running script from outside: the time limit, Ctrl-C, and whoever ends the command.
#pragma once

#include "platform/clock.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace kestrel::cli {

/// While it lives, a time limit and the signals of Ctrl-C (SIGINT), of a polite end (SIGTERM) and of a
/// terminal that goes (SIGHUP, unless it was ignored, as by nohup) set `requested`, the flag of a RunWatch or
/// of a module's KestrelRunWatch. So programs that a script waits for end with it, and no half-made file
/// stays. A second signal ends the process in the usual way. One at a time.
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
    /// Why the run was ended, for the plain error: "time limit of 2 s reached", "interrupted", "terminated".
    [[nodiscard]] std::string reason() const;

private:
    double seconds_;
    bool worker_ = false;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    bool timedOut_ = false;
    std::thread timer_;
    std::array<bool, 3> ignored_{};  // of the signals that end a run
};

}  // namespace kestrel::cli
