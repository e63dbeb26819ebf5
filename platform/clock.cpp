#include "platform/clock.h"

#include <algorithm>
#include <thread>

namespace kestrel::platform {

using std::chrono::steady_clock;

std::uint32_t tickCount() {
    const auto now = steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

bool pause(std::chrono::milliseconds duration, CancelFlag requested) {
    constexpr steady_clock::duration kStep = std::chrono::milliseconds(20);
    steady_clock::duration left = duration;
    steady_clock::time_point now = steady_clock::now();
    while (left > steady_clock::duration::zero()) {
        if (requested != nullptr && *requested != 0) return false;
        std::this_thread::sleep_for(requested != nullptr ? std::min(left, kStep) : left);
        const steady_clock::time_point before = now;
        now = steady_clock::now();
        left -= now - before;
    }
    return true;
}

}  // namespace kestrel::platform
