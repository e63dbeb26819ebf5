#include "engine/fast/threaded.h"

#include "engine/fast/outside_call.h"
#include "engine/fast/threaded_steps.h"
#include "platform/clock.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

// Labels as values are how each step gets an indirect jump of its own, which processors predict far better
// than one that all share.
#pragma GCC diagnostic ignored "-Wpedantic"

namespace kestrel::fast {

namespace {

/// A constant register holds where the log is.
UndoLog& undoOf(Word place) noexcept {
    return *reinterpret_cast<UndoLog*>(place.whole);  // NOLINT: see above
}

/// Runs steps; or, without any, tells where the handlers are.
/// @param registers  beside constants nothing in them outlives a run
[[gnu::noinline]] Ending execute(const Step* step, Word* registers, unsigned char* record,
                                 Handlers* handlers) noexcept {
    static const void* const kLabels[] = {
#define KESTREL_FAST_COMPUTED(name, result, a, b, sort) &&L_##name,
#include "engine/fast/ops.def"
#define KESTREL_FAST_TEST(name, a, b) \
    &&L_JumpIf##name, &&L_JumpUnless##name, &&L_LeaveIf##name, &&L_LeaveUnless##name,
#include "engine/fast/ops.def"
#define X(name, ...) &&L_##name,
        KESTREL_SUPERINSTRUCTIONS(X)
#undef X
#define X(name) &&L_##name,
            KESTREL_OTHER_STEPS(X)
#undef X
    };
    static_assert(std::size(kLabels) == static_cast<std::size_t>(Kind::Count));
    if (step == nullptr) {
        std::copy(std::begin(kLabels), std::end(kLabels), handlers->begin());
        return {};
    }

#define FIRST registers[step->a]
#define SECOND registers[step->b]
#define THIRD registers[step->c]
#define TO registers[step->to]
#define LEFT Ending::left(step->to)
#define GO goto * step->handler
#define NEXT \
    ++step;  \
    GO
    GO;

#define KESTREL_FAST_COMPUTED(name, result, a, b, sort) \
    L_##name : TO = compute(Op::name, FIRST, SECOND);   \
    NEXT;
#include "engine/fast/ops.def"
#define TEST(name) compute(Op::name, FIRST, SECOND).whole != 0
#define KESTREL_FAST_TEST(name, a, b)                                  \
    L_JumpIf##name : step = TEST(name) ? step->target : step + 1;      \
    GO;                                                                \
    L_JumpUnless##name : step = TEST(name) ? step + 1 : step->target;  \
    GO;                                                                \
    L_LeaveIf##name : if (TEST(name)) [[unlikely]] return LEFT;        \
    NEXT;                                                              \
    L_LeaveUnless##name : if (!(TEST(name))) [[unlikely]] return LEFT; \
    NEXT;
#include "engine/fast/ops.def"
    using namespace expressions;  // NOLINT: of the table
#define X(name, ...)                                   \
    L_##name : TO = __VA_ARGS__::of(*step, registers); \
    NEXT;
    KESTREL_SUPERINSTRUCTIONS(X)
#undef X
L_JumpIfTrue:
    step = FIRST.whole != 0 ? step->target : step + 1;
    GO;
L_JumpUnlessTrue:
    step = FIRST.whole != 0 ? step + 1 : step->target;
    GO;
L_LeaveIfTrue:
    if (FIRST.whole != 0) [[unlikely]]
        return LEFT;
    NEXT;
L_LeaveUnlessTrue:
    if (FIRST.whole == 0) [[unlikely]]
        return LEFT;
    NEXT;
L_LeaveUnlessNearer:
    if (!(std::fabs(FIRST.real) < SECOND.real)) [[unlikely]]
        return LEFT;
    NEXT;
L_ToWhole32 : {
    const std::int64_t value = convert(FIRST.real);
    if (value != low32(value)) [[unlikely]]
        return Ending::left(step->imm.whole);
    TO.whole = value;
    NEXT;
}
L_Call1:
    TO.real = step->imm.one(FIRST.real);
    NEXT;
L_Call2:
    TO.real = step->imm.two(FIRST.real, SECOND.real);
    NEXT;
L_Ask:
    TO.whole = OutsideCall::run(static_cast<OutsideCall*>(step->imm.address), record);
    NEXT;
L_Choose:
    TO = FIRST.whole != 0 ? SECOND : THIRD;
    NEXT;
L_LoadReal:
    TO.real = *static_cast<const double*>(step->imm.address);
    NEXT;
L_LoadWord:
    TO.whole = *static_cast<const std::uint32_t*>(step->imm.address);
    NEXT;
L_LoadRecordReal:
    std::memcpy(&TO.real, record + step->imm.whole, sizeof(double));
    NEXT;
L_LoadRecordTwo:
    std::memcpy(&TO.real, record + step->imm.whole, sizeof(double));
    std::memcpy(&SECOND.real, record + step->c, sizeof(double));
    NEXT;
L_LoadRecordWhole : {
    std::int32_t value;
    std::memcpy(&value, record + step->imm.whole, sizeof value);
    TO.whole = value;
    NEXT;
}
L_LoadElement:
    TO.real = *elementAt<double>(*step, FIRST.whole);
    NEXT;
L_LoadElementKind:
    TO.whole = *elementAt<std::int32_t>(*step, FIRST.whole);
    NEXT;
L_Copy:
    TO = FIRST;
    NEXT;
L_CopyTwo : {
    const Word second = THIRD;  // TO may be its register
    TO = FIRST;
    SECOND = second;
    NEXT;
}
L_Jump:
    step = step->target;
    GO;
L_Leave:
    return LEFT;
L_Poll:
    if (*static_cast<const platform::SharedFlag*>(step->imm.address) != 0) [[unlikely]]
        return Ending::left(-1);
    NEXT;
L_PollJump:
    if (*static_cast<const platform::SharedFlag*>(step->imm.address) != 0) [[unlikely]]
        return Ending::left(-1);
    step += step->to;
    GO;
L_StoreElement : {
    double* const place = elementAt<double>(*step, FIRST.whole);
    if (!undoOf(THIRD).keep(place)) [[unlikely]]
        return Ending::left(-1);
    *place = SECOND.real;
    NEXT;
}
L_StoreElementKind : {
    std::int32_t* const place = elementAt<std::int32_t>(*step, FIRST.whole);
    if (!undoOf(THIRD).keep(place)) [[unlikely]]
        return Ending::left(-1);
    *place = static_cast<std::int32_t>(SECOND.whole);
    NEXT;
}
L_StoreReal:
    *static_cast<double*>(step->imm.address) = FIRST.real;
    NEXT;
L_StoreWord : {
    const auto value = static_cast<std::uint32_t>(FIRST.whole);
    std::memcpy(step->imm.address, &value, sizeof value);
    NEXT;
}
L_StoreRecordReal:
    std::memcpy(record + step->imm.whole, &FIRST.real, sizeof(double));
    NEXT;
L_StoreRecordThree : {
    const double three[] = {FIRST.real, SECOND.real, THIRD.real};
    std::memcpy(record + step->imm.whole, three, sizeof three);
    NEXT;
}
L_Done:
    return Ending::of(static_cast<Outcome>(step->imm.whole));
#undef FIRST
#undef SECOND
#undef THIRD
#undef TO
#undef GO
#undef LEFT
#undef NEXT
#undef TEST
}

}  // namespace

const Handlers& handlers() {
    static const Handlers table = [] {
        Handlers found{};
        execute(nullptr, nullptr, nullptr, &found);
        return found;
    }();
    return table;
}

Ending ThreadedCode::run(void* record) noexcept {
    return execute(steps_.data(), registers_.data(), static_cast<unsigned char*>(record), nullptr);
}

}  // namespace kestrel::fast
