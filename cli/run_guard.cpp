#include "cli/run_guard.h"

#include "engine/values/format.h"

#include <atomic>
#include <chrono>
#include <csignal>

namespace kestrel::cli {

namespace {

// A signal handler can only reach what lies outside every object.
std::atomic<platform::SharedFlag*> requestedByInterrupt{nullptr};
volatile std::sig_atomic_t interrupted = 0;
volatile std::sig_atomic_t inWorker = 0;

static_assert(std::atomic<platform::SharedFlag*>::is_always_lock_free, "the handler must not take a lock");

extern "C" void onInterrupt(int) {
    interrupted = 1;
    if (platform::SharedFlag* requested = requestedByInterrupt.load()) *requested = 1;
    // Whoever presses a second time wants the process gone, whatever it waits for. A worker gets its parent's
    // interrupt beside that of the terminal.
    if (inWorker == 0) std::signal(SIGINT, SIG_DFL);
}

}  // namespace

RunGuard::RunGuard(platform::SharedFlag& requested, double seconds) : seconds_(seconds) {
    interrupted = 0;
    requestedByInterrupt.store(&requested);
    std::signal(SIGINT, onInterrupt);
    if (seconds_ <= 0.0) return;
    timer_ = std::thread([this, &requested] {
        std::unique_lock lock(mutex_);
        const auto limit = std::chrono::duration<double>(seconds_);
        if (!wake_.wait_for(lock, limit, [this] { return done_; })) {
            timedOut_ = true;
            requested = 1;
        }
    });
}

void RunGuard::becomeWorker() noexcept {
    worker_ = true;
    inWorker = 1;
}

RunGuard::~RunGuard() {
    if (timer_.joinable()) {
        {
            const std::lock_guard lock(mutex_);
            done_ = true;
        }
        wake_.notify_all();
        timer_.join();
    }
    std::signal(SIGINT, SIG_DFL);
    requestedByInterrupt.store(nullptr);
}

bool RunGuard::triggered() const {
    // The thread that may hold the lock does not exist in a worker.
    if (worker_) return interrupted != 0;
    const std::lock_guard lock(mutex_);
    return timedOut_ || interrupted != 0;
}

std::string RunGuard::reason() const {
    if (interrupted != 0) return "interrupted";
    return "time limit of " + formatG(seconds_) + " s reached";
}

}  // namespace kestrel::cli
