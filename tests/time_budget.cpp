#include "tests/time_budget.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace kestrel::test {

namespace {

using Time = std::chrono::steady_clock::time_point;

/// One thread for all budgets of the process: making one for each input would cost more than the input.
class Clock {
public:
    void set(RunWatch* watch, Time end) {
        const std::scoped_lock lock(mutex_);
        watch_ = watch;
        end_ = end;
        changed_.notify_one();
    }

private:
    void run(const std::stop_token& stop) {
        std::unique_lock lock(mutex_);
        while (!stop.stop_requested()) {
            changed_.wait(lock, stop, [this] { return watch_ != nullptr; });
            const Time end = end_;
            const auto changed = [&] { return watch_ == nullptr || end_ != end; };
            if (!changed_.wait_until(lock, stop, end, changed) && !stop.stop_requested()) {
                watch_->requested = 1;
                watch_ = nullptr;
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable_any changed_;
    RunWatch* watch_ = nullptr;
    Time end_;
    std::jthread thread_{[this](const std::stop_token& stop) { run(stop); }};
};

Clock& theClock() {
    static Clock clock;
    return clock;
}

}  // namespace

TimeBudget::TimeBudget(RunWatch& watch, int milliseconds) {
    theClock().set(&watch, std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds));
}

TimeBudget::~TimeBudget() {
    theClock().set(nullptr, {});
}

}  // namespace kestrel::test
