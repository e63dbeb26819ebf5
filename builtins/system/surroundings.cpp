// The machine and the time: getenv, platform, sleep, timestart, timestop.
#include "builtins/common/handlers.h"
#include "builtins/system/process_state.h"
#include "platform/clock.h"
#include "platform/environment.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kestrel::builtins {

void environmentVariable(BuiltinCall& call) {
    if (!call.arg(0).isText()) return call.failType(1);
    const std::optional<std::string> value = platform::environment(call.arg(0).text);
    if (!value) return call.result(ValueCell::ofNil());
    call.resultText(*value);
}

void machineKind(BuiltinCall& call) {
    call.resultInteger(1.0);  // INTEL, wherever it runs
}

void sleepFor(BuiltinCall& call) {
    if (!call.arg(0).isNumeric()) return call.failType(1);
    constexpr std::int64_t kLongest = 0xffffffff;  // what a 32-bit count of milliseconds holds, some 50 days
    const std::int64_t duration = std::clamp<std::int64_t>(truncate(call.arg(0).number), 0, kLongest);
    platform::pause(std::chrono::milliseconds(duration), call.ctx.cancelFlag());
    call.none();
}

void startTimer(BuiltinCall& call) {
    call.ctx.services.process->timerStart = platform::tickCount();
    call.none();
}

void stopTimer(BuiltinCall& call) {
    // The difference is right even when the count has started over in between.
    const std::uint32_t elapsed = platform::tickCount() - call.ctx.services.process->timerStart;
    call.resultNumber(elapsed * 0.001);
}

}  // namespace kestrel::builtins
