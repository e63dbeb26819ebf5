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
    const steady_clock::time_point end = steady_clock::now() + duration;
    for (auto now = steady_clock::now(); now < end; now = steady_clock::now()) {
        if (requested != nullptr && *requested != 0) return false;
        std::this_thread::sleep_for(requested != nullptr ? std::min(end - now, kStep) : end - now);
    }
    return true;
}

}  // namespace kestrel::platform
