// How far a long piece of work has come, for the person at the terminal.
#pragma once

#include <chrono>

namespace kestrel::cli {

/// A bar with the share that is done and the time left, redrawn in its line on standard error.
class ProgressBar {
public:
    /// @param shown  false: nothing is ever written
    explicit ProgressBar(bool shown);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// @param done  0..1
    void update(double done);
    /// Takes the bar away, to make room for other text; the next update brings it back.
    void clear();

private:
    using Clock = std::chrono::steady_clock;
    bool shown_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point lastDrawn_{};
};

}  // namespace kestrel::cli
