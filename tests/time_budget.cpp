#include "tests/time_budget.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace kestrel::test {

namespace {

/// One thread for all budgets of the process: making one for each input would cost more than the input.
class Clock {
public:
    void arm(RunWatch* watch, std::chrono::milliseconds duration) {
        const std::scoped_lock lock(mutex_);
        if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
        watch_ = watch;
        end_ = std::chrono::steady_clock::now() + duration;
        changed_.notify_one();
    }
    void disarm() {
        const std::scoped_lock lock(mutex_);
        watch_ = nullptr;
    }
    ~Clock() {
        {
            const std::scoped_lock lock(mutex_);
            ended_ = true;
            changed_.notify_one();
        }
        if (thread_.joinable()) thread_.join();
    }

private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!ended_) {
            if (watch_ == nullptr) {
                changed_.wait(lock);
            } else if (changed_.wait_until(lock, end_) == std::cv_status::timeout && watch_ != nullptr &&
                       std::chrono::steady_clock::now() >= end_) {
                watch_->requested = 1;
                watch_ = nullptr;
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread thread_;
    RunWatch* watch_ = nullptr;
    std::chrono::steady_clock::time_point end_;
    bool ended_ = false;
};

Clock& theClock() {
    static Clock clock;
    return clock;
}

}  // namespace

TimeBudget::TimeBudget(RunWatch& watch, int milliseconds) {
    theClock().arm(&watch, std::chrono::milliseconds(milliseconds));
}

TimeBudget::~TimeBudget() {
    theClock().disarm();
}

}  // namespace kestrel::test
