#include "builtins/common/handlers.h"
#include "engine/context/random_sequence.h"

#include <utility>

namespace kestrel::builtins {

void random(BuiltinCall& call) {
    const double a = call.arg(0).firstDouble();
    const double b = call.arg(1).firstDouble();
    std::int64_t lo = truncate(a);
    std::int64_t hi = truncate(b);
    // Without a choice there is no draw, and a keeps its fraction.
    if (lo == hi) return call.resultInteger(a);
    if (hi < lo) std::swap(lo, hi);
    // Draws that are too large are thrown away: the sequence of numbers is part of what scripts see. Spans
    // above 32767 never reach their upper part.
    const std::uint64_t span = static_cast<std::uint64_t>(hi) - static_cast<std::uint64_t>(lo);
    std::uint32_t r = drawRandom(call.ctx.randomState);
    while (r > span) r = drawRandom(call.ctx.randomState);
    call.resultInteger(static_cast<double>(lo) + r);
}

void randu(BuiltinCall& call) {
    if (call.argc > 1) return call.failCount();
    if (call.argc == 1) {
        if (!call.arg(0).isNumeric()) return call.failType(1);
        call.ctx.randomState = static_cast<std::uint32_t>(truncate32(call.arg(0).number));
    }
    call.resultNumber(drawRandom(call.ctx.randomState) * kPerDraw);
}

}  // namespace kestrel::builtins
