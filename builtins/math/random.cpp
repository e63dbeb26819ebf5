#include "builtins/common/handlers.h"

#include <utility>

namespace kestrel::builtins {

namespace {

constexpr double kPerDraw = 3.051850947599719e-5;  // 1 / 32767

/// The next of 0 to 32767. Each script has a sequence of its own, so a frame is the same on every machine.
std::uint32_t draw(EngineContext& ctx) {
    ctx.randomState = ctx.randomState * 214013u + 2531011u;
    return (ctx.randomState >> 16) & 0x7FFFu;
}

}  // namespace

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
    std::uint32_t r = draw(call.ctx);
    while (r > span) r = draw(call.ctx);
    call.resultInteger(static_cast<double>(lo) + r);
}

void randu(BuiltinCall& call) {
    if (call.argc > 1) return call.failCount();
    if (call.argc == 1) {
        if (!call.arg(0).isNumeric()) return call.failType(1);
        call.ctx.randomState = static_cast<std::uint32_t>(truncate32(call.arg(0).number));
    }
    call.resultNumber(draw(call.ctx) * kPerDraw);
}

}  // namespace kestrel::builtins
