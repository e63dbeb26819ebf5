#include "cli/run_guard.h"

#include "engine/values/format.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>

namespace kestrel::cli {

namespace {

// A signal handler can only reach what lies outside every object.
std::atomic<platform::SharedFlag*> requestedByInterrupt{nullptr};
volatile std::sig_atomic_t endedBy = 0;  // the signal; 0: none
volatile std::sig_atomic_t inWorker = 0;

static_assert(std::atomic<platform::SharedFlag*>::is_always_lock_free, "the handler must not take a lock");

constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};

extern "C" void onEnd(int signal) {
    endedBy = signal;
    if (platform::SharedFlag* requested = requestedByInterrupt.load()) *requested = 1;
    // Whoever presses a second time wants the process gone, whatever it waits for. A worker gets its parent's
    // interrupt beside that of the terminal.
    if (inWorker == 0) std::signal(signal, SIG_DFL);
}

}  // namespace

RunGuard::RunGuard(platform::SharedFlag& requested, double seconds) : seconds_(seconds) {
    endedBy = 0;
    requestedByInterrupt.store(&requested);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        // Whoever started the command without them (nohup, a shell's job in the background) meant it.
        ignored_[i] = std::signal(kSignals[i], onEnd) == SIG_IGN;
        if (ignored_[i]) std::signal(kSignals[i], SIG_IGN);
    }
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
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        if (!ignored_[i]) std::signal(kSignals[i], SIG_DFL);
    requestedByInterrupt.store(nullptr);
}

bool RunGuard::triggered() const {
    // The thread that may hold the lock does not exist in a worker.
    if (worker_) return endedBy != 0;
    const std::lock_guard lock(mutex_);
    return timedOut_ || endedBy != 0;
}

std::string RunGuard::reason() const {
    switch (endedBy) {
        case 0:
            break;
        case SIGTERM:
            return "terminated";
        case SIGHUP:
            return "terminal gone";
        default:
            return "interrupted";
    }
    return "time limit of " + formatG(seconds_) + " s reached";
}

}  // namespace kestrel::cli
