#include "cli/debugger/interrupt.h"

#include <csignal>
#include <utility>

namespace kestrel::cli {

namespace {

// A signal handler can only reach what lies outside every object.
platform::SharedFlag interrupted{0};

extern "C" void onDebuggerInterrupt(int) {
    interrupted = 1;
}

}  // namespace

Interrupt::Interrupt(On on) : on_(on) {
    interrupted = 0;
    std::signal(SIGINT, onDebuggerInterrupt);
    if (on_ == On::Termination) std::signal(SIGTERM, onDebuggerInterrupt);
}

Interrupt::~Interrupt() {
    std::signal(SIGINT, SIG_DFL);
    if (on_ == On::Termination) std::signal(SIGTERM, SIG_DFL);
}

platform::CancelFlag Interrupt::flag() const noexcept {
    return &interrupted;
}

bool Interrupt::take() noexcept {
    if (interrupted == 0) return false;
    interrupted = 0;
    return true;
}

}  // namespace kestrel::cli
